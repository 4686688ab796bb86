#include "plan/planreport.h"

#include "plan/systypes.h"

#include <QStringList>

#include <algorithm>

namespace
{

QString reportline(const EXTPART &entry, const geom &geometry)
{
    const auto gb = [&geometry](std::uint64_t cylinders) {
        return QString::number(cylinderstogb(cylinders, geometry), 'f', 1);
    };
    return QString("%1,start=%2GB,stop=%3GB,size=%4GB,type=%5,%6\n")
        .arg(QString(entry.name), gb(entry.start), gb(entry.stop + 1), gb(entry.size),
             QString(getsystypename(entry.systype)), entry.bootflag ? "Active" : "Inactive");
}

// Whether the range from the first to the last logical disk holds a part of a primary partition.
bool spansprimary(const std::vector<EXTPART> &entries)
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

} // namespace

std::vector<PART> buildparts(const std::vector<EXTPART> &entries, std::uint64_t sectorspercyl)
{
    std::vector<PART> parts;
    for (const EXTPART &entry : entries) {
        PART part;
        part.start = sectorspercyl * entry.start;
        part.stop = sectorspercyl * (entry.stop + 1) - 1;
        // rows out of disk order leave an extended entry with its stop before its start
        part.size = part.stop < part.start ? 0 : part.stop - part.start + 1;
        part.kind = entry.kind;
        part.index = static_cast<char>(parts.size());
        part.bootflag = entry.bootflag;
        part.systype = static_cast<char>(entry.systype);
        parts.push_back(part);
    }
    return parts;
}

bool holdsbad(const EXTPART &entry, const std::vector<SEG> &segs)
{
    if (entry.kind != 'p' && entry.kind != 'l')
        return false;
    auto seg = std::partition_point(segs.begin(), segs.end(),
                                    [&entry](const SEG &one) { return one.stop < entry.start; });
    while (seg != segs.end() && seg->start <= entry.stop && seg->isbad == 0)
        ++seg;
    return seg != segs.end() && seg->start <= entry.stop;
}

bool indiskorder(const std::vector<EXTPART> &entries)
{
    std::uint64_t topmark = 0;
    std::uint64_t logicalmark = 0;
    for (const EXTPART &entry : entries) {
        std::uint64_t &mark = entry.kind == 'l' ? logicalmark : topmark;
        if (entry.start < mark)
            return false;
        mark = entry.start;
    }
    return true;
}

PARTRESULT buildresult(const std::vector<EXTPART> &entries, const geom &geometry)
{
    PARTRESULT result;
    const bool guidtable = geometry.totalsectors > maxmbrsectors;
    int top = 0;
    // in a GUID table they count on; else their numbers begin behind those of the table
    int logical = 4;
    for (const EXTPART &entry : entries) {
        if (!guidtable || entry.kind != 'e') {
            const int number = !guidtable && entry.kind == 'l' ? ++logical : ++top;
            if (entry.kind != 'e')
                result.created.push_back({number, entry.systype});
        }
        result.report += reportline(entry, geometry);
        ++(entry.kind == 'p'   ? result.primarycount
           : entry.kind == 'e' ? result.extendedcount
                               : result.logicalcount);
    }
    result.indiskorder = indiskorder(entries);
    return result;
}

QString plansummary(const std::vector<EXTPART> &entries, const std::vector<SEG> &segs,
                    std::uint64_t damaged, const geom &geometry)
{
    std::uint64_t used = 0;
    std::uint64_t bad = 0;
    std::uint64_t whole = 0;
    int count = 0;
    for (const EXTPART &entry : entries) {
        if (entry.kind == 'e')
            continue;
        used += entry.size;
        ++count;
    }
    for (const SEG &seg : segs) {
        whole = std::max(whole, seg.stop + 1);
        bad += seg.isbad != 0 ? seg.stop - seg.start + 1 : 0;
    }
    const auto gb = [&geometry](std::uint64_t cylinders) {
        const double size = cylinderstogb(cylinders, geometry);
        return QString::number(size, 'f', size > 0 && size < 0.05 ? 3 : 1);
    };
    const std::uint64_t margins = bad - std::min(bad, damaged);
    QString text = QString("%1 %2 on %3 of %4 GB; %5 GB lost to damage, %6 GB to margins.")
                       .arg(QString::number(count), count == 1 ? "partition" : "partitions",
                            gb(used), gb(whole), gb(bad - margins), gb(margins));
    if (geometry.totalsectors > maxmbrsectors)
        text += count > 128 ? " More than 128 partitions: a GUID partition table has no room for "
                              "them."
                            : "";
    else if (count > 60)
        text += " More than 60 partitions: some tools can't read them all.";
    else if (count > 15)
        text += " More than 15 partitions: some systems give no names to the rest.";
    return text;
}

QString planremarks(const std::vector<EXTPART> &entries, const std::vector<SEG> &segs,
                    bool guidtable)
{
    QStringList remarks;
    if (std::any_of(entries.begin(), entries.end(),
                    [&segs](const EXTPART &entry) { return holdsbad(entry, segs); }))
        remarks.append("a partition holds a bad stretch");
    if (guidtable)
        remarks.append("the disk gets a GUID partition table, which needs no extended partition");
    if (!guidtable && spansprimary(entries))
        remarks.append("the extended range spans a primary partition (some tools refuse that)");
    if (!indiskorder(entries))
        remarks.append("rows are out of disk order");
    if (!guidtable && !segs.empty() && segs.front().isbad != 0)
        remarks.append("the disk begins badly, so its table may not lie in sector 0");
    return remarks.isEmpty() ? QString() : "Note: " + remarks.join("; ") + ".";
}
