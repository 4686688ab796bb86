#pragma once

#include "tests/support/tempfolder.h"

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

/// A real block device with damage: a loop device with direct transfers on a file whose chosen
/// sectors fail (`baddisk`). Needs root, FUSE and loop devices; check `available` first. It goes
/// with this object, and with the process.
class LoopDisk
{
public:
    /// `options` are those of `baddisk`: "sector=4096 partscan read=7-9 write=8"; `name`, that of
    /// the file, is the disk's model.
    explicit LoopDisk(std::uint64_t bytes, const std::string &options = "",
                      const std::string &name = "disk");

    /// Whether this system can create such devices; if not, `why`.
    static bool available(std::string &why);

    /// The device ("/dev/loop0"); empty on failure, with the reason in `error`.
    std::string node, error;

    /// The bytes of the medium at `offset`, damaged or not; fewer at the end.
    [[nodiscard]] std::string medium(std::uint64_t offset, std::size_t bytes) const;
    /// Removes the medium: the device remains, with a size of 0. False on failure.
    bool vanish();
    /// Puts another disk with the same contents behind the node. False on failure.
    bool swap();

private:
    TempFolder folder;
    std::string served; ///< path of the file that fails
    /// Input of the program that keeps the device.
    std::unique_ptr<std::FILE, int (*)(std::FILE *)> keeper{nullptr, ::pclose};
};

/// The status of a command of the shell, which may be one of the administrator's.
int shell(const std::string &command);
/// What such a command prints, without its errors.
std::string outputof(const std::string &command);
