#include "scan/diskscanpage.h"

#include "platform/plainfile.h"
#include "scan/consolidation.h"
#include "views/plainbox.h"

#include <QProgressDialog>
#include <QTimer>
#include <QWizard>

#include <array>
#include <utility>

namespace
{

// Every record goes to the system at once, where a crash of the program does it no harm. What a
// power cut may take is so many milliseconds of the scan at most: to wait for the medium behind
// each record would cost a small disk more time than its test.
constexpr qint64 keepinterval = 1000;

// What the title of a running scan may grow to.
constexpr const char *longesttitle =
    "100 % done, 100 bad segments, 1000.0 MB/s, about 23 h 59 min left";

template <std::size_t size>
bool writewhole(std::FILE *file, const std::array<std::uint8_t, size> &image)
{
    return std::fwrite(image.data(), 1, size, file) == size && std::fflush(file) == 0;
}

} // namespace

void DiskScanPage::beginscan()
{
    if (running || !hasplan())
        return;
    closed = false;
    datafile = platform::openplainfile(filename, "wb");
    if (!datafile) {
        refuse("Can not open bin data file to write.");
        return;
    }
    if (!writewhole(datafile, encodegeom(diskgeom)) || !platform::syncplainfile(datafile)) {
        stoprun();
        offerprev(0);
        refuse("Can not open bin data file to write.");
        return;
    }
    if (!holddisk())
        return;
    startrun(0);
    scanprogress->show();
}

bool DiskScanPage::holddisk()
{
    diskhandle = opendisk(chosendisk().devicepath);
    if (diskhandle != invaliddisk)
        return true;
    stoprun();
    refuse("Can not open the disk.");
    return false;
}

void DiskScanPage::startrun(int first)
{
    curseg = first;
    keptrecords = first;
    sincekept.start();
    savefailed = false;
    running = true;
    awake = std::make_unique<platform::StayAwake>("Scanning a disk for bad sectors");

    delete scanprogress;
    delete scantimer;
    scanprogress = new QProgressDialog("Scanning disk...", "abort scan", 0, segnum);
    // The wizard alone keeps the program alive.
    scanprogress->setAttribute(Qt::WA_QuitOnClose, false);
    connect(scanprogress, &QProgressDialog::canceled, this, &DiskScanPage::scancanceled);
    connect(scanprogress, &QDialog::rejected, this, &DiskScanPage::scancanceled);
    speed = ScanSpeed((segs[segnum - 1].stop + 1) * diskgeom.bytespercyl,
                      segs[first].start * diskgeom.bytespercyl);
    scanprogress->setWindowTitle(QString::fromStdString(speed.text()));
    scanprogress->setWindowIcon(wizard()->windowIcon());
    // a window has no title to go by for its width; half as much again for a frame's own font and
    // buttons
    scanprogress->setMinimumWidth(scanprogress->fontMetrics().horizontalAdvance(longesttitle) * 3 /
                                  2);
    scantimer = new QTimer(this);
    connect(scantimer, &QTimer::timeout, this, &DiskScanPage::scan);
    scantimer->start(0);
    disableallbutton();
}

void DiskScanPage::stoprun()
{
    running = false;
    awake.reset();
    if (scantimer)
        scantimer->stop();
    if (datafile) {
        platform::syncplainfile(datafile);
        std::fclose(datafile);
    }
    datafile = nullptr;
    closedisk(diskhandle);
    diskhandle = invaliddisk;
}

void DiskScanPage::scan()
{
    if (!running)
        return;
    scanprogress->setValue(curseg);
    SEG &seg = segs[curseg];
    QElapsedTimer clock;
    clock.start();
    const bool isbad = testfunc(diskhandle, seg.firstsector(diskgeom.sectorspercyl),
                                seg.lastsector(diskgeom.sectorspercyl),
                                static_cast<int>(diskgeom.bytespersector)) != 0;
    if (isbad) {
        if (!diskpresent(diskhandle)) {
            scancanceled();
            refusegone();
            return;
        }
        seg.isbad = 1;
    }
    const bool written = savefailed || writerecord();
    ++curseg;
    // here, since the title shows only once the events have their turn
    speed.add((seg.stop - seg.start + 1) * diskgeom.bytespercyl,
              static_cast<double>(clock.nsecsElapsed()) / 1e9, isbad);
    scanprogress->setWindowTitle(QString::fromStdString(speed.text()));
    if (!written) {
        // Record n is segment n, so nothing can follow a record that is missing. What stands in
        // front of it stays good for a later resume.
        savefailed = true;
        std::fclose(datafile);
        datafile = nullptr;
        platform::cutplainfile(filename,
                               geomsize + segsize * static_cast<std::uint64_t>(keptrecords));
        scantimer->stop();
        refuse(QString("Can not write the scan result to file %1. The scan goes on, but its result "
                       "will not be saved.")
                   .arg(filename));
        if (!running)
            return;
        scantimer->start(0);
    }
    if (curseg >= segnum)
        finishrun();
}

bool DiskScanPage::writerecord()
{
    if (std::fseek(datafile, 0, SEEK_END) != 0 || !writewhole(datafile, encodeseg(segs[curseg]))) {
        // those before it the system took
        keptrecords = curseg;
        return false;
    }
    if (curseg + 1 < segnum && sincekept.elapsed() < keepinterval)
        return true;
    if (!platform::syncplainfile(datafile))
        return false;
    keptrecords = curseg + 1;
    sincekept.start();
    return true;
}

void DiskScanPage::finishrun()
{
    // the boundaries are still to be read
    auto stillawake = std::move(awake);
    stoprun();
    addprotect(segs, segnum);
    std::vector<SEG> list;
    integratesegs(segs, segnum, list);
    const int moves = hasbad(list) ? fixsegs(list, 0) : 0;
    stillawake.reset();
    if (closed)
        return;
    if (moves < 0) {
        waitagain();
        refusegone();
        return;
    }
    intsegs = list;
    scanprogress->setValue(segnum);
    offerprev(savefailed ? 0 : 1);
    if (!savefailed) {
        plainbox(
            this, QMessageBox::Information, "Hint",
            tr("Scan completed. The scan result is saved in file %1. You may backup the file to "
               "use in the future. The scan result will also be saved in the scanned disk at the "
               "last step automatically and used when the file is missing.")
                .arg(filename));
    }
    if (!closed)
        leave();
}

void DiskScanPage::scancanceled()
{
    // Closing the dialog calls this again.
    if (!running)
        return;
    stoprun();
    waitagain();
}

void DiskScanPage::waitagain()
{
    scanprogress->close();
    enableallbutton();
    if (savefailed) {
        offerprev(0);
    } else if (std::FILE *file = platform::openplainfile(filename, "rb")) {
        std::fclose(file);
        offerprev(1);
    } else {
        offerprev(prevsource == 2 ? 2 : 0);
    }
}

void DiskScanPage::refusegone()
{
    QString text = "The disk does not answer any more.";
    if (prevsource != 0)
        text += " Click \"Use prev. >\" to go on from here once it is back.";
    refuse(text);
}

void DiskScanPage::wizardfinished()
{
    closed = true;
    scancanceled();
    if (scanprogress)
        scanprogress->close();
}

void DiskScanPage::skipscan()
{
    if (running || !hasplan())
        return;
    for (int i = 0; i < segnum; ++i)
        segs[i].isbad = 0;
    integratesegs(segs, segnum, intsegs);
    leave();
}
