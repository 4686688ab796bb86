#include "plan/commit.h"

#include "core/tlcore.h"

#include <QStringList>

#include <algorithm>
#include <ctime>
#include <set>
#include <utility>

namespace
{

constexpr int maxfaultlines = 10;
constexpr char gonetext[] = "The disk does not answer any more.";
constexpr char noplacetext[] =
    "No sector of the disk's first two tracks takes the partition table.";

// A line about a sector that is not on the disk as written.
QString lostline(const SectorImage &image, int logical)
{
    switch (image.kind) {
    case ImageKind::mbr:
        return QString("The partition table in sector %1 is not on the disk as written: none of "
                       "the partitions can be used. Go Back and write again; another sector is "
                       "then searched for it.\n")
            .arg(image.sector);
    case ImageKind::scanrecord:
        return QString("The scan result in sector %1 is not on the disk as written. The "
                       "partitions are not affected, but a later run can not fall back "
                       "on it.\n")
            .arg(image.sector);
    case ImageKind::ebr:
        return QString("The boot record of logical disk %1 in sector %2 is not on the disk as "
                       "written: this logical disk and those listed behind it can not be used. Go "
                       "Back, give its block up, and write again.\n")
            .arg(logical)
            .arg(image.sector);
    case ImageKind::gptheader:
    case ImageKind::gptarray:
    case ImageKind::gptbackup:
    case ImageKind::kept:
        break;
    }
    return {};
}

} // namespace

QString planfaulttext(const std::vector<PARTFAULT> &faults)
{
    QStringList lines;
    const int count = static_cast<int>(faults.size());
    for (int i = 0; i < std::min(count, maxfaultlines); ++i)
        lines.append(QString::fromStdString(faults[static_cast<std::size_t>(i)].text));
    if (count > maxfaultlines)
        lines.append(QString("\u2026 and %1 more").arg(count - maxfaultlines));
    return lines.join('\n');
}

Commit::Commit(const geom &disk, std::vector<SEG> raw, std::vector<PART> plan, bool search)
    : geometry(disk), segs(std::move(raw)), parts(std::move(plan)),
      signature(static_cast<std::uint32_t>(std::time(nullptr))),
      searchlimit(std::min<std::uint64_t>(2ULL * disk.sectorspertrack, disk.totalsectors))
{
    const auto good =
        std::find_if(segs.begin(), segs.end(), [](const SEG &seg) { return seg.isbad == 0; });
    if (good != segs.end())
        fallback = good->firstsector(geometry.sectorspercyl);
    searching = search || good != segs.begin();
}

QString Commit::refusal() const
{
    if (fallback == nosector)
        return "Can not find a good disk block.";
    return planfaulttext(checkparts(parts, geometry, nosector, nosector));
}

// What two found sectors mean, `nosector` for one that was not found: that becomes the first
// sector of the first good segment, or the one behind it, unless the search has tried it already.
TableSectors Commit::settled(std::uint64_t first, std::uint64_t second) const
{
    const auto orbehind = [this](std::uint64_t found, std::uint64_t other) {
        return found != nosector || other < searchlimit ? found : other;
    };
    return {orbehind(first, fallback), orbehind(second, fallback + 1)};
}

Tables Commit::build(const TableSectors &sectors) const
{
    return Tables::mbr(parts, geometry, sectors, signature,
                       sectors.scanrecord == nosector ? std::span<const SEG>() : segs);
}

// Every result that choosing the sectors can have. Only the tracks matter to the plan, so that two
// candidates of each stand for all.
std::vector<TableSectors> Commit::outcomes() const
{
    if (!searching)
        return {{0, 1}};
    std::vector<std::uint64_t> some;
    std::map<std::uint64_t, int> ontrack;
    for (const std::uint64_t sector : candidates) {
        if (++ontrack[sector / geometry.sectorspertrack] <= 2)
            some.push_back(sector);
    }
    std::vector<TableSectors> all = {settled(nosector, nosector)};
    for (std::size_t i = 0; i < some.size(); ++i) {
        all.push_back(settled(some[i], nosector));
        for (std::size_t k = i + 1; k < some.size(); ++k)
            all.push_back({some[i], some[k]});
    }
    return all;
}

QString Commit::prepare(void *handle, const DISKINFO &disk)
{
    if (const QString fault = TableBackup::claim(handle); !fault.isEmpty())
        return fault;
    before = TableBackup::ofdisk(handle, disk);
    before.sectorbytes = geometry.bytespersector;
    const auto keep = [this, handle](std::uint64_t sector) {
        gone = gone || (!before.keep(handle, sector) && !diskpresent(handle));
        return before.sectors.contains(sector);
    };
    for (std::uint64_t sector = 0; searching && !gone && sector < searchlimit; ++sector) {
        if (keep(sector))
            candidates.push_back(sector);
    }
    QString fault;
    bool fits = false;
    for (const TableSectors &sectors : outcomes()) {
        const Tables attempt = build(sectors);
        const QString text =
            sectors.mbr == nosector ? noplacetext : planfaulttext(attempt.faults());
        if (!text.isEmpty()) {
            if (fault.isEmpty())
                fault = text;
            continue;
        }
        fits = true;
        for (const SectorImage &image : attempt.images()) {
            if (!gone)
                keep(image.sector);
        }
    }
    if (gone)
        return gonetext;
    if (!fits)
        return fault;
    before.keepchain(handle);
    doubt = fault;
    return {};
}

QString Commit::search(void *handle)
{
    std::uint64_t found[] = {searching ? nosector : 0, searching ? nosector : 1};
    int count = 0;
    const int bytes = static_cast<int>(geometry.bytespersector);
    for (const std::uint64_t sector : candidates) {
        if (count == 2)
            break;
        if (readtestonesector(handle, sector, bytes) == 0 &&
            writeandreadtestonesector(handle, sector, bytes) == 0)
            found[count++] = sector;
        else if (!diskpresent(handle))
            return gonetext;
    }
    chosen = settled(found[0], found[1]);
    tables = build(chosen);
    QString fault = chosen.mbr == nosector ? noplacetext : planfaulttext(tables.faults());
    if (!fault.isEmpty())
        fault += "\nThe search has overwritten sectors at the disk's start; the context menu of "
                 "the disk on the first page puts them back.";
    return fault;
}

QString Commit::write(void *handle)
{
    if (tables.write(handle))
        return {};
    return diskpresent(handle) ? QString("partition failed!")
                               : QString("partition failed!\n") + gonetext;
}

void Commit::readback(void *handle)
{
    missing = tables.readback(handle);
    gone = !missing.empty() && !diskpresent(handle);
}

void Commit::report(PARTRESULT &result) const
{
    g = geometry;
    firstgoodsector = chosen.mbr;
    secondgoodsector = chosen.scanrecord;
    publishtables(tables);
    if (gone) {
        result.ondisk = OnDisk::unknown;
        return;
    }
    if (chosen.scanrecord == nosector)
        result.report += "No sector was found for the scan result. The partitions are not "
                         "affected, but a later run can not fall back on it.\n";
    for (const SectorImage &image : missing) {
        const auto end = tables.parts().begin() + std::max(image.part + 1, 0);
        const auto logical = static_cast<int>(std::count_if(
            tables.parts().begin(), end, [](const PART &part) { return part.kind == 'l'; }));
        result.report += lostline(image, logical);
        if (image.kind == ImageKind::mbr) {
            result.ondisk = OnDisk::notable;
        } else if (image.kind == ImageKind::ebr && result.ondisk == OnDisk::whole) {
            result.ondisk = OnDisk::part;
            result.usablelogicals = logical - 1;
        }
    }
    if (missing.size() == tables.images().size())
        result.ondisk = OnDisk::nothing;
}
