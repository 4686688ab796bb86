#pragma once

#include "platform/device.h"
#include "platform/windows/windows.h"

namespace platform
{

/// What an error code of the system means. A code that the table does not know is `other`.
Fault faultof(DWORD code);

/// The failure of the call just made, with its code.
Status lastfailure();

} // namespace platform
