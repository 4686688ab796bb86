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

int fixboundaries(std::vector<SEG> &list, SEG *segs, int segnum, const geom &geometry,
                  const BoundaryCalls &calls)
{
    const std::vector<SEG> listbefore = list;
    const std::vector<SEG> segsbefore(segs, segs + segnum);
    const double length = segmentlength(geometry, segnum);
    int moves = 0;
    for (std::size_t i = 0; i < list.size();) {
        calls.progress(static_cast<int>(i));
        SEG &seg = list[i];
        // At cylinder 0 the first sector wraps round: the range is empty, nothing is read.
        if (seg.isbad || calls.rangereads((seg.start - 1) * geometry.sectorspercyl,
                                          (seg.start + 1) * geometry.sectorspercyl - 1)) {
            ++i;
            continue;
        }
        if (calls.giveup && calls.giveup()) {
            list = listbefore;
            std::copy(segsbefore.begin(), segsbefore.end(), segs);
            return -1;
        }
        const int raw = segindex(seg.start + 1, geometry, segnum);
        calls.moved(raw, segs[raw].isbad);
        segs[raw].isbad = 1;

        const std::uint64_t oldstart = seg.start;
        const double moved = static_cast<double>(oldstart) + length;
        seg.start = std::min(static_cast<std::uint64_t>(moved), seg.stop);
        if (i > 0)
            list[i - 1].stop += seg.start - oldstart;
        if (seg.start == seg.stop)
            list.erase(list.begin() + static_cast<std::ptrdiff_t>(i));
        ++moves;
    }
    return moves;
}
