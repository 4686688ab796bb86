#include "plan/commit.h"

#include "core/diskhandle.h"
#include "core/tables.h"

#include <QStringList>

#include <algorithm>
#include <ctime>
#include <utility>

QString planfaulttext(const std::vector<PARTFAULT> &faults)
{
    QStringList lines;
    for (const PARTFAULT &fault : faults)
        lines.append(QString::fromStdString(fault.text));
    return lines.join('\n');
}

namespace
{

// The sectors of the master boot sector and of the scan record. If the first segment is good they
// are the first two. Otherwise they are searched for, which overwrites the tested sectors; one that
// is not found becomes `fallback`, the first sector of the first good segment, or the one behind
// it.
TableSectors choosesectors(void *handle, bool firstgood, std::uint64_t fallback)
{
    if (firstgood)
        return {0, 1};
    TableSectors sectors;
    findfirsttwogoodsectors(handle, static_cast<int>(g.bytespersector), 2ULL * g.sectorspertrack,
                            sectors.mbr, sectors.scanrecord);
    if (sectors.mbr == nosector)
        sectors.mbr = fallback;
    if (sectors.scanrecord == nosector)
        sectors.scanrecord = fallback + 1;
    return sectors;
}

// A line about a sector that is not on the disk as written.
QString lostline(const SectorImage &image, const std::vector<PART> &parts)
{
    switch (image.kind) {
    case ImageKind::mbr:
        return QString("The partition table in sector %1 is not on the disk as written: none of "
                       "the partitions can be used. Go Back, rescan the block that holds the "
                       "sector, and write again.\n")
            .arg(image.sector);
    case ImageKind::scanrecord:
        return QString("The scan result in sector %1 is not on the disk as written. The "
                       "partitions are not affected, but a later run can not fall back "
                       "on it.\n")
            .arg(image.sector);
    case ImageKind::ebr:
        break;
    }
    const auto last = parts.begin() + image.part;
    const auto number =
        1 + std::count_if(parts.begin(), last, [](const PART &part) { return part.kind == 'l'; });
    return QString("The boot record of logical disk %1 in sector %2 is not on the disk as written: "
                   "this logical disk and those listed behind it can not be used. Go Back, give "
                   "its block up, and write again.\n")
        .arg(number)
        .arg(image.sector);
}

} // namespace

QString commitplan(const char *devicepath, const geom &geometry, std::span<SEG> segs,
                   std::vector<PART> parts, PARTRESULT &result)
{
    const DiskHandle disk(devicepath);
    if (!disk)
        return "Can not open the disk.";
    g = geometry;
    const auto good =
        std::find_if(segs.begin(), segs.end(), [](const SEG &seg) { return seg.isbad == 0; });
    if (good == segs.end())
        return "Can not find a good disk block.";
    const TableSectors sectors =
        choosesectors(disk.get(), good == segs.begin(), good->firstsector(geometry.sectorspercyl));
    // the signature is the clock, 32 bits of it
    const Tables tables = Tables::mbr(std::move(parts), geometry, sectors,
                                      static_cast<std::uint32_t>(std::time(nullptr)), segs);
    firstgoodsector = sectors.mbr;
    secondgoodsector = sectors.scanrecord;
    if (!tables.faults().empty())
        return planfaulttext(tables.faults());
    publishtables(tables);
    if (!tables.write(disk.get()))
        return "partition failed!";
    for (const SectorImage &image : tables.readback(disk.get()))
        result.report += lostline(image, tables.parts());
    return {};
}
