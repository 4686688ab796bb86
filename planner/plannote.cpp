#include "planner/plannote.h"

#include "planner/commitplan.h"

#include <QStringList>

#include <algorithm>

// Whether the range from the first to the last logical disk holds a part of a primary partition.
static bool spansprimary(const std::vector<EXTPART> &entries)
{
    std::uint64_t first = ~0ULL;
    std::uint64_t last = 0;
    for (const EXTPART &entry : entries) {
        if (entry.kind == 'l') {
            first = std::min(first, entry.start);
            last = std::max(last, entry.stop);
        }
    }
    return std::any_of(entries.begin(), entries.end(), [&](const EXTPART &entry) {
        return entry.kind == 'p' && entry.start <= last && entry.stop >= first;
    });
}

static bool holdsbad(const EXTPART &entry, const std::vector<SEG> &segs)
{
    return (entry.kind == 'p' || entry.kind == 'l') &&
           std::any_of(segs.begin(), segs.end(), [&entry](const SEG &seg) {
               return seg.isbad != 0 && seg.start <= entry.stop && seg.stop >= entry.start;
           });
}

QString plannote(const std::vector<EXTPART> &entries, const std::vector<SEG> &segs)
{
    QStringList remarks;
    if (std::any_of(entries.begin(), entries.end(),
                    [&segs](const EXTPART &entry) { return holdsbad(entry, segs); }))
        remarks.append("a partition holds a bad stretch");
    if (spansprimary(entries))
        remarks.append("the extended range spans a primary partition (some tools refuse that)");
    if (!indiskorder(entries))
        remarks.append("rows are out of disk order");
    if (!segs.empty() && segs.front().isbad != 0)
        remarks.append("the disk begins badly, so its table may not lie in sector 0");
    return remarks.isEmpty() ? QString() : "Note: " + remarks.join("; ") + ".";
}
