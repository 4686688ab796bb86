#pragma once

#include "platform/status.h"

#include <string>
#include <vector>

namespace platform
{

/// Appends the device-interface path of each present disk, in the system's own order.
Status listdiskpaths(std::vector<std::string> &paths);

/// The device instance of the disk with this path, and the time of its last arrival, since the same
/// instance names the next disk in the same place. Empty if there is none.
std::string deviceinstance(const std::string &path);

} // namespace platform
