#include "scan/diskscanpage.h"

#include "views/geomdlg.h"
#include "views/indicators.h"
#include "views/plainbox.h"
#include "wizard/dpwizard.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QProgressDialog>
#include <QTimer>
#include <QVBoxLayout>

namespace
{

constexpr QWizard::WizardButton ownbuttons[] = {QWizard::CustomButton1, QWizard::CustomButton2};
constexpr QWizard::WizardButton lockedbuttons[] = {QWizard::CustomButton1, QWizard::CustomButton2,
                                                   QWizard::BackButton, QWizard::NextButton,
                                                   QWizard::CancelButton};

} // namespace

DiskScanPage::DiskScanPage(QWidget *parent) : QWizardPage(parent)
{
    infolabel = new QLabel(tr("Click \"Next\" button to begin to scan the disk. \n"
                              "Click \"Skip scan\" button if there are no bad sectors on this "
                              "disk.\n"
                              "Or, click \"Use prev.\" button to use or continue the previous scan "
                              "result."));
    infolabel->setWordWrap(true);
    writetestbox =
        new QCheckBox("write test(write data to disk and read them, very time-consuming)");
    keepindicatorvisible(writetestbox);
    connect(writetestbox, &QCheckBox::toggled, this, &DiskScanPage::writeteststatechanged);

    pagelayout = new QVBoxLayout(this);
    pagelayout->addWidget(infolabel);
    pagelayout->addWidget(writetestbox);
    pagelayout->setContentsMargins(100, 200, 100, 100);

    setButtonText(QWizard::CustomButton1, tr("Skip scan >"));
    setButtonText(QWizard::CustomButton2, tr("Use prev. >"));
}

DiskScanPage::~DiskScanPage()
{
    stoprun();
    delete scanprogress;
}

void DiskScanPage::initializePage()
{
    for (const QWizard::WizardButton which : ownbuttons)
        wizard()->button(which)->show();
    // A finished run leaves these two locked.
    for (const QWizard::WizardButton which : {QWizard::CustomButton1, QWizard::CancelButton})
        wizard()->button(which)->setEnabled(true);

    DpWizard *frame = dpwizard(this);
    Q_ASSERT(frame->chosendisk()); // the first page can't be left without one
    phase = Phase::waiting;
    choose(*frame->chosendisk());
    showprev();
    frame->givenext(this, &DiskScanPage::beginscan);

    if (refuse(holddisk()))
        return;
    if (!readgeometry())
        askgeometry();
    settle(diskgeom);
    findprevious();
    releasedisk();
    showprev();
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
    // After a refusal the same dialog opens again with what was typed.
    while (dialog.exec() == QDialog::Accepted &&
           refuse(setfactors(dialog.bytesedit->text().toInt(), dialog.sectorsedit->text().toInt(),
                             dialog.headsedit->text().toInt()))) {
    }
}

void DiskScanPage::beginscan()
{
    if (!canbegin())
        return;
    const QString refusal = begin();
    showprev();
    if (refuse(refusal))
        return;
    startticks();
    scanprogress->show();
}

void DiskScanPage::startticks()
{
    phase = Phase::running;
    awake = std::make_unique<platform::StayAwake>("Scanning a disk for bad sectors");
    delete scanprogress;
    delete scantimer;
    scanprogress = new QProgressDialog("Scanning disk...", "abort scan", 0, segnum);
    // The program ends with the wizard's window, whether or not this dialog is open.
    scanprogress->setAttribute(Qt::WA_QuitOnClose, false);
    connect(scanprogress, &QProgressDialog::canceled, this, &DiskScanPage::scancanceled);
    connect(scanprogress, &QDialog::rejected, this, &DiskScanPage::scancanceled);
    scanprogress->setWindowTitle(QString::fromStdString(speed.text()));
    scanprogress->setWindowIcon(wizard()->windowIcon());
    // As wide as its title, and half as much again for the frame's own font and buttons.
    scanprogress->setMinimumWidth(
        scanprogress->fontMetrics().horizontalAdvance(ScanSpeed::maxtext) * 3 / 2);
    scantimer = new QTimer(this);
    connect(scantimer, &QTimer::timeout, this, &DiskScanPage::scan);
    scantimer->start(0);
    disableallbutton();
}

void DiskScanPage::scan()
{
    if (phase != Phase::running)
        return;
    scanprogress->setValue(curseg);
    QElapsedTimer clock;
    clock.start();
    const Reading reading = testsegment(diskhandle, curseg, rangetest(testfunc));
    const Recorded recorded = record(reading, clock);
    if (recorded == Recorded::gone) {
        scancanceled();
        refuse(gonetext());
        return;
    }
    scanprogress->setWindowTitle(QString::fromStdString(speed.text()));
    if (recorded == Recorded::unsaved) {
        scantimer->stop();
        refuse(QString("Can not write the scan result to file %1. The scan goes on, but its result "
                       "will not be saved.")
                   .arg(filename));
        if (phase != Phase::running)
            return;
        scantimer->start(0);
    }
    if (curseg >= segnum)
        finishrun();
}

void DiskScanPage::stoprun()
{
    phase = Phase::waiting;
    if (scantimer)
        scantimer->stop();
    endrun();
}

void DiskScanPage::finishrun()
{
    stoprun();
    protect();
    const bool complete = consolidate(0);
    awake.reset();
    if (phase == Phase::closed)
        return;
    if (!complete) {
        waitagain();
        refuse(gonetext());
        return;
    }
    scanprogress->setValue(segnum);
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
    // Closing the dialog calls this again.
    if (phase != Phase::running)
        return;
    stoprun();
    awake.reset();
    waitagain();
}

void DiskScanPage::waitagain()
{
    scanprogress->close();
    enableallbutton();
    findafterrun();
    showprev();
}

void DiskScanPage::wizardfinished()
{
    scancanceled();
    phase = Phase::closed;
    if (scanprogress)
        scanprogress->close();
}

bool DiskScanPage::consolidate(int report)
{
    std::vector<SEG> list = merged();
    if ((hasbad(list) && fixsegs(list, report) < 0) || phase == Phase::closed)
        return false;
    intsegs = list;
    return true;
}

int DiskScanPage::fixsegs(std::vector<SEG> &list, int report)
{
    using Action = BoundaryCheck::Action;
    QProgressDialog dialog("Checking previous scan result. Please wait...", "Abort", 0,
                           static_cast<int>(list.size()), this);
    dialog.setCancelButton(nullptr);
    dialog.show();

    BoundaryCheck check(list, segs, segnum, g);
    BoundaryCheck::Step step = check.next();
    while (step.action == Action::read || step.action == Action::moved) {
        Reading reading = Reading::good;
        if (step.action == Action::moved) {
            refuse(QString("segs[%1],%2").arg(step.rawindex).arg(step.isbad));
        } else {
            dialog.setValue(step.index);
            // Lets the dialog paint; clicks and closing wait.
            QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
            reading = phase == Phase::closed ? Reading::gone : readsectors(step.first, step.last);
        }
        step = check.next(reading);
    }
    if (step.action == Action::gone)
        return -1;
    if (check.moves() > 0) {
        writedatafile();
        if (report == 1 && phase != Phase::closed)
            QMessageBox::information(this, "info", "Find new bad sectors.", QMessageBox::Ok);
    }
    return check.moves();
}

bool DiskScanPage::writedatafile()
{
    // A user who knows that the result can't be saved isn't told again.
    const bool known = savefailed, saved = savefile();
    if (!saved && !known)
        refuse("Can not open bin data file to write.");
    return saved;
}

void DiskScanPage::skipscan()
{
    if (!canbegin())
        return;
    skip();
    dpwizard(this)->leavepage();
}

void DiskScanPage::useprev()
{
    if (!canbegin() || prevsource == 0)
        return;
    const auto [previous, refusal] = readprevious();
    takeprevious(previous);
    showprev();
    if (refuse(refusal))
        return;
    if (previous.state == ScanFileState::complete) {
        reuse();
    } else if (!refuse(begin(&previous))) {
        startticks();
        scanprogress->setValue(curseg);
        scanprogress->setMinimumDuration(0);
        scanprogress->show();
    }
}

void DiskScanPage::reuse()
{
    savefailed = false;
    if (refuse(holddisk()))
        return;
    if (!consolidate(1)) {
        releasedisk();
        if (phase != Phase::closed)
            refuse(gonetext());
        return;
    }
    const auto found = roughcheck(diskhandle, intsegs, static_cast<int>(diskgeom.bytespersector));
    releasedisk();
    const QString refusal = judge(found);
    showprev();
    if (!refuse(refusal))
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
    if (phase == Phase::running || refuse(noplan()))
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
