#include "scan/consolidation.h"

#include "scan/scanplan.h"

#include <algorithm>

void addprotect(SEG *segs, int count)
{
    for (int i = 0; i < count;) {
        if (!segs[i].isbad) {
            ++i;
            continue;
        }
        if (i > 0)
            segs[i - 1].isbad = 1;
        if (i < count - 1)
            segs[i + 1].isbad = 1;
        i += 2;
    }
}

void integratesegs(const SEG *segs, int count, std::vector<SEG> &list)
{
    list.clear();
    for (int i = 0; i < count; ++i) {
        const std::int32_t isbad = segs[i].isbad ? 1 : 0;
        if (!list.empty() && list.back().isbad == isbad)
            list.back().stop = segs[i].stop;
        else
            list.push_back({segs[i].start, segs[i].stop, isbad});
    }
}

bool hasbad(const std::vector<SEG> &list)
{
    return std::any_of(list.begin(), list.end(), [](const SEG &seg) { return seg.isbad != 0; });
}

BoundaryCheck::BoundaryCheck(std::vector<SEG> &list, SEG *segs, int segnum, const geom &geometry)
    : list(list), segs(segs), segnum(segnum), geometry(geometry), listbefore(list),
      segsbefore(segs, segs + segnum)
{
}

const BoundaryCheck::Step &BoundaryCheck::next(Reading answer)
{
    if (step.action == Action::moved) {
        segs[step.rawindex].isbad = 1;
        SEG &seg = list[current];
        const std::uint64_t oldstart = seg.start;
        const double moved = static_cast<double>(oldstart) + segmentlength(geometry, segnum);
        seg.start = std::min(static_cast<std::uint64_t>(moved), seg.stop);
        if (current > 0)
            list[current - 1].stop += seg.start - oldstart;
        if (seg.start == seg.stop)
            list.erase(list.begin() + static_cast<std::ptrdiff_t>(current));
        ++movecount;
    } else if (step.action == Action::read) {
        if (endswork(answer)) {
            std::copy(segsbefore.begin(), segsbefore.end(), segs);
            list = listbefore;
            return step = {.action = Action::gone, .reading = answer};
        }
        if (isdamage(answer)) {
            const int raw = segindex(list[current].start + 1, geometry, segnum);
            return step = {.action = Action::moved, .rawindex = raw, .isbad = segs[raw].isbad};
        }
        ++current;
    }
    while (current < list.size() && list[current].isbad)
        ++current;
    if (current == list.size())
        return step = {.action = Action::done};
    // At cylinder 0 the first sector wraps round: the range is empty.
    const std::uint64_t start = list[current].start;
    return step = {.action = Action::read,
                   .index = static_cast<int>(current),
                   .first = (start - 1) * geometry.sectorspercyl,
                   .last = (start + 1) * geometry.sectorspercyl - 1};
}
