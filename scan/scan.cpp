#include "scan/scan.h"

#include "platform/plainfile.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace
{

constexpr const char *changeddisk = "Rough disk scan finds different bad sectors than the previous "
                                    "result. You need to re-scan the disk.";

// That the file of this name can't be written, with the system's own words for its last error.
QString cannotwrite(const char *name, const QString &why = qt_error_string())
{
    return QString("Can not open bin data file to write.\n%1: %2")
        .arg(QDir::toNativeSeparators(QFileInfo(name).absoluteFilePath()), why);
}

} // namespace

// ---- the disk and its plan ---------------------------------------------------------------------

void Scan::choose(const DISKINFO &disk)
{
    chosen = disk;
    diskgeom = g = geom();
    setplan({});
    intsegs.clear();
    prevsource = 0;
    setfilename(scanfilename(disk.model));
}

void Scan::setfilename(const std::string &name)
{
    std::fill(std::begin(filename), std::end(filename), '\0');
    name.copy(filename, sizeof filename - 1);
}

QString Scan::holddisk()
{
    std::string refusal;
    held = openchosen(chosen, refusal);
    diskhandle = held.get();
    return openrefusal = held ? QString() : QString::fromStdString(refusal);
}

QString Scan::setfactors(int bytespersector, int sectorspertrack, int heads)
{
    const GeomFault fault = checkgeomfactors(bytespersector, sectorspertrack, heads);
    if (fault == GeomFault::bytespersector)
        return QString("\"bytes per sector\" must be a power of two from %1 to %2.")
            .arg(QString::number(minbytespersector), QString::number(maxbytespersector));
    if (fault == GeomFault::sectorspertrack)
        return QString("\"sectors per track\" must be a number from 1 to %1.")
            .arg(maxsectorspertrack);
    if (fault == GeomFault::heads)
        return QString("\"heads number\" must be a number from 1 to %1.").arg(maxheads);
    diskgeom = withfactors(diskgeom, bytespersector, sectorspertrack, heads);
    return {};
}

void Scan::settle(const geom &geometry)
{
    diskgeom = g = geometry;
    if (canplan(geometry))
        setplan(makeplan(geometry));
}

void Scan::setplan(std::vector<SEG> newplan)
{
    plan = std::move(newplan);
    segs = plan.empty() ? nullptr : plan.data();
    segnum = static_cast<int>(plan.size());
    curseg = 0;
}

bool Scan::filepresent() const
{
    std::FILE *file = platform::openplainfile(filename, "rb");
    if (file)
        std::fclose(file);
    return file != nullptr;
}

bool Scan::isstranger(const ScanFile &file) const
{
    return file.checksum != 0 && file.checksum != checksum();
}

void Scan::findprevious()
{
    if (isstranger(readscanfile(filename))) {
        const std::string twins = filename;
        setfilename(twinfilename(chosen.model, chosen.identity.serial));
        // some bridges have serial numbers of their own, so it may be the disk's all the same
        if (!filepresent() && !(segnum > 0 && hasseginfo(diskhandle, segnum)))
            setfilename(twins);
    }
    if (filepresent())
        prevsource = 1;
    else if (segnum > 0 && hasseginfo(diskhandle, segnum))
        prevsource = 2;
}

QString Scan::noplan() const
{
    if (segnum > 0)
        return {};
    // Without a geometry the disk was never opened.
    return diskgeom == geom() ? openrefusal
                              : "The disk has not one whole cylinder. It can not be partitioned.";
}

QString Scan::gonetext() const
{
    QString text = "The disk does not answer any more.";
    if (prevsource != 0)
        text += " Click \"Use prev. >\" to go on from here once it is back.";
    return text;
}

int Scan::getsegindexfromcyl(unsigned long long cyl) const
{
    const auto [first, last] = segmentsunder(cyl, cyl);
    return first == last ? first : -1;
}

// ---- a run -------------------------------------------------------------------------------------

QString Scan::begin(const ScanFile *partial)
{
    const int first = partial ? partial->records : 0;
    if (!partial && isstranger(readscanfile(filename)))
        setfilename(twinfilename(chosen.model, chosen.identity.serial));
    QString refusal;
    if (!writer.open(filename, partial ? "ab" : "wb", first))
        return cannotwrite(filename);
    if (!partial && !writer.writeheader(diskgeom, checksum())) {
        prevsource = 0;
        refusal = cannotwrite(filename);
    } else {
        refusal = holddisk();
    }
    // The next record must stand at its own place.
    if (refusal.isEmpty() && partial && partial->ragged && !writer.cut(first))
        refusal = cannotwrite(filename);
    if (!refusal.isEmpty()) {
        endrun();
        return refusal;
    }
    datafile = writer.stream();
    curseg = first;
    savefailed = false;
    speed = ScanSpeed((segs[segnum - 1].stop + 1) * diskgeom.bytespercyl,
                      segs[first].start * diskgeom.bytespercyl);
    return {};
}

Reading Scan::testsegment(void *handle, int index, RangeTest test) const
{
    const SEG &seg = segs[index];
    return test(handle, seg.firstsector(diskgeom.sectorspercyl),
                seg.lastsector(diskgeom.sectorspercyl), static_cast<int>(diskgeom.bytespersector));
}

void Scan::mark(Reading reading)
{
    if (isdamage(reading))
        segs[curseg].isbad = 1;
}

bool Scan::append()
{
    // Record n is segment n, so no record can follow one that is missing.
    if (savefailed || writer.append(segs[curseg], curseg + 1 == segnum))
        return true;
    savefailed = true;
    datafile = nullptr;
    return false;
}

void Scan::advance(Reading reading, double seconds)
{
    const SEG &seg = segs[curseg++];
    speed.add((seg.stop - seg.start + 1) * diskgeom.bytespercyl, seconds, isdamage(reading));
}

void Scan::endrun()
{
    writer.close();
    datafile = nullptr;
    releasedisk();
}

void Scan::findafterrun()
{
    if (savefailed || prevsource == 1)
        prevsource = 0;
    if (!savefailed && filepresent())
        prevsource = 1;
}

std::vector<SEG> Scan::merged() const
{
    std::vector<SEG> list;
    integratesegs(segs, segnum, list);
    return list;
}

void Scan::skip()
{
    for (SEG &seg : plan)
        seg.isbad = 0;
    intsegs = merged();
}

Reading Scan::readsectors(std::uint64_t first, std::uint64_t last) const
{
    std::string refusal;
    const DiskHandle disk = openchosen(chosen, refusal);
    Reading reading = disk ? Reading::good : Reading::gone;
    for (std::uint64_t sector = first; sector <= last && reading == Reading::good; ++sector)
        reading = readsector(disk.get(), sector, static_cast<int>(g.bytespersector));
    return reading;
}

QString Scan::savefile()
{
    QString why;
    if (!replacescanfile(filename, diskgeom, plan, checksum(), &why))
        return cannotwrite(filename, why);
    savefailed = false;
    return {};
}

// ---- an earlier result -------------------------------------------------------------------------

std::pair<ScanFile, QString> Scan::readprevious() const
{
    if (prevsource == 1) {
        ScanFile file = readscanfile(filename);
        if (file.state == ScanFileState::unreadable)
            return {file, cannotwrite(filename)};
        if (file.state == ScanFileState::damaged)
            return {file, QString("The file %1 with the previous scan result is damaged. Please "
                                  "scan the disk anew.")
                              .arg(filename)};
        return {file, {}};
    }
    std::string refusal;
    const DiskHandle disk = openchosen(chosen, refusal);
    if (!disk)
        return {{}, QString::fromStdString(refusal)};
    // The record was there when the page was entered. One that is gone must not pass for a disk
    // without damage.
    ScanFile record{.state = ScanFileState::complete, .geometry = diskgeom, .segs = plan};
    const std::uint64_t sector = findscanrecord(disk.get(), segnum);
    if (sector != nosector &&
        readseginfofromdisk(disk.get(), sector, record.segs.data(), segnum) == 0)
        return {record, {}};
    if (!diskpresent(disk.get()))
        return {{}, gonetext()};
    return {{.state = ScanFileState::damaged}, changeddisk};
}

QString Scan::strangerquestion(const ScanFile &previous) const
{
    if (prevsource != 1 || !isstranger(previous))
        return {};
    const std::string &serial = chosen.identity.serial;
    return QString("The scan result in file %1 seems to be that of another disk:\n"
                   "%2 bytes, serial number with checksum %3.\n\n"
                   "The chosen disk is %4, model %5,\n"
                   "%6 bytes, serial number %7 with checksum %8.\n\n"
                   "Some USB adapters report a serial number of their own. Use the result for the "
                   "chosen disk all the same?")
        .arg(filename, QString::number(previous.geometry.totalbytes),
             QString::number(previous.checksum, 16).rightJustified(8, '0'),
             QString::fromStdString(chosen.identity.node), QString::fromLocal8Bit(chosen.model),
             QString::number(diskgeom.totalbytes),
             serial.empty() ? "none" : QString::fromStdString(serial),
             QString::number(checksum(), 16).rightJustified(8, '0'));
}

void Scan::takeprevious(const ScanFile &previous)
{
    if (previous.state == ScanFileState::damaged) {
        prevsource = 0;
    } else if (previous.state != ScanFileState::unreadable) {
        diskgeom = g = previous.geometry;
        setplan(previous.segs);
    }
}

QString Scan::judge(Reading roughcheck)
{
    if (roughcheck == Reading::gone)
        return gonetext();
    if (!isdamage(roughcheck))
        return {};
    prevsource = 0;
    return changeddisk;
}

// ---- a re-test ---------------------------------------------------------------------------------

std::pair<int, int> Scan::segmentsunder(std::uint64_t start, std::uint64_t stop) const
{
    int first = 0, last = segnum - 1;
    while (first < segnum && segs[first].stop < start)
        ++first;
    while (last >= 0 && segs[last].start > stop)
        --last;
    return {first, last};
}

void Scan::markretested(const std::vector<int> &failed, int first, int last)
{
    for (const int index : failed)
        segs[index].isbad = 1;
    addprotect(segs + first, last - first + 1);
    intsegs = merged();
}
