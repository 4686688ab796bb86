#pragma once

#include "tests/support/tempfolder.h"

#include <cstdint>
#include <string>
#include <vector>

/// A real block device with damage: a loop device, with direct transfers, on a file whose chosen
/// sectors fail. Needs root, FUSE and loop devices; ask `available` first. All of it goes again
/// with the object; if the process dies, the device and the mount still go.
class LoopDisk
{
public:
    /// Sectors of the device, both ends inclusive.
    struct Range {
        std::uint64_t first;
        std::uint64_t last;
    };
    struct Options {
        std::uint64_t bytes = 0;
        std::uint32_t bytespersector = 512;
        std::vector<Range> badread = {};
        std::vector<Range> badwrite = {};
        std::string name = "disk"; ///< of the file, which gives the disk its model
        bool partitions = false;   ///< whether the system looks for partitions on it
    };

    explicit LoopDisk(const Options &options);
    LoopDisk(const LoopDisk &) = delete;
    LoopDisk &operator=(const LoopDisk &) = delete;
    ~LoopDisk();

    /// Whether such devices can be had here; if not, `why`.
    static bool available(std::string &why);

    /// The device ("/dev/loop0"); empty if it could not be made, with the reason in `error`.
    std::string node;
    std::string error;

    /// What lies on the medium from byte `offset` on, past all damage; shorter at the end.
    [[nodiscard]] std::string medium(std::uint64_t offset, std::size_t bytes) const;
    /// Takes the medium out: the device stays with a length of 0. False on failure.
    bool vanish();

private:
    bool mount(const Options &options);
    bool attach(const Options &options);

    TempFolder folder;
    std::string served; ///< the file with the damage
    int server = -1;    ///< process that serves it
    int descriptor = -1;
};
