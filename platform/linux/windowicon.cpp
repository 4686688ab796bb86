#include "platform/windowicon.h"

namespace platform
{

bool setwindowicon(std::uintptr_t)
{
    return true;
}

} // namespace platform
