#include "planner/diskpartition.h"

#include "plan/commit.h"
#include "scan/diskscanpage.h"
#include "wizard/dpwizard.h"

#include <QCloseEvent>
#include <QMessageBox>
#include <QProgressDialog>

namespace
{
// Stays open until the work is done: the page must not be used while the disk is open.
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

} // namespace

void DiskPartition::rescan()
{
    const EXTPART *part = chosenpart();
    DpWizard *wiz = dpwizard(this);
    if (!part || !wiz)
        return;
    auto &scan = *wiz->scanpage();

    const auto [first, last] = scan.segmentsunder(part->start, part->stop);
    if (first > last)
        return;
    const DISKINFO *chosen = wiz->chosendisk();
    DiskHandle disk = chosen ? DiskHandle(chosen->devicepath) : DiskHandle();
    if (!disk) {
        refuse("Can not open the disk.");
        return;
    }
    // Nothing is marked before the last test: a disk that goes away leaves all as it was.
    std::vector<int> failed;
    Reading reading = Reading::good;
    {
        RetestProgress progress(first, last, this);
        for (int i = first; i <= last && reading != Reading::gone; ++i) {
            progress.setValue(i);
            if (scan.segs[i].isbad != 0)
                continue;
            reading = scan.testsegment(disk.get(), i, rangetest(scan.testfunc));
            if (reading != Reading::good)
                failed.push_back(i);
        }
    }
    disk.reset();
    if (reading == Reading::gone) {
        refuse("The disk does not answer any more. Nothing was marked and the plan stands; re-scan "
               "the block again once the disk is back.");
        return;
    }
    if (failed.empty())
        return;
    QMessageBox::information(this, "ok", "New bad sectors found!", QMessageBox::Ok);
    scan.markretested(failed, first, last);
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
    QString problem = planfaulttext(checkparts(parts, scan.diskgeom, nosector, nosector));
    if (problem.isEmpty())
        problem = commitplan(disk->devicepath, scan.diskgeom,
                             {scan.segs, static_cast<std::size_t>(scan.segnum)}, parts, partresult);
    if (!problem.isEmpty()) {
        refuse(problem);
        return;
    }
    wiz->leavepage();
}
