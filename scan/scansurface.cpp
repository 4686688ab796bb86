#include "scan/scan.h"

#include "platform/platform.h"
#include "platform/timing.h"

#include <algorithm>

// What a scan knows of its segments beside their marks.

namespace
{

/// Sets milliseconds and MB/s from what was read; those that are not known stay.
void taketimes(const platform::TransferTimes::Range &range, double &slowest, double &speed)
{
    if (range.slowest >= 0)
        slowest = range.slowest * 1000;
    if (range.seconds > 0)
        speed = static_cast<double>(range.bytes) / range.seconds / 1e6;
}

} // namespace

void Scan::timesegments(void *handle) const
{
    std::vector<std::uint64_t> ends;
    for (const SEG &seg : plan)
        ends.push_back((seg.stop + 1) * diskgeom.bytespercyl);
    platform::device(handle).timeby(std::make_shared<platform::TransferTimes>(std::move(ends)));
}

SegmentTest Scan::testsegment(void *handle, int index, RangeTest test) const
{
    const SEG &seg = segs[index];
    SegmentTest found{.reading = test(handle, seg.firstsector(diskgeom.sectorspercyl),
                                      seg.lastsector(diskgeom.sectorspercyl),
                                      static_cast<int>(diskgeom.bytespersector))};
    platform::Device &disk = platform::device(handle);
    const std::shared_ptr<platform::TransferTimes> measured = disk.times();
    if (measured)
        taketimes(measured->range(index), found.slowest, found.speed);
    if (found.reading != Reading::good)
        found.speed = -1; // of a test that ended early
    if (found.reading != Reading::bad)
        return found;
    // a read right behind a failure waits for the drive, which tells nothing of its own segment
    disk.timeby(nullptr);
    if (!answers(handle, index))
        found.reading = Reading::gone;
    disk.timeby(measured);
    return found;
}

bool Scan::isdamaged(const SegmentTest &test) const
{
    return isdamage(test.reading) || (slowisbad && test.slowest >= slowlimit);
}

void Scan::keeptimes(int index, const SegmentTest &test)
{
    // A re-test in another manner than what is known leaves none that holds for all of it.
    const bool writes = testfunc == write_test;
    if (std::ranges::none_of(known, &Known::tested))
        manner = {writes, slowlimit, slowisbad};
    else if (manner && manner->writetest != writes)
        manner.reset();
    known[index] = {true, known[index].margin, test.slowest, test.speed};
}

void Scan::widen(int first, int count)
{
    const std::vector<SEG> before(plan);
    addprotect(segs + first, count);
    for (std::size_t i = 0; i < plan.size(); ++i)
        known[i].margin |= before[i].isbad == 0 && plan[i].isbad != 0;
}

std::vector<SurfaceCell> Scan::surface() const
{
    using State = SurfaceCell::State;
    std::vector<SurfaceCell> cells(plan.size());
    for (std::size_t i = 0; i < plan.size(); ++i) {
        cells[i] = {.start = plan[i].start,
                    .stop = plan[i].stop,
                    .slowest = known[i].slowest,
                    .speed = known[i].speed};
        if (running && static_cast<int>(i) == curseg) {
            cells[i].state = State::working;
            if (times)
                taketimes(times->range(i), cells[i].slowest, cells[i].speed);
        } else if (!known[i].tested)
            cells[i].state = State::untested;
        else if (plan[i].isbad != 0)
            cells[i].state = known[i].margin ? State::margin : State::bad;
        else
            cells[i].state = known[i].slowest >= slowlimit ? State::slow : State::good;
    }
    return cells;
}

std::uint64_t Scan::goodreads() const
{
    return times ? times->goodreads() : 0;
}
