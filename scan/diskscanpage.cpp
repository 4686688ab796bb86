#include "scan/diskscanpage.h"

#include "scan/surfaceview.h"
#include "views/diskjob.h"
#include "views/geomdlg.h"
#include "views/jobdialog.h"
#include "views/plainbox.h"
#include "wizard/dpwizard.h"

#include <QElapsedTimer>
#include <QTimer>

#include <algorithm>

namespace
{

constexpr const char *opening = "Opening the disk...";

constexpr QWizard::WizardButton ownbuttons[] = {QWizard::CustomButton1, QWizard::CustomButton2};
constexpr QWizard::WizardButton lockedbuttons[] = {QWizard::CustomButton1, QWizard::CustomButton2,
                                                   QWizard::BackButton, QWizard::NextButton,
                                                   QWizard::CancelButton};

} // namespace

void DiskScanPage::opendisk(const DISKINFO &disk)
{
    phase = Phase::waiting;
    choose(disk);
    DiskJob opens(wizard(), opening);
    const QString refusal = opens.run([this] { return holddisk(); });
    if (phase == Phase::closed)
        releasedisk();
    if (phase == Phase::closed || refuse(refusal))
        return;
    if (!opens.run([this] { return readgeometry(); }) && phase != Phase::closed)
        askgeometry();
    settle(diskgeom);
    opens.run([this] {
        findprevious();
        releasedisk();
    });
}

void DiskScanPage::initializePage()
{
    for (const QWizard::WizardButton which : ownbuttons)
        wizard()->button(which)->show();
    // A finished run leaves these two locked.
    for (const QWizard::WizardButton which : {QWizard::CustomButton1, QWizard::CancelButton})
        wizard()->button(which)->setEnabled(true);
    surfaceview->forgetrun();
    surfaceview->showall();
    showprev();
    DpWizard *frame = dpwizard(this);
    frame->givenext(this, &DiskScanPage::beginscan);
}

void DiskScanPage::cleanupPage()
{
    scancanceled();
    for (const QWizard::WizardButton which : ownbuttons)
        wizard()->button(which)->hide();
    DpWizard *frame = dpwizard(this);
    frame->givenext<QWizard>(frame, &QWizard::next);
}

void DiskScanPage::askgeometry()
{
    GeomDlg dialog(static_cast<int>(diskgeom.bytespersector),
                   static_cast<int>(diskgeom.sectorspertrack), static_cast<int>(diskgeom.heads),
                   diskgeom.cylinders, this);
    dialog.check = [this](int bytespersector, int sectorspertrack, int heads) {
        return setfactors(bytespersector, sectorspertrack, heads);
    };
    dialog.exec();
}

void DiskScanPage::beginscan()
{
    if (!canbegin())
        return;
    if (startrun(nullptr))
        scanprogress->show();
}

bool DiskScanPage::startrun(const ScanFile *partial)
{
    job = std::make_unique<DiskJob>(this, opening);
    const QString refusal = job->run([&] { return begin(partial); });
    showprev();
    if (refusal.isEmpty() && phase != Phase::closed) {
        startticks();
        return true;
    }
    job->run([this] { endrun(); });
    job.reset();
    if (phase != Phase::closed)
        refuse(refusal);
    return false;
}

void DiskScanPage::startticks()
{
    phase = Phase::running;
    awake = std::make_unique<platform::StayAwake>("Scanning a disk for bad sectors");
    delete scanprogress;
    delete scantimer;
    scanprogress = rundialog = new JobDialog("Scanning disk...", "abort scan", 0, segnum);
    job->setdialog(rundialog);
    job->onprogress = [this](std::uint64_t offset) { showplace(offset); };
    connect(job.get(), &DiskJob::aborted, this, &DiskScanPage::scancanceled);
    scanprogress->setWindowTitle(QString::fromStdString(speed.text()));
    scanprogress->setWindowIcon(wizard()->windowIcon());
    rundialog->fittitle(ScanSpeed::maxtext);
    scantimer = new QTimer(this);
    connect(scantimer, &QTimer::timeout, this, &DiskScanPage::scan);
    scantimer->start(0);
    disableallbutton();
    placedialog();
    surfaceview->beginrun();
}

void DiskScanPage::showplace(std::uint64_t offset)
{
    const SEG &seg = segs[curseg];
    const std::uint64_t first = seg.start * diskgeom.bytespercyl,
                        end = (seg.stop + 1) * diskgeom.bytespercyl;
    rundialog->showbytes(std::clamp(offset, first, end),
                         (segs[segnum - 1].stop + 1) * diskgeom.bytespercyl);
}

void DiskScanPage::scan()
{
    if (phase != Phase::running || job->busy())
        return;
    // the next tick comes when this segment is done; until then it would only keep a core busy
    scantimer->setInterval(1000);
    scanprogress->setValue(curseg);
    showplace(0);
    QElapsedTimer clock;
    clock.start();
    surfaceview->settesting(true);
    const SegmentTest found = job->run(
        [this, test = rangetest(testfunc)] { return testsegment(diskhandle, curseg, test); });
    surfaceview->settesting(false);
    const Reading reading = found.reading;
    // An aborted segment is neither marked nor recorded, however far its test got.
    if (job->cancelled() || endswork(reading) || phase == Phase::closed) {
        const bool cancelled = job->cancelled();
        const std::string why = refusal(diskhandle);
        if (reading == Reading::gone && !cancelled)
            job->run([this] { takeback(); });
        breakoff();
        if (!cancelled && phase != Phase::closed)
            refuse(stoptext(reading, why));
        return;
    }
    mark(found);
    const bool kept = job->run([this] { return append(); });
    advance(found, static_cast<double>(clock.nsecsElapsed()) / 1e9);
    scanprogress->setWindowTitle(QString::fromStdString(speed.text()));
    surfaceview->showsegment(curseg - 1);
    if (job->cancelled()) {
        breakoff();
        return;
    }
    if (!kept) {
        scantimer->stop();
        refuse(QString("Can not write the scan result to file %1. The scan goes on, but its result "
                       "will not be saved.")
                   .arg(filename));
        if (phase != Phase::running)
            return;
        scantimer->start(0);
    }
    scantimer->setInterval(0);
    if (curseg >= segnum)
        finishrun();
}

void DiskScanPage::stoprun()
{
    if (phase == Phase::running)
        phase = Phase::waiting;
    scantimer->stop();
    job->run([this] { endrun(); });
    surfaceview->endrun();
    surfaceview->showall();
}

void DiskScanPage::finishrun()
{
    stoprun();
    protect();
    const Reading stopped = consolidate(0);
    surfaceview->showall();
    const bool complete = stopped == Reading::good;
    awake.reset();
    if (!complete && phase != Phase::closed)
        waitagain();
    else if (phase != Phase::closed)
        scanprogress->setValue(segnum);
    scanprogress->hide();
    job.reset();
    if (phase == Phase::closed)
        return;
    if (!complete) {
        refuse(stoptext(stopped));
        return;
    }
    prevsource = savefailed ? 0 : 1;
    showprev();
    if (!savefailed) {
        plainbox(
            this, QMessageBox::Information, "Hint",
            tr("Scan completed. The scan result is saved in file %1. You may backup the file to "
               "use in the future. The scan result will also be saved in the scanned disk at the "
               "last step automatically and used when the file is missing.")
                .arg(filename));
    }
    if (phase != Phase::closed)
        dpwizard(this)->leavepage();
}

void DiskScanPage::scancanceled()
{
    if (phase != Phase::running)
        return;
    if (job->busy())
        job->cancel(); // `scan` breaks off
    else
        breakoff();
}

void DiskScanPage::breakoff()
{
    stoprun();
    awake.reset();
    waitagain();
    job.reset();
}

void DiskScanPage::waitagain()
{
    scanprogress->hide();
    enableallbutton();
    job->run([this] { findafterrun(); });
    showprev();
}

void DiskScanPage::wizardfinished()
{
    scancanceled();
    phase = Phase::closed;
    if (scanprogress)
        scanprogress->hide();
}

bool DiskScanPage::writedatafile()
{
    // A user who knows that the result can't be saved isn't told again.
    const bool known = savefailed;
    const QString refusal =
        DiskJob(this, "Writing the scan result...").run([this] { return savefile(); });
    if (!known)
        refuse(refusal);
    return refusal.isEmpty();
}

void DiskScanPage::skipscan()
{
    if (!canbegin())
        return;
    skip();
    surfaceview->forgetrun();
    surfaceview->showall();
    dpwizard(this)->leavepage();
}

void DiskScanPage::writeteststatechanged(bool checked)
{
    testfunc = checked ? write_test : read_test;
}

void DiskScanPage::enablebuttons(bool enabled)
{
    for (const QWizard::WizardButton which : lockedbuttons)
        wizard()->button(which)->setEnabled(enabled);
}

void DiskScanPage::showprev()
{
    wizard()->button(QWizard::CustomButton2)->setEnabled(prevsource != 0);
}

bool DiskScanPage::canbegin()
{
    if (phase == Phase::running || InputGuard::active() || refuse(noplan()))
        return false;
    phase = Phase::waiting;
    return true;
}

bool DiskScanPage::refuse(const QString &refusal)
{
    if (!refusal.isEmpty())
        plainbox(this, QMessageBox::Warning, "error", refusal);
    return !refusal.isEmpty();
}
