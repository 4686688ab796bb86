#pragma once

#include "platform/status.h"

namespace platform
{

/// The kind of failure of a system error number.
Fault faultof(int error);

} // namespace platform
