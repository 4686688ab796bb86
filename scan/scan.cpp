#include "scan/scan.h"

#include "platform/plainfile.h"
#include "platform/platform.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace
{

constexpr const char *changeddisk = "Rough disk scan finds different bad sectors than the previous "
                                    "result. You need to re-scan the disk.";

// Why a stored geometry is not that of a disk with `bytes` bytes in sectors of `bytespersector`
// bytes, a sentence for the user; empty if it fits. A length of 0 is not known and fits.
QString geometrymisfit(const geom &stored, std::uint64_t bytes, std::uint32_t bytespersector)
{
    if (stored.bytespersector != bytespersector)
        return QString("It is that of a disk with sectors of %1 bytes; this disk has sectors of %2 "
                       "bytes.")
            .arg(QString::number(stored.bytespersector), QString::number(bytespersector));
    // systems tell either the whole length or that of the whole cylinders
    const bool fits =
        stored.totalbytes == bytes || (stored.totalbytes == stored.cylinders * stored.bytespercyl &&
                                       stored.cylinders == bytes / stored.bytespercyl);
    if (bytes == 0 || fits)
        return {};
    return QString("It is that of a disk with %1 bytes; this disk has %2 bytes.")
        .arg(QString::number(stored.totalbytes), QString::number(bytes));
}

} // namespace

QString Scan::cannotwrite(const char *name, const QString &why)
{
    return QString("Can not open bin data file to write.\n%1: %2")
        .arg(QDir::toNativeSeparators(QFileInfo(name).absoluteFilePath()), why);
}

// ---- the disk and its plan ---------------------------------------------------------------------

void Scan::choose(const DISKINFO &disk)
{
    chosen = disk;
    diskgeom = g = geom();
    setplan({});
    intsegs.clear();
    prevsource = 0;
    former = {};
    manner.reset();
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
    known.assign(plan.size(), {});
    curseg = 0;
    lastgood = -1;
    failures.clear();
}

bool Scan::filepresent() const
{
    return readscanfile(filename).state != ScanFileState::unreadable;
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
    recallresult(filename);
    // a file without a result does not hide the disk's own record
    if (readscanfile(filename).holdsresult())
        prevsource = 1;
    else if (segnum > 0 && hasseginfo(diskhandle, segnum))
        prevsource = 2;
    else
        prevsource = filepresent() ? 1 : 0;
}

QString Scan::noplan() const
{
    if (segnum > 0)
        return {};
    // Without a geometry the disk was never opened.
    return diskgeom == geom() ? openrefusal
                              : "The disk has not one whole cylinder. It can not be partitioned.";
}

QString Scan::stoptext(Reading reading, const std::string &why) const
{
    if (reading == Reading::cancelled)
        return {};
    if (reading == Reading::refused) {
        return QString("The disk refuses the test, which says nothing about its sectors. Nothing "
                       "was marked for that.\n%1")
            .arg(why.empty() ? "Something else may use it, or its writing may be locked."
                             : QString::fromStdString(why));
    }
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
    if ((!partial && !keepresult(filename)) ||
        !writer.open(filename, partial ? "ab" : "wb", first)) {
        refusal = cannotwrite(filename);
        recallresult(filename);
        return refusal;
    }
    if (!partial && !writer.writeheader(diskgeom, checksum()))
        refusal = cannotwrite(filename);
    else
        refusal = holddisk();
    // The next record must stand at its own place.
    if (refusal.isEmpty() && partial && partial->ragged && !writer.cut(first))
        refusal = cannotwrite(filename);
    if (!refusal.isEmpty()) {
        endrun();
        findafterrun();
        return refusal;
    }
    datafile = writer.stream();
    curseg = first;
    lastgood = -1;
    failures.clear();
    for (std::size_t i = first; i < known.size(); ++i)
        known[i] = {.margin = known[i].margin};
    running = true;
    timesegments(diskhandle);
    times = platform::device(diskhandle).times();
    savefailed = false;
    manner.reset();
    if (!partial)
        manner = {testfunc == write_test, slowlimit, slowisbad};
    speed = ScanSpeed((segs[segnum - 1].stop + 1) * diskgeom.bytespercyl,
                      segs[first].start * diskgeom.bytespercyl);
    return {};
}

bool Scan::answers(void *handle, int failed) const
{
    const auto reads = [this, handle](int index) {
        return readsector(handle, segs[index].lastsector(diskgeom.sectorspercyl),
                          static_cast<int>(diskgeom.bytespersector)) == Reading::good;
    };
    if (lastgood >= 0)
        return reads(lastgood);
    // At the start of a run no place is known to be good: several ones all over the disk.
    constexpr int places = 8;
    for (int i = 0; i <= places; ++i) {
        const int index = (segnum - 1) * i / places;
        if ((index != failed || segnum == 1) && reads(index))
            return true;
    }
    return false;
}

void Scan::mark(const SegmentTest &test)
{
    keeptimes(curseg, test);
    if (!isdamaged(test)) {
        lastgood = curseg;
        failures.clear();
        return;
    }
    if (isdamage(test.reading) || !failures.empty())
        failures.emplace_back(curseg, segs[curseg].isbad);
    segs[curseg].isbad = 1;
    known[curseg].margin = false;
}

void Scan::takeback()
{
    if (failures.empty())
        return;
    for (const auto &[index, isbad] : failures) {
        segs[index].isbad = isbad;
        known[index] = {};
    }
    curseg = failures.front().first;
    failures.clear();
    if (!savefailed && !writer.cut(curseg))
        savefailed = true;
}

bool Scan::append()
{
    // Record n is segment n, so no record can follow one that is missing.
    const bool last = curseg + 1 == segnum;
    if (savefailed || writer.append(segs[curseg], last)) {
        if (last && !savefailed) {
            former = formerresult(filename);
            dropkeptresult(filename);
        }
        return true;
    }
    savefailed = true;
    datafile = nullptr;
    return false;
}

void Scan::advance(const SegmentTest &test, double seconds)
{
    const SEG &seg = segs[curseg++];
    speed.add((seg.stop - seg.start + 1) * diskgeom.bytespercyl, seconds, isdamaged(test));
}

void Scan::endrun()
{
    running = false;
    writer.close();
    datafile = nullptr;
    releasedisk();
}

void Scan::findafterrun()
{
    recallresult(filename);
    if (readscanfile(filename).holdsresult() && !savefailed)
        prevsource = 1;
    else if (prevsource == 1)
        prevsource = 0;
}

bool Scan::hascompleteearlier() const
{
    return prevsource == 1 && readscanfile(filename).state == ScanFileState::partial &&
           readkeptresult(filename).state == ScanFileState::complete;
}

Scan::Result Scan::result() const
{
    return {diskgeom, plan, intsegs, known, manner};
}

void Scan::restoreresult(const Result &result)
{
    diskgeom = g = result.geometry;
    setplan(result.plan);
    intsegs = result.intsegs;
    known = result.known;
    manner = result.manner;
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
    known.assign(plan.size(), {});
    manner.reset();
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
        const QString misfit =
            geometrymisfit(file.geometry, chosen.identity.bytes, diskgeom.bytespersector);
        if (!misfit.isEmpty())
            return {{.state = ScanFileState::damaged},
                    QString("The previous scan result in file %1 does not fit this disk. %2 Please "
                            "scan the disk anew.")
                        .arg(filename, misfit)};
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
        return {{}, stoptext(Reading::gone)};
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
        manner.reset();
        const bool whole = previous.state == ScanFileState::complete;
        const int tested = whole ? segnum : previous.records;
        for (int i = 0; i < tested; ++i)
            known[i].tested = true;
    }
}

QString Scan::judge(Reading roughcheck)
{
    if (endswork(roughcheck))
        return stoptext(roughcheck);
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
    widen(first, last - first + 1);
    intsegs = merged();
}
