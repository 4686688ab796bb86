// Catches bytes of files and disks that the program takes for sound although they are not. The
// program's name says which: fuzz_scanfile, fuzz_scanrecord or fuzz_maps.
#include "scan/badblocks.h"
#include "scan/mapfile.h"
#include "scan/scanfile.h"
#include "scan/scanplan.h"

#include <cstdlib>
#include <map>
#include <utility>

namespace
{

using Bytes = std::span<const std::uint8_t>;

void require(bool holds)
{
    if (!holds)
        std::abort();
}

// A scan file that is accepted holds a complete plan inside its disk, and what a resumed run makes
// of it parses as the same plan.
void scanfile(Bytes data)
{
    const ScanFile file = parsescanfile(data);
    if (file.state == ScanFileState::damaged)
        return;
    require(canplan(file.geometry) && file.segs.size() <= maxsegments);
    const auto records = static_cast<std::size_t>(file.records);
    require(file.wholebytes == geomsize + records * segsize && file.wholebytes <= data.size());
    std::uint64_t next = 0;
    for (const SEG &seg : file.segs) {
        require(seg.start == std::exchange(next, seg.stop + 1) && seg.stop >= seg.start);
        require(seg.lastsector(file.geometry.sectorspercyl) <
                file.geometry.totalbytes / file.geometry.bytespersector);
    }
    std::vector<std::uint8_t> whole(data.begin(), data.begin() + file.wholebytes);
    for (std::size_t i = records; i < file.segs.size(); ++i) {
        const auto record = encodeseg(file.segs[i]);
        whole.insert(whole.end(), record.begin(), record.end());
    }
    const ScanFile again = parsescanfile(whole);
    require(again.state == ScanFileState::complete && again.segs == file.segs);
}

// The first two bytes are the number of segments, the rest is the content of sector 1. What a
// record says encodes as a record that says the same.
void scanrecord(Bytes data)
{
    const int count = data.size() < 2 ? 0 : (data[0] | data[1] << 8) % 512;
    if (count == 0 || !isscanrecord(data.subspan(2), count))
        return;
    std::vector<SEG> segs(static_cast<std::size_t>(count)), again = segs;
    decodescanrecord(data.subspan(2), segs.data(), count);
    decodescanrecord(encodescanrecord(segs.data(), count, 512), again.data(), count);
    require(segs == again);
}

// A mapfile and a list of blocks that are accepted mark the same segments when they are written and
// read again.
void maps(Bytes data)
{
    const geom geometry = withfactors({.totalbytes = 31 * 512}, 512, 3, 1);
    const MapTarget disk{geometry, makeplan(geometry), geometry.totalbytes};
    MapfileReader mapfile(disk);
    BadBlocksReader list(disk, 512);
    for (MapReader *reader : std::initializer_list<MapReader *>{&mapfile, &list}) {
        reader->feed({reinterpret_cast<const char *>(data.data()), data.size()});
        if (!reader->finish().empty())
            continue;
        std::vector<SurfaceCell> cells;
        for (const SEG &seg : reader->plan())
            cells.push_back({seg.start, seg.stop,
                             seg.isbad ? SurfaceCell::State::bad : SurfaceCell::State::good});
        MapfileReader second(disk);
        second.feed(encodemapfile(cells, geometry, disk.bytes, ""));
        require(second.finish().empty() && second.plan() == reader->plan());
    }
}

void (*target)(Bytes);

} // namespace

extern "C" int LLVMFuzzerInitialize(const int *, const char *const *const *argv)
{
    const std::string name = **argv;
    const std::map<std::string, void (*)(Bytes)> targets = {
        {"scanfile", scanfile}, {"scanrecord", scanrecord}, {"maps", maps}};
    target = targets.at(name.substr(name.rfind('_') + 1));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    target({data, size});
    return 0;
}
