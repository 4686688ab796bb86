#pragma once

#include "tests/support/tempfolder.h"

#include <cstdint>
#include <string>
#include <vector>

/// A real block device with damage: a loop device with direct I/O on a FUSE file whose chosen
/// sectors fail. Needs root, FUSE and loop devices; check `available` first. The destructor removes
/// device and mount; they are also removed if the process dies.
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
        std::string name = "disk"; ///< of the file; the disk's model
        bool partitions = false;   ///< whether the kernel scans it for partitions
    };

    explicit LoopDisk(const Options &options);
    LoopDisk(const LoopDisk &) = delete;
    LoopDisk &operator=(const LoopDisk &) = delete;
    ~LoopDisk();

    /// Whether this system can create such devices; if not, `why`.
    static bool available(std::string &why);

    /// The device ("/dev/loop0"); empty on failure, with the reason in `error`.
    std::string node;
    std::string error;

    /// The bytes of the medium at `offset`, damaged or not; fewer at the end.
    [[nodiscard]] std::string medium(std::uint64_t offset, std::size_t bytes) const;
    /// Removes the medium: the device remains, with a size of 0. False on failure.
    bool vanish();

private:
    bool mount(const Options &options);
    bool attach(const Options &options);

    TempFolder folder;
    std::string served; ///< path of the FUSE file
    int server = -1;    ///< process of the FUSE file system
    int descriptor = -1;
};
