#pragma once

#include "platform/linux/layers.h"
#include "platform/platform.h"

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace platform
{

/// A parsed name of a whole disk; compares in natural order (sdb before sdaa).
struct DiskName {
    std::size_t family = 0;             ///< index of the kind of driver
    std::vector<std::uint64_t> numbers; ///< of the disk within its kind

    auto operator<=>(const DiskName &) const = default;
};

/// Parses the name of a block device; nothing if it can't be a hard disk.
std::optional<DiskName> diskname(const std::string &name);

/// The texts in a disk's path, as the system reports them.
struct DiskTexts {
    std::string vendor;
    std::string product;
    std::string revision;
    std::string serial;
};

/// The device-interface path of a disk, less than 200 bytes. Outer blanks of the texts are removed;
/// inner blanks, separators and control characters become '_'; long texts are truncated.
std::string devicepath(const std::string &node, const DiskTexts &texts);

/// The disks of a Linux system.
class LinuxBackend : public Backend
{
public:
    /// `sysfs`, `dev`, `proc`: where these file systems are mounted.
    explicit LinuxBackend(std::string sysfs = "/sys", std::string dev = "/dev",
                          std::string proc = "/proc");

    Status systemvolumes(std::vector<std::string> &paths) override;
    Status listdisks(std::vector<std::string> &paths) override;
    std::unique_ptr<Device> open(const std::string &path, Access access, Status &status) override;
    Status inuse(const std::string &path, std::string &reason, bool &claimable) override;
    Status contents(const std::string &path, DiskContents &answer) override;

private:
    /// The device-interface path of the disk with this name in sysfs.
    [[nodiscard]] std::string describe(const std::string &name) const;

    std::string system;
    std::string nodes;
    Layers layers;
};

} // namespace platform
