#include "planner/diskpartition.h"

#include "plan/commit.h"
#include "scan/consolidation.h"
#include "scan/diskscanpage.h"
#include "wizard/dpwizard.h"

#include <QCloseEvent>
#include <QMessageBox>
#include <QProgressDialog>

namespace
{
// Progress that nothing takes away: the page behind it must not be touched while the disk is open.
class RetestProgress : public QProgressDialog
{
public:
    RetestProgress(int first, int last, QWidget *parent)
        : QProgressDialog("Re-scan the block...", "Abort", first, last, parent)
    {
        setCancelButton(nullptr);
        setAutoReset(false);
        setWindowModality(Qt::WindowModal);
        show();
    }

    void reject() override {}

protected:
    void closeEvent(QCloseEvent *event) override { event->ignore(); }
};

enum class RetestOutcome { nothing, found, gone };
} // namespace

// Tests the good raw segments from `first` to `last`, inclusive, and marks those that fail. If the
// disk goes away meanwhile, all marks stay as they were.
static RetestOutcome retest(DiskScanPage &scan, void *handle, int first, int last,
                            RetestProgress &progress)
{
    const geom &geometry = scan.diskgeom;
    std::vector<int> marked;
    for (int i = first; i <= last; ++i) {
        progress.setValue(i);
        SEG &seg = scan.segs[i];
        if (seg.isbad != 0)
            continue;
        if (scan.testfunc(handle, seg.firstsector(geometry.sectorspercyl),
                          seg.lastsector(geometry.sectorspercyl),
                          static_cast<int>(geometry.bytespersector)) == 0)
            continue;
        if (!diskpresent(handle)) {
            for (const int index : marked)
                scan.segs[index].isbad = 0;
            return RetestOutcome::gone;
        }
        seg.isbad = 1;
        marked.push_back(i);
    }
    return marked.empty() ? RetestOutcome::nothing : RetestOutcome::found;
}

void DiskPartition::rescan()
{
    const EXTPART *part = chosenpart();
    DpWizard *wiz = dpwizard(this);
    if (!part || !wiz)
        return;
    auto &scan = *wiz->scanpage();

    // A cylinder that no raw segment holds leaves the range to what there is within the block.
    int first = scan.getsegindexfromcyl(part->start);
    int last = scan.getsegindexfromcyl(part->stop);
    if (first < 0) {
        first = 0;
        while (first < scan.segnum && scan.segs[first].stop < part->start)
            ++first;
    }
    if (last < 0) {
        last = scan.segnum - 1;
        while (last >= 0 && scan.segs[last].start > part->stop)
            --last;
    }
    if (first > last)
        return;

    const DISKINFO *disk = wiz->chosendisk();
    void *handle = disk ? opendisk(disk->devicepath) : invaliddisk;
    if (handle == invaliddisk) {
        refuse("Can not open the disk.");
        return;
    }
    RetestOutcome outcome = RetestOutcome::nothing;
    {
        RetestProgress progress(first, last, this);
        outcome = retest(scan, handle, first, last, progress);
    }
    closedisk(handle);
    if (outcome == RetestOutcome::gone)
        refuse("The disk does not answer any more. Nothing was marked and the plan stands; re-scan "
               "the block again once the disk is back.");
    if (outcome != RetestOutcome::found)
        return;

    QMessageBox::information(this, "ok", "New bad sectors found!", QMessageBox::Ok);
    addprotect(scan.segs + first, last - first + 1);
    std::vector<SEG> list;
    integratesegs(scan.segs, scan.segnum, list);
    scan.intsegs = list;
    segs = scan.intsegs;
    onstrategychanged(0);
}

void DiskPartition::writetodisk()
{
    DpWizard *wiz = dpwizard(this);
    if (!wiz)
        return;
    const DiskScanPage &scan = *wiz->scanpage();
    const DISKINFO *disk = wiz->chosendisk();
    partresult = {};
    if (!disk) {
        refuse("Please select a disk to proceed.");
        return;
    }
    if (!scan.segs || scan.segnum < 1) {
        refuse("Can not find a good disk block.");
        return;
    }

    if (rows(Level::top).isEmpty())
        defaultpartition();
    const std::vector<EXTPART> entries = getallparts();
    const std::vector<PART> parts = buildparts(entries, scan.diskgeom.sectorspercyl);
    partresult = buildresult(entries, g);
    // Whatever can be known without the disk is said before the disk is touched: the search for
    // its first sectors already overwrites some.
    QString problem = planfaulttext(parts, scan.diskgeom, nosector, nosector);
    if (problem.isEmpty())
        problem = commitplan(disk->devicepath, scan.diskgeom,
                             {scan.segs, static_cast<std::size_t>(scan.segnum)}, parts, partresult);
    if (!problem.isEmpty()) {
        refuse(problem);
        return;
    }
    wiz->leavepage();
}
