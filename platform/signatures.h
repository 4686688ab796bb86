#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace platform
{

/// What a system goes by to take a whole disk for a file system, a volume or a member of a RAID.
struct Signature {
    std::string type;         ///< the system's name, as "ext4" and "LVM2_member"
    std::uint64_t offset = 0; ///< its first byte on the disk
};

/// The signatures in `parts`, the copies of one type too. `parts` are stretches of the disk by
/// their first byte; all else counts as zeros. Lengths in bytes. Empty also where the system
/// doesn't look for any.
std::vector<Signature> signatures(const std::map<std::uint64_t, std::vector<std::uint8_t>> &parts,
                                  std::uint64_t diskbytes, std::uint32_t bytespersector);

/// The commands that take these signatures, and nothing else, off the disk with this device path,
/// a line each. `damaged`: there are bad sectors among those that signatures stand in.
std::string removalcommands(const std::string &devicepath, const std::vector<Signature> &found,
                            bool damaged, std::uint32_t bytespersector);

} // namespace platform
