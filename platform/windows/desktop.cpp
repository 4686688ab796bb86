#include "platform/awake.h"
#include "platform/windowicon.h"

#include "platform/windows/windows.h"

namespace platform
{

namespace
{

/// Number of live holds. The execution state belongs to the thread; the last hold clears it.
int holds = 0;

} // namespace

struct StayAwake::Hold {
    Hold() { ++holds; }
    Hold(const Hold &) = delete;
    Hold &operator=(const Hold &) = delete;
    ~Hold()
    {
        if (--holds == 0)
            ::SetThreadExecutionState(ES_CONTINUOUS);
    }
};

// Windows shows the program's name and has no place for a reason.
StayAwake::StayAwake(const char *)
{
    // Returns the previous state, which is never 0, or 0 on failure.
    if (::SetThreadExecutionState(ES_CONTINUOUS | ES_SYSTEM_REQUIRED) != 0)
        hold = std::make_unique<Hold>();
}

StayAwake::~StayAwake() = default;

bool StayAwake::held() const
{
    return hold != nullptr;
}

bool setwindowicon(std::uintptr_t window)
{
    const HMODULE module = ::GetModuleHandleA(nullptr);
    if (module == nullptr)
        return false;
    const HICON icon = ::LoadIconA(module, MAKEINTRESOURCEA(1));
    // SetClassLongA takes 32 bits only; on 32-bit systems both names are the same function.
    if (icon != nullptr)
        ::SetClassLongPtrA(reinterpret_cast<HWND>(window), GCLP_HICON,
                           reinterpret_cast<LONG_PTR>(icon));
    return true;
}

} // namespace platform
