#include "platform/awake.h"

#include "platform/windows/windows.h"

namespace platform
{

namespace
{

/// The wish belongs to the thread, so it goes with the last that has it.
int holders = 0;

} // namespace

struct StayAwake::Hold {
    Hold() { holders++; }
    Hold(const Hold &) = delete;
    Hold &operator=(const Hold &) = delete;
    ~Hold()
    {
        if (--holders == 0)
            ::SetThreadExecutionState(ES_CONTINUOUS);
    }
};

// This system shows the program's name, and asks for no reason.
StayAwake::StayAwake(const char *)
{
    // Null is the failure; the state before it is never null.
    if (::SetThreadExecutionState(ES_CONTINUOUS | ES_SYSTEM_REQUIRED) != 0)
        hold = std::make_unique<Hold>();
}

StayAwake::~StayAwake() = default;

bool StayAwake::held() const
{
    return hold != nullptr;
}

} // namespace platform
