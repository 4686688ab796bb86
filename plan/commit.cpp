#include "plan/commit.h"

#include <QScopeGuard>
#include <QStringList>

#include <algorithm>

// What the tables can't hold, a line each; empty if they can.
QString planfaulttext(const std::vector<PART> &parts, const geom &geometry, std::uint64_t mbrsector,
                      std::uint64_t recordsector)
{
    QStringList lines;
    for (const PARTFAULT &fault : checkparts(parts, geometry, mbrsector, recordsector))
        lines.append(QString::fromStdString(fault.text));
    return lines.join('\n');
}

// The sectors of the master boot sector and of the scan record. With the first segment good they
// are the first two. Otherwise they are searched, which destroys what the tested sectors held, and
// what is not found goes to `fallback`, the first sector of the first good segment, and behind it.
static void choosesectors(void *handle, bool firstgood, std::uint64_t fallback)
{
    firstgoodsector = secondgoodsector = nosector;
    if (firstgood) {
        firstgoodsector = 0;
        secondgoodsector = 1;
        return;
    }
    findfirsttwogoodsectors(handle, static_cast<int>(g.bytespersector), 2ULL * g.sectorspertrack,
                            firstgoodsector, secondgoodsector);
    if (firstgoodsector == nosector)
        firstgoodsector = fallback;
    if (secondgoodsector == nosector)
        secondgoodsector = fallback + 1;
}

// A line about a sector of the tables, for `parts` as written.
static QString lostline(const TABLEFAULT &fault, const std::vector<PART> &parts)
{
    if (fault.part < 0) {
        return QString("The partition table in sector %1 is not on the disk as written: none of "
                       "the partitions can be used. Go Back, rescan the block that holds the "
                       "sector, and write again.\n")
            .arg(fault.sector);
    }
    const auto last = parts.begin() + fault.part;
    const auto number =
        1 + std::count_if(parts.begin(), last, [](const PART &part) { return part.kind == 'l'; });
    return QString("The boot record of logical disk %1 in sector %2 is not on the disk as written: "
                   "this logical disk and those listed behind it can not be used. Go Back, give "
                   "its block up, and write again.\n")
        .arg(number)
        .arg(fault.sector);
}

QString commitplan(const char *devicepath, const geom &geometry, std::span<SEG> segs,
                   std::vector<PART> parts, PARTRESULT &result)
{
    void *handle = opendisk(devicepath);
    if (handle == invaliddisk)
        return "Can not open the disk.";
    const auto closer = qScopeGuard([handle] { closedisk(handle); });
    g = geometry;
    const auto good =
        std::find_if(segs.begin(), segs.end(), [](const SEG &seg) { return seg.isbad == 0; });
    if (good == segs.end())
        return "Can not find a good disk block.";
    choosesectors(handle, good == segs.begin(), good->firstsector(g.sectorspercyl));
    const std::uint64_t sectors[] = {firstgoodsector, secondgoodsector};
    keepofftracks(parts, sectors, g.sectorspertrack);
    QString faults = planfaulttext(parts, g, sectors[0], sectors[1]);
    if (!faults.isEmpty())
        return faults;
    const int count = static_cast<int>(segs.size());
    writeseginfotodisk(handle, secondgoodsector, segs.data(), count);
    if (batch_partition(handle, parts) != 0)
        return "partition failed!";
    for (const TABLEFAULT &fault : verifytables(handle, parts))
        result.report += lostline(fault, parts);
    if (!verifyseginfo(handle, secondgoodsector, segs.data(), count)) {
        result.report += QString("The scan result in sector %1 is not on the disk as written. The "
                                 "partitions are not affected, but a later run can not fall back "
                                 "on it.\n")
                             .arg(secondgoodsector);
    }
    return {};
}
