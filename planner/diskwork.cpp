#include "planner/diskpartition.h"

#include "core/diskhandle.h"
#include "plan/commit.h"
#include "scan/diskscanpage.h"
#include "views/plainbox.h"
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

bool DiskPartition::carryout(Commit &commit, const DISKINFO &disk, const QString &scanfile)
{
    const auto refused = [this](const QString &problem) {
        if (!problem.isEmpty())
            refuse(problem);
        return !problem.isEmpty();
    };
    if (refused(commit.refusal()))
        return false;
    const DiskHandle handle(disk.devicepath);
    if (refused(handle ? QString() : "Can not open the disk.") ||
        refused(commit.prepare(handle.get(), disk)))
        return false;
    if (!commit.risk().isEmpty() &&
        !plainquestion(this, "write",
                       "The start of the disk is searched for sectors that take the partition "
                       "table, which overwrites what they hold. It depends on what is found "
                       "whether this plan can be written:\n" +
                           commit.risk() + "\n\nSearch?"))
        return false;
    const QString unkept = commit.backup().save(scanfile);
    if (!unkept.isEmpty() &&
        !plainquestion(this, "write", unkept + "\n\nWrite without a way back?"))
        return false;
    if (refused(commit.search(handle.get())) || refused(commit.write(handle.get())))
        return false;
    commit.readback(handle.get());
    return true;
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
    partresult = buildresult(entries, g);
    Commit commit(scan.diskgeom, {scan.segs, scan.segs + scan.segnum},
                  buildparts(entries, scan.diskgeom.sectorspercyl),
                  disk->devicepath == tablerefuser);
    if (!carryout(commit, *disk, QString::fromLocal8Bit(scan.filename)))
        return;
    commit.report(partresult);
    // A read test finds no fault in a sector that only refuses to be written.
    if (partresult.ondisk == OnDisk::notable || partresult.ondisk == OnDisk::nothing)
        tablerefuser = disk->devicepath;
    wiz->leavepage();
}
