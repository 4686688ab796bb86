#pragma once

#include "platform/device.h"
#include "platform/windows/windows.h"

namespace platform
{

/// The kind of failure of a system error code; `other` for an unknown code.
Fault faultof(DWORD code);

/// The failure of the call just made, with its code.
Status lastfailure();

} // namespace platform
