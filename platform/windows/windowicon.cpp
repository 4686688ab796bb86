#include "platform/windowicon.h"

#include "platform/windows/windows.h"

namespace platform
{

bool setwindowicon(std::uintptr_t window)
{
    const HMODULE module = ::GetModuleHandleA(nullptr);
    if (module == nullptr)
        return false;
    const HICON icon = ::LoadIconA(module, MAKEINTRESOURCEA(1));
    // The variant for pointers, as SetClassLongA holds 32 bits; there it is the same call.
    if (icon != nullptr)
        ::SetClassLongPtrA(reinterpret_cast<HWND>(window), GCLP_HICON,
                           reinterpret_cast<LONG_PTR>(icon));
    return true;
}

} // namespace platform
