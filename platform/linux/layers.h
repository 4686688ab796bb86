#pragma once

#include <compare>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace platform
{

/// The kernel's number of a block device. Names are not compared in its place: after a disk was
/// replaced, sda1 may belong to another sda.
struct DeviceNumber {
    unsigned int major = 0;
    unsigned int minor = 0;

    auto operator<=>(const DeviceNumber &) const = default;
};

/// The content of a sysfs file, without the newline; empty if there is none.
std::string attribute(const std::filesystem::path &file);

/// Parses a device number, "8:1".
std::optional<DeviceNumber> parsenumber(const std::string &text);

/// The stack of block devices: disks, partitions, mapped devices, and the users of each.
class Layers
{
public:
    /// `sysfs` and `proc`: where these file systems are mounted.
    explicit Layers(std::string sysfs = "/sys", std::string proc = "/proc");

    /// Names in sysfs of all whole disks below a device, itself included if it is one.
    [[nodiscard]] std::set<std::string> disksbelow(DeviceNumber device) const;
    /// The same for the volume of the running system.
    [[nodiscard]] std::set<std::string> systemdisks() const;
    /// The user of a whole disk or of anything on it, in words: a mount, swap, or a device above
    /// it; empty if there is none.
    [[nodiscard]] std::string userof(DeviceNumber disk) const;
    /// Another program that has opened a whole disk or a partition of it for writing, in words;
    /// empty if there is none, or if it may not be seen.
    [[nodiscard]] std::string writerof(DeviceNumber disk) const;

private:
    struct Mount {
        DeviceNumber device; ///< major 0: the file system has no single device
        std::string point;
        std::string type;
        std::string source;
    };

    void gather(DeviceNumber device, std::set<std::string> &disks,
                std::set<DeviceNumber> &seen) const;
    [[nodiscard]] std::filesystem::path folder(DeviceNumber device) const;
    /// The number of the block device with this path.
    [[nodiscard]] std::optional<DeviceNumber> numberof(const std::string &path) const;
    [[nodiscard]] std::vector<Mount> mounts() const;
    /// The member devices of each mounted btrfs file system.
    [[nodiscard]] std::vector<std::vector<DeviceNumber>> pools() const;
    [[nodiscard]] std::vector<DeviceNumber> devicesof(const Mount &mount) const;
    [[nodiscard]] std::string holderof(const std::filesystem::path &device) const;

    std::filesystem::path system;
    std::filesystem::path processes;
};

} // namespace platform
