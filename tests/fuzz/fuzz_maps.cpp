#include "scan/badblocks.h"
#include "scan/mapfile.h"
#include "scan/scanplan.h"

#include <cstdlib>

// Arbitrary bytes as a mapfile and as a list of blocks: what is accepted marks the same segments
// when it is written and read again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const geom geometry = withfactors({.totalbytes = 31 * 512}, 512, 3, 1);
    const MapTarget disk{geometry, makeplan(geometry), geometry.totalbytes};
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    MapfileReader mapfile(disk);
    BadBlocksReader list(disk, 512);
    for (MapReader *reader :
         {static_cast<MapReader *>(&mapfile), static_cast<MapReader *>(&list)}) {
        reader->feed(text);
        if (!reader->finish().empty())
            continue;
        std::vector<SurfaceCell> cells;
        for (const SEG &seg : reader->plan())
            cells.push_back({seg.start, seg.stop,
                             seg.isbad ? SurfaceCell::State::bad : SurfaceCell::State::good});
        MapfileReader again(disk);
        again.feed(encodemapfile(cells, geometry, disk.bytes, ""));
        if (!again.finish().empty() || again.plan() != reader->plan())
            std::abort();
    }
    return 0;
}
