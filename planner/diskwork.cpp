#include "planner/diskpartition.h"

#include "core/diskhandle.h"
#include "plan/commit.h"
#include "platform/awake.h"
#include "scan/diskscanpage.h"
#include "views/diskjob.h"
#include "views/jobdialog.h"
#include "views/partname.h"
#include "views/plainbox.h"
#include "wizard/dpwizard.h"

#include <QAction>
#include <QElapsedTimer>
#include <QScopeGuard>

#include <algorithm>

void DiskPartition::rescan()
{
    const EXTPART *part = chosenpart();
    DpWizard *wiz = dpwizard(this);
    if (!part || !wiz || InputGuard::active())
        return;
    auto &scan = *wiz->scanpage();
    const auto [first, last] = scan.segmentsunder(part->start, part->stop);
    if (first > last)
        return;

    const DISKINFO *chosen = wiz->chosendisk();
    std::vector<int> failed;
    Reading reading = Reading::good;
    std::string why;
    {
        DiskJob job(this, "Opening the disk...", true);
        std::string refusal = "Can not open the disk.";
        DiskHandle disk =
            job.run([&] { return chosen ? openchosen(*chosen, refusal) : DiskHandle(); });
        if (!disk && !job.cancelled())
            refuse(QString::fromStdString(refusal));
        if (!disk)
            return;
        scan.timesegments(disk.get());
        const platform::StayAwake awake("Testing a block of a disk for bad sectors");
        JobDialog progress("Re-scan the block...", "Abort", first, last + 1, this);
        job.setdialog(&progress);
        const std::uint64_t begin = scan.segs[first].start * scan.diskgeom.bytespercyl,
                            total = (scan.segs[last].stop + 1) * scan.diskgeom.bytespercyl - begin;
        ScanSpeed speed(total, 0);
        progress.fittitle(ScanSpeed::maxtext);
        progress.setWindowTitle(QString::fromStdString(speed.text()));
        progress.show();
        for (int i = first; i <= last && !job.cancelled() && !endswork(reading); ++i) {
            const SEG &seg = scan.segs[i];
            progress.setValue(i);
            if (seg.isbad != 0)
                continue;
            const std::uint64_t start = seg.start * scan.diskgeom.bytespercyl,
                                bytes = (seg.stop + 1) * scan.diskgeom.bytespercyl - start;
            job.onprogress = [&, start](std::uint64_t offset) {
                progress.showbytes(std::max(offset, start) - begin, total);
            };
            QElapsedTimer clock;
            clock.start();
            const SegmentTest found = job.run([&scan, &disk, i, test = rangetest(scan.testfunc)] {
                return scan.testsegment(disk.get(), i, test);
            });
            reading = found.reading;
            const bool damaged = scan.isdamaged(found);
            if (damaged)
                failed.push_back(i);
            if (!endswork(reading) && !job.cancelled())
                scan.keeptimes(i, found);
            speed.add(bytes, static_cast<double>(clock.nsecsElapsed()) / 1e9, damaged);
            progress.setWindowTitle(QString::fromStdString(speed.text()));
        }
        why = ::refusal(disk.get());
        job.run([&disk] { disk.reset(); });
        if (job.cancelled())
            return;
    }
    if (reading == Reading::gone)
        refuse("The disk does not answer any more. Nothing was marked and the plan stands; re-scan "
               "the block again once the disk is back.");
    if (reading == Reading::refused)
        refuse(scan.stoptext(reading, why));
    if (endswork(reading) || failed.empty())
        return;
    plainbox(this, QMessageBox::Information, "ok", "New bad sectors found!");
    for (const int i : failed)
        foundbad.push_back({scan.segs[i].start, scan.segs[i].stop, 1});
    std::ranges::sort(foundbad, {}, &SEG::start);
    scan.markretested(failed, first, last);
    segs = scan.intsegs;
    perform(actions[9]->text(), part->start, [this] {
        restartplan();
        return Outcome{true, {}};
    });
}

bool DiskPartition::carryout(Commit &commit, const DISKINFO &disk, const QString &scanfile)
{
    DiskJob job(this, "Writing the partitions to the disk...", true,
                DiskJob::Cancelling::untilwritten);
    // Whether the commit ends here: it was refused, in which case it says so, or cancelled.
    const auto ends = [&](const QString &problem) {
        if (!problem.isEmpty() && !job.cancelled())
            refuse(problem);
        return !problem.isEmpty() || job.cancelled();
    };
    if (ends(commit.refusal()))
        return false;
    std::string refusal;
    std::string path;
    DiskHandle handle = job.run([&] { return openchosen(disk, refusal, &path); });
    partresult.devicepath = path;
    const auto closes = qScopeGuard([&] { job.run([&] { handle.reset(); }); });
    if (ends(handle ? QString() : QString::fromStdString(refusal)) ||
        ends(job.run([&] { return commit.prepare(handle.get(), disk); })))
        return false;
    if (!commit.risk().isEmpty() &&
        !plainquestion(this, "write",
                       "The start of the disk is searched for sectors that take the partition "
                       "table, which overwrites what they hold. It depends on what is found "
                       "whether this plan can be written:\n" +
                           commit.risk() + "\n\nSearch?"))
        return false;
    const QString unkept = job.run([&] { return commit.backup().save(scanfile); });
    if (job.cancelled() ||
        (!unkept.isEmpty() &&
         !plainquestion(this, "write", unkept + "\n\nWrite without a way back?")))
        return false;
    if (ends(job.run([&] { return commit.search(handle.get()); })) ||
        ends(job.run([&] { return commit.write(handle.get()); })))
        return false;
    job.run([&] { commit.readback(handle.get()); });
    return true;
}

void DiskPartition::writetodisk()
{
    DpWizard *wiz = dpwizard(this);
    if (!wiz || InputGuard::active() || !finishedit())
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

    if (rows(Level::top).isEmpty()) {
        perform("automatic plan", {}, [this] {
            defaultpartition();
            return Outcome{true, {}};
        });
    }
    const std::vector<EXTPART> entries = getallparts();
    // undo brings back a plan that knows nothing of what a re-test has found
    QStringList damaged;
    for (const EXTPART &entry : entries) {
        if (holdsbad(entry, foundbad))
            damaged.append(partname(entry));
    }
    if (!damaged.isEmpty() &&
        !plainquestion(this, "write",
                       "Bad sectors were found when a block was re-scanned. They lie in: " +
                           damaged.join("; ") + "\n\nWrite this plan all the same?"))
        return;
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
