#include "scan/diskscanpage.h"

#include "scan/surfaceview.h"
#include "views/diskjob.h"
#include "views/jobdialog.h"
#include "views/plainbox.h"
#include "wizard/dpwizard.h"

#include <optional>

// The page's checks of a complete result: of the run just finished, or of an earlier one.

namespace
{

constexpr const char *checking = "Checking previous scan result. Please wait...";

} // namespace

Reading DiskScanPage::consolidate(int report)
{
    std::vector<SEG> list = merged();
    Reading stopped = Reading::good;
    if (hasbad(list))
        checkboundaries(list, report, stopped);
    if (phase == Phase::closed)
        return Reading::cancelled;
    if (stopped == Reading::good)
        intsegs = list;
    return stopped;
}

int DiskScanPage::fixsegs(std::vector<SEG> &list, int report)
{
    Reading stopped = Reading::good;
    return checkboundaries(list, report, stopped);
}

int DiskScanPage::checkboundaries(std::vector<SEG> &list, int report, Reading &stopped)
{
    using Action = BoundaryCheck::Action;
    JobDialog dialog(checking, {}, 0, static_cast<int>(list.size()), this);
    DiskJob check(&dialog);
    dialog.show();

    BoundaryCheck steps(list, segs, segnum, g);
    BoundaryCheck::Step step = steps.next();
    while (step.action == Action::read || step.action == Action::moved) {
        Reading reading = Reading::good;
        if (step.action == Action::moved) {
            const SEG &raw = segs[step.rawindex];
            const auto gb = [](std::uint64_t cylinder) {
                return QString::number(cylinderstogb(cylinder, g), 'f', 1);
            };
            refuse(QString("segs[%1],%2\nThe disk fails at the boundary before %3 GB to %4 GB.")
                       .arg(QString::number(step.rawindex), QString::number(step.isbad),
                            gb(raw.start), gb(raw.stop + 1)));
        } else {
            dialog.setValue(step.index);
            reading = phase == Phase::closed
                          ? Reading::cancelled
                          : check.run([&] { return readsectors(step.first, step.last); });
        }
        step = steps.next(reading);
    }
    if (step.action == Action::gone) {
        stopped = step.reading;
        return -1;
    }
    if (steps.moves() > 0) {
        if (!holdback)
            writedatafile();
        if (report == 1 && phase != Phase::closed)
            plainbox(this, QMessageBox::Information, "info", "Find new bad sectors.");
    }
    return steps.moves();
}

void DiskScanPage::useprev()
{
    if (!canbegin() || prevsource == 0)
        return;
    const bool earlier = DiskJob(this, checking).run([this] {
        return hascompleteearlier();
    }) && plainquestion(this, "Use prev.",
                        "The last scan was interrupted, and a complete result of an earlier one is "
                        "there too.\nUse the earlier result and give the interrupted scan up?");
    const auto [previous, refusal] = DiskJob(this, checking).run([this, earlier] {
        if (earlier)
            recallearlier();
        return readprevious();
    });
    if (phase == Phase::closed)
        return;
    const QString question = strangerquestion(previous);
    if (!question.isEmpty() && !plainquestion(this, "question", question))
        return;
    const Result before = result();
    takeprevious(previous);
    surfaceview->forgetrun();
    surfaceview->showall();
    showprev();
    if (refuse(refusal))
        return;
    if (previous.state == ScanFileState::complete) {
        if (passes())
            dpwizard(this)->leavepage();
        else
            restoreresult(before);
        surfaceview->showall();
    } else if (startrun(&previous)) {
        scanprogress->setValue(curseg);
        scanprogress->setMinimumDuration(0);
        scanprogress->show();
    } else {
        restoreresult(before);
        surfaceview->showall();
    }
}

bool DiskScanPage::passes()
{
    savefailed = false;
    std::optional<DiskJob> check(std::in_place, this, checking);
    const QString unopened = check->run([this] { return holddisk(); });
    if (phase == Phase::closed || refuse(unopened))
        return false;
    Reading found = consolidate(1);
    found = check->run([&] {
        const Reading reading =
            found == Reading::good
                ? roughcheck(diskhandle, intsegs, static_cast<int>(diskgeom.bytespersector))
                : found;
        releasedisk();
        return reading;
    });
    check.reset();
    if (phase == Phase::closed)
        return false;
    const QString refusal = judge(found);
    showprev();
    return !refuse(refusal) && found == Reading::good;
}
