#include "plan/commit.h"

#include "core/diskhandle.h"
#include "core/tlcore.h"
#include "plan/systypes.h"
#include "platform/platform.h"

#include <QStringList>

#include <algorithm>
#include <ctime>
#include <utility>

namespace
{

constexpr std::size_t maxfaultlines = 10;
// What systems read of a disk at least, in bytes: one bad sector loses them all that is in it.
constexpr std::uint64_t readunit = 4096;
constexpr char gonetext[] = "The disk does not answer any more.";
constexpr char noplacetext[] =
    "No sector of the disk's first two tracks takes the partition table.";

constexpr char guidneedstext[] =
    "Sector %1 of the disk can not be written. A disk of more than 4294967295 sectors needs a GUID "
    "partition table, and that needs the sectors 0 and 1.";
constexpr char searchedtext[] =
    "\nThe search has overwritten sectors at the disk's start; the context menu of "
    "the disk on the first page puts them back.";

} // namespace

QString planfaulttext(const std::vector<PARTFAULT> &faults)
{
    QStringList lines;
    const std::size_t count = faults.size();
    for (std::size_t i = 0; i < std::min(count, maxfaultlines); ++i)
        lines.append(QString::fromStdString(faults[i].text));
    if (count > maxfaultlines)
        lines.append(QString("\u2026 and %1 more").arg(count - maxfaultlines));
    return lines.join('\n');
}

Commit::Commit(const geom &disk, std::vector<SEG> raw, std::vector<PART> plan, bool search)
    : geometry(disk), segs(std::move(raw)), parts(std::move(plan)),
      signature(static_cast<std::uint32_t>(std::time(nullptr))),
      guidtable(disk.totalsectors > maxmbrsectors), disksectors(disk.totalsectors),
      unitsectors(std::max<std::uint64_t>(readunit / disk.bytespersector, 1)),
      searchlimit(std::min<std::uint64_t>(2ULL * disk.sectorspertrack, disk.totalsectors))
{
    if (guidtable) {
        ids.resize(parts.size() + 1);
        std::generate(ids.begin(), ids.end(), newguid);
        for (const PART &part : parts)
            names.push_back(systypetext(static_cast<std::uint8_t>(part.systype)).toStdString());
        searchlimit = std::max(searchlimit, 2 + 4 * gptarraysectors(disk.bytespersector));
    }
    const auto good =
        std::find_if(segs.begin(), segs.end(), [](const SEG &seg) { return seg.isbad == 0; });
    if (good != segs.end())
        fallback = good->firstsector(geometry.sectorspercyl);
    const std::uint64_t arrayunit = gptarraysectors(geometry.bytespersector);
    if (guidtable && fallback != nosector)
        fallback = (fallback + arrayunit - 1) / arrayunit * arrayunit;
    searching = search || good != segs.begin();
}

QString Commit::refusal() const
{
    if (fallback == nosector)
        return "Can not find a good disk block.";
    return planfaulttext(guidtable ? build(entriesat(2)).faults()
                                   : checkparts(parts, geometry, nosector, nosector));
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

// The places of a GUID table with its entries at `sector` and the scan record right behind them.
TableSectors Commit::entriesat(std::uint64_t sector) const
{
    return {0, sector + gptarraysectors(geometry.bytespersector), sector, disksectors};
}

Tables Commit::build(const TableSectors &sectors) const
{
    const auto record = sectors.scanrecord == nosector ? std::span<const SEG>() : segs;
    if (guidtable)
        return Tables::gpt(parts, geometry, sectors, ids, names, record);
    Tables built = Tables::mbr(parts, geometry, sectors, signature, record);
    for (const std::uint64_t sector : stale)
        built.clear(sector, geometry.bytespersector);
    return built;
}

// Every result that choosing the sectors can have. Only the tracks matter to the plan, so that two
// candidates of each stand for all.
std::vector<TableSectors> Commit::outcomes() const
{
    if (guidtable && searching && fallback >= searchlimit)
        return {entriesat(2), entriesat(fallback)};
    if (guidtable)
        return {entriesat(2)};
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
    if (QString fault = TableBackup::claim(handle); !fault.isEmpty())
        return fault;
    before = TableBackup::ofdisk(handle, disk);
    before.sectorbytes = geometry.bytespersector;
    std::uint64_t bytes = 0;
    if (platform::device(handle).length(bytes).ok())
        disksectors = std::max(disksectors, bytes / geometry.bytespersector);
    if (!guidtable)
        findstaleheaders(handle);
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
    for (const std::uint64_t sector : {0, 1}) { // the search would overwrite the other one
        if (guidtable && searching && !before.sectors.contains(sector))
            return QString(guidneedstext).arg(sector);
    }
    if (!fits)
        return fault;
    before.keepchain(handle);
    doubt = fault;
    return {};
}

// Headers of a GUID table in sector 1 and at the disk's end: a reader could take them for the
// table in force.
void Commit::findstaleheaders(void *handle)
{
    stale.clear();
    std::vector<std::uint8_t> sector(geometry.bytespersector);
    for (const std::uint64_t at : {std::uint64_t{1}, disksectors - 1}) {
        if (readimage(handle, at, sector) && hasgptmark(sector))
            stale.push_back(at);
    }
}

// Sectors 0 and 1, which could be read, must take what is written to them. The entries go to the
// first run of sectors that do, or else to the first good segment; the scan record to the first
// such sector behind them. The run is one aligned block of the entries' length, or reaches from
// their usual place to the end of such a block: a system that reads ahead may take blocks of that
// length for one, and lose a block to one bad sector.
QString Commit::searchguidtable(void *handle)
{
    chosen = entriesat(2);
    const std::uint64_t length = gptarraysectors(geometry.bytespersector);
    const int bytes = static_cast<int>(geometry.bytespersector);
    std::uint64_t run = 0;  // good sectors in front of this one
    std::uint64_t next = 0; // sector behind the last candidate
    if (searching)
        chosen.array = chosen.scanrecord = nosector;
    for (const std::uint64_t sector : candidates) {
        if (chosen.scanrecord != nosector)
            break;
        if (sector != std::exchange(next, sector + 1))
            run = 0;
        const bool good = readtestonesector(handle, sector, bytes) == 0 &&
                          writeandreadtestonesector(handle, sector, bytes) == 0;
        if (!good && !diskpresent(handle))
            return gonetext;
        if (sector < 2) {
            if (!good)
                return QString(guidneedstext).arg(sector) + searchedtext;
        } else if (chosen.array != nosector && good) {
            chosen.scanrecord = sector;
        } else {
            run = good ? run + 1 : 0;
            if (run >= length && (sector + 1) % length == 0)
                chosen.array = run + 1 == sector ? 2 : sector + 1 - length;
        }
    }
    if (chosen.array == nosector && fallback < searchlimit)
        return QString(noplacetext) + searchedtext;
    if (chosen.array == nosector)
        chosen = entriesat(fallback);
    return {};
}

QString Commit::search(void *handle)
{
    if (guidtable) {
        QString fault = searchguidtable(handle);
        tables = build(chosen);
        return fault.isEmpty() ? planfaulttext(tables.faults()) : fault;
    }
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
        fault += searchedtext;
    return fault;
}

QString Commit::write(void *handle)
{
    if (tables.write(handle))
        return {};
    return QString("partition failed!\n") +
           (diskpresent(handle) ? QString::fromStdString(failurereason(handle)) : gonetext);
}

void Commit::readback(void *handle)
{
    missing = tables.readback(handle);
    gone = !missing.empty() && !diskpresent(handle);
    if (gone)
        return;
    findneighbours(handle);
    leftuses = wholediskuses(handle, disksectors, geometry.bytespersector);
}

// The tables' sectors that are lost to a system for a bad sector in the same unit, the first of
// each unit.
void Commit::findneighbours(void *handle)
{
    std::map<std::uint64_t, std::pair<std::uint64_t, ImageKind>> units;
    for (const SectorImage &image : tables.images()) {
        const bool istable =
            image.kind != ImageKind::scanrecord && image.kind != ImageKind::cleared;
        const bool islost =
            std::ranges::find(missing, image.sector, &SectorImage::sector) != missing.end();
        if (unitsectors == 1 || !istable || islost)
            continue;
        auto &first =
            units.try_emplace(image.sector / unitsectors, image.sector, image.kind).first->second;
        first = std::min(first, {image.sector, image.kind});
    }
    for (const auto &[number, image] : units) {
        const auto &[sector, kind] = image;
        const std::uint64_t first = number * unitsectors;
        std::vector<std::uint8_t> unit(std::min(unitsectors, disksectors - first) *
                                       geometry.bytespersector);
        const platform::Transfer transfer = platform::device(handle).read(
            first * geometry.bytespersector, unit.data(), unit.size());
        if (transfer.status.ok() && transfer.bytes == unit.size())
            continue;
        if (kind == ImageKind::gptbackup)
            copybesidebad = true;
        else
            besidebad.push_back(sector);
    }
}
