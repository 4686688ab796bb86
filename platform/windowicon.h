#pragma once

#include <cstdint>

namespace platform
{

/// Gives the class of a native window the icon with id 1 of the program's own resources; false if
/// the program's module can't be had. A system whose windows have no classes has nothing to do.
bool setwindowicon(std::uintptr_t window);

} // namespace platform
