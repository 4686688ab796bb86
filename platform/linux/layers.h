#pragma once

#include <compare>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace platform
{

/// The number by which the system knows a block device. Names are never compared in its place:
/// sda1 is no part of a disk sda that has gone and come back as another.
struct DeviceNumber {
    unsigned int major = 0;
    unsigned int minor = 0;

    auto operator<=>(const DeviceNumber &) const = default;
};

/// The text that the system shows in a file, without the line's end; empty if none.
std::string attribute(const std::filesystem::path &file);

/// Reads a device number as the system writes it, "8:1".
std::optional<DeviceNumber> parsenumber(const std::string &text);

/// What stands on what: disks, their partitions, the devices mapped over them and whoever uses
/// those.
class Layers
{
public:
    /// `sysfs` and `proc`: where the system shows its devices, and what it does with them.
    explicit Layers(std::string sysfs = "/sys", std::string proc = "/proc");

    /// Names in sysfs of all whole disks that a device lies on, itself included if it is one.
    [[nodiscard]] std::set<std::string> disksbelow(DeviceNumber device) const;
    /// The same of the volume that holds the running system.
    [[nodiscard]] std::set<std::string> systemdisks() const;
    /// Who uses a whole disk or anything on it, in words: a mount, swap, or a device over it;
    /// empty if nobody does.
    [[nodiscard]] std::string userof(DeviceNumber disk) const;

private:
    struct Mount {
        DeviceNumber device; ///< major 0: the file system lies on no single device
        std::string point;
        std::string type;
        std::string source;
    };

    void gather(DeviceNumber device, std::set<std::string> &disks,
                std::set<DeviceNumber> &seen) const;
    [[nodiscard]] std::filesystem::path folder(DeviceNumber device) const;
    /// The number of the block device of this path.
    [[nodiscard]] std::optional<DeviceNumber> numberof(const std::string &path) const;
    [[nodiscard]] std::vector<Mount> mounts() const;
    /// The members of each file system over several devices that is mounted.
    [[nodiscard]] std::vector<std::vector<DeviceNumber>> pools() const;
    [[nodiscard]] std::vector<DeviceNumber> devicesof(const Mount &mount) const;
    [[nodiscard]] std::string holderof(const std::filesystem::path &device) const;

    std::filesystem::path system;
    std::filesystem::path processes;
};

} // namespace platform
