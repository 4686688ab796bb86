#include "core/bytes.h"
#include "core/diskhandle.h"
#include "platform/simulated/simulated.h"
#include "scan/scanplan.h"

#include <cstdlib>

// A disk that gives arbitrary answers: the geometry made of them is consistent, and each plan lies
// inside the disk.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size < 41)
        return 0;
    const auto number = [data](std::size_t at, std::size_t width) {
        return getlittle(data + at, width);
    };
    const auto word = [&](std::size_t at) { return static_cast<std::uint32_t>(number(at, 4)); };
    platform::SimulatedBackend backend;
    auto disk = platform::simulateddisk("a#b&c#d#e", 1 << 20);
    disk->geometry = {number(0, 8), word(8), word(12), word(16)};
    disk->partitionlength = number(20, 8);
    disk->filesize = number(28, 8);
    disk->sectorsize = word(36);
    if (data[40] & 1)
        disk->geometry.reset();
    if (data[40] & 2)
        disk->partitionlength.reset();
    backend.disks = {disk};
    platform::setbackend(&backend);
    std::vector<DISKINFO> list;
    getallhdinfo(list);
    geom geometry;
    get_geometry(DiskHandle("a#b&c#d#e").get(), &geometry);
    platform::setbackend(nullptr);
    if (!geomissound(geometry))
        std::abort();
    if (!canplan(geometry))
        return 0;
    for (const SEG &seg : makeplan(geometry)) {
        if (seg.start > seg.stop || seg.stop >= geometry.cylinders)
            std::abort();
    }
    return 0;
}
