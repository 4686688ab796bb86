#include "scan/diskscanpage.h"

#include "platform/plainfile.h"
#include "scan/consolidation.h"

#include <QMessageBox>
#include <QProgressDialog>
#include <QTimer>

#include <array>

namespace
{

template <std::size_t size>
bool writewhole(std::FILE *file, const std::array<std::uint8_t, size> &image)
{
    return std::fwrite(image.data(), 1, size, file) == size && std::fflush(file) == 0 &&
           platform::syncplainfile(file);
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
    if (!writewhole(datafile, encodegeom(diskgeom))) {
        stoprun();
        offerprev(0);
        refuse("Can not open bin data file to write.");
        return;
    }
    diskhandle = opendisk(chosendisk().devicepath);
    if (diskhandle == invaliddisk) {
        stoprun();
        refuse("Can not open the disk.");
        return;
    }
    startrun(0);
    scanprogress->show();
}

void DiskScanPage::startrun(int first)
{
    curseg = first;
    savefailed = false;
    running = true;

    delete scanprogress;
    delete scantimer;
    scanprogress = new QProgressDialog("Scanning disk...", "abort scan", 0, segnum);
    // The wizard alone keeps the program alive.
    scanprogress->setAttribute(Qt::WA_QuitOnClose, false);
    connect(scanprogress, &QProgressDialog::canceled, this, &DiskScanPage::scancanceled);
    connect(scanprogress, &QDialog::rejected, this, &DiskScanPage::scancanceled);
    scantimer = new QTimer(this);
    connect(scantimer, &QTimer::timeout, this, &DiskScanPage::scan);
    scantimer->start(0);
    disableallbutton();
}

void DiskScanPage::stoprun()
{
    running = false;
    if (scantimer)
        scantimer->stop();
    if (datafile)
        std::fclose(datafile);
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
    if (testfunc(diskhandle, seg.firstsector(diskgeom.sectorspercyl),
                 seg.lastsector(diskgeom.sectorspercyl),
                 static_cast<int>(diskgeom.bytespersector)) != 0) {
        if (!diskpresent(diskhandle)) {
            scancanceled();
            refusegone();
            return;
        }
        seg.isbad = 1;
    }
    const bool written = savefailed || writerecord();
    ++curseg;
    if (!written) {
        // Record n is segment n, so nothing can follow a record that is missing. What stands in
        // front of it stays good for a later resume.
        savefailed = true;
        std::fclose(datafile);
        datafile = nullptr;
        platform::cutplainfile(filename, geomsize + segsize * (curseg - 1ULL));
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
    return std::fseek(datafile, 0, SEEK_END) == 0 && writewhole(datafile, encodeseg(segs[curseg]));
}

void DiskScanPage::finishrun()
{
    stoprun();
    addprotect(segs, segnum);
    std::vector<SEG> list;
    integratesegs(segs, segnum, list);
    const int moves = hasbad(list) ? fixsegs(list, 0) : 0;
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
        QMessageBox::information(
            this, "Hint",
            tr("Scan completed. The scan result is saved in file %1. You may backup the file to "
               "use in the future. The scan result will also be saved in the scanned disk at the "
               "last step automatically and used when the file is missing.")
                .arg(filename),
            QMessageBox::Ok);
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
