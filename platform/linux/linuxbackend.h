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

/// The name of a whole disk taken apart; compares in natural order (sdb before sdaa).
struct DiskName {
    std::size_t family = 0;             ///< index of the kind of driver
    std::vector<std::uint64_t> numbers; ///< which disk of that kind

    auto operator<=>(const DiskName &) const = default;
};

/// Takes the name of a block device apart; nothing if it can't be a hard disk.
std::optional<DiskName> diskname(const std::string &name);

/// The texts by which a disk's path names it, as the system reports them.
struct DiskTexts {
    std::string vendor;
    std::string product;
    std::string revision;
    std::string serial;
};

/// The device-interface path of a disk, below 200 bytes. Of the texts, the outer blanks go, and
/// blanks inside, separators and control characters become '_'; texts too long are cut.
std::string devicepath(const std::string &node, const DiskTexts &texts);

/// The disks of a Linux system.
class LinuxBackend : public Backend
{
public:
    /// `sysfs`, `dev`, `proc`: where the system shows its devices, where their nodes are, and where
    /// it shows what it does with them.
    explicit LinuxBackend(std::string sysfs = "/sys", std::string dev = "/dev",
                          std::string proc = "/proc");

    Status systemvolumes(std::vector<std::string> &paths) override;
    Status listdisks(std::vector<std::string> &paths) override;
    std::unique_ptr<Device> open(const std::string &path, Access access, Status &status) override;
    Status inuse(const std::string &path, std::string &reason) override;

private:
    /// The device-interface path of the disk of this name in sysfs.
    [[nodiscard]] std::string describe(const std::string &name) const;

    std::string system;
    std::string nodes;
    Layers layers;
};

} // namespace platform
