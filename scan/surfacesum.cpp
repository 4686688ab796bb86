#include "scan/surfacesum.h"

SurfaceSum::SurfaceSum(std::span<const SurfaceCell> cells, const geom &geometry)
{
    double megabytes = 0, seconds = 0;
    for (const SurfaceCell &cell : cells) {
        const std::uint64_t bytes = (cell.stop - cell.start + 1) * geometry.bytespercyl;
        for (Share *share : {&states[static_cast<int>(cell.state)], &all}) {
            ++share->segments;
            share->bytes += bytes;
        }
        ++classes[static_cast<int>(latencyclass(cell.slowest))];
        if (cell.slowest >= 0 && (!slowestread || cell.slowest > slowestread->slowest))
            slowestread = &cell;
        if (!(cell.speed > 0))
            continue;
        megabytes += static_cast<double>(bytes) / 1e6;
        seconds += static_cast<double>(bytes) / 1e6 / cell.speed;
        if (!slowestspeed || cell.speed < slowestspeed->speed)
            slowestspeed = &cell;
    }
    if (seconds > 0)
        meanspeed = megabytes / seconds;
}
