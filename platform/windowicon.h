#pragma once

#include <cstdint>

namespace platform
{

/// Sets the icon with id 1 of the program's resources for the class of a native window; false if
/// the program's module is not found. Does nothing on systems without window classes.
bool setwindowicon(std::uintptr_t window);

} // namespace platform
