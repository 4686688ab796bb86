#include "scan/diskscanpage.h"

#include "platform/plainfile.h"
#include "scan/consolidation.h"
#include "scan/scanfile.h"

#include <QProgressDialog>

namespace
{

constexpr char changedtext[] = "Rough disk scan finds different bad sectors than the previous "
                               "result. You need to re-scan the disk.";

} // namespace

void DiskScanPage::useprev()
{
    if (running || !hasplan())
        return;
    closed = false;
    if (prevsource == 1) {
        const ScanFile file = readscanfile(filename);
        if (file.state == ScanFileState::unreadable) {
            refuse("Can not open bin data file to write.");
            return;
        }
        if (file.state == ScanFileState::damaged) {
            offerprev(0);
            refuse(QString("The file %1 with the previous scan result is damaged. Please scan the "
                           "disk anew.")
                       .arg(filename));
            return;
        }
        diskgeom = file.geometry;
        g = diskgeom;
        setplan(file.segs);
        if (file.state == ScanFileState::partial) {
            resume(file.records, file.ragged, file.wholebytes);
            return;
        }
    } else if (prevsource == 2) {
        void *handle = opendisk(chosendisk().devicepath);
        if (handle == invaliddisk) {
            refuse("Can not open the disk.");
            return;
        }
        // It was there when the page was entered; a record that is gone must not pass for a
        // disk without damage.
        const bool loaded =
            hasseginfo(handle, segnum) && readseginfofromdisk(handle, 1, segs, segnum) == 0;
        const bool gone = !loaded && !diskpresent(handle);
        closedisk(handle);
        if (gone) {
            refusegone();
            return;
        }
        if (!loaded) {
            offerprev(0);
            refuse(changedtext);
            return;
        }
    } else {
        return;
    }
    reuse();
}

void DiskScanPage::resume(int first, bool ragged, unsigned long long wholebytes)
{
    datafile = platform::openplainfile(filename, "ab");
    if (!datafile) {
        refuse("Can not open bin data file to write.");
        return;
    }
    if (!holddisk())
        return;
    // What is appended must stand where its record belongs.
    if (ragged && !platform::cutplainfile(filename, wholebytes)) {
        stoprun();
        refuse("Can not open bin data file to write.");
        return;
    }
    startrun(first);
    scanprogress->setValue(curseg);
    scanprogress->setMinimumDuration(0);
    scanprogress->show();
}

void DiskScanPage::reuse()
{
    savefailed = false;
    void *handle = opendisk(chosendisk().devicepath);
    if (handle == invaliddisk) {
        refuse("Can not open the disk.");
        return;
    }
    std::vector<SEG> list;
    integratesegs(segs, segnum, list);
    const int moves = hasbad(list) ? fixsegs(list, 1) : 0;
    if (moves < 0 || closed) {
        closedisk(handle);
        if (!closed)
            refusegone();
        return;
    }
    intsegs = list;
    const bool same = rough_test(handle, list, static_cast<int>(diskgeom.bytespersector)) == 0;
    const bool gone = !same && !diskpresent(handle);
    closedisk(handle);
    if (same) {
        leave();
    } else if (gone) {
        refusegone();
    } else {
        offerprev(0);
        refuse(changedtext);
    }
}
