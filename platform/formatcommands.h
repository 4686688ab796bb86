#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform
{

/// A partition that was created: its number as the system counts (logical disks from 5 on) and its
/// type byte.
struct NewPartition {
    int number = 0;
    std::uint8_t systype = 0;
};

/// The commands that would make file systems on `partitions` of the disk with this device path, a
/// line each, for the user to read and run. A type without a usual file system gets a remark.
std::string formatcommands(const std::string &devicepath,
                           const std::vector<NewPartition> &partitions);

} // namespace platform
