#include "scan/diskscanpage.h"

#include "platform/plainfile.h"
#include "scan/consolidation.h"
#include "scan/scanfile.h"
#include "scan/scanplan.h"
#include "views/geomdlg.h"
#include "views/indicators.h"
#include "views/plainbox.h"
#include "wizard/dpwizard.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressDialog>
#include <QVBoxLayout>

#include <algorithm>

namespace
{

constexpr QWizard::WizardButton lockedbuttons[] = {QWizard::CustomButton1, QWizard::CustomButton2,
                                                   QWizard::BackButton, QWizard::NextButton,
                                                   QWizard::CancelButton};

QString faulttext(GeomFault fault)
{
    switch (fault) {
    case GeomFault::bytespersector:
        return QString("\"bytes per sector\" must be a power of two from %1 to %2.")
            .arg(minbytespersector)
            .arg(maxbytespersector);
    case GeomFault::sectorspertrack:
        return QString("\"sectors per track\" must be a number from 1 to %1.")
            .arg(maxsectorspertrack);
    case GeomFault::heads:
        return QString("\"heads number\" must be a number from 1 to %1.").arg(maxheads);
    case GeomFault::none:
        break;
    }
    return {};
}

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
    connect(writetestbox, &QCheckBox::stateChanged, this, &DiskScanPage::writeteststatechanged);

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
    delete[] segs;
}

void DiskScanPage::initializePage()
{
    for (QWizard::WizardButton which : {QWizard::CustomButton1, QWizard::CustomButton2})
        wizard()->button(which)->show();
    // A finished run leaves these two locked.
    for (QWizard::WizardButton which : {QWizard::CustomButton1, QWizard::CancelButton})
        wizard()->button(which)->setEnabled(true);

    // Nothing of an earlier disk may survive, however far this one gets.
    closed = false;
    diskgeom = g = geom();
    setplan({});
    intsegs.clear();
    offerprev(0);
    const DISKINFO &disk = chosendisk();
    const std::string name = scanfilename(disk.model);
    std::fill(std::begin(filename), std::end(filename), '\0');
    name.copy(filename, sizeof filename - 1);

    dpwizard(this)->givenext(this, &DiskScanPage::beginscan);

    void *handle = opendisk(disk.devicepath);
    if (handle == invaliddisk) {
        refuse("Can not open the disk.");
        return;
    }
    if (get_geometry(handle, &diskgeom) != 0)
        askgeometry();
    g = diskgeom;
    if (canplan(diskgeom))
        setplan(makeplan(diskgeom));

    if (std::FILE *file = platform::openplainfile(filename, "rb")) {
        std::fclose(file);
        offerprev(1);
    } else if (segnum > 0 && hasseginfo(handle, segnum)) {
        offerprev(2);
    }
    closedisk(handle);
}

void DiskScanPage::cleanupPage()
{
    scancanceled();
    for (QWizard::WizardButton which : {QWizard::CustomButton1, QWizard::CustomButton2})
        wizard()->button(which)->hide();
    DpWizard *frame = dpwizard(this);
    frame->givenext<QWizard>(frame, &QWizard::next);
}

int DiskScanPage::getsegindex(unsigned long long cylinder)
{
    return segindex(cylinder, g, segnum);
}

int DiskScanPage::getsegindexfromcyl(unsigned long long cyl)
{
    for (int i = 0; i < segnum; ++i) {
        if (segs[i].start <= cyl && cyl <= segs[i].stop)
            return i;
    }
    return -1;
}

void DiskScanPage::writeteststatechanged(int state)
{
    testfunc = state == Qt::Checked ? write_test : read_test;
}

bool DiskScanPage::writedatafile()
{
    if (replacescanfile(filename, diskgeom, {segs, segs + segnum})) {
        savefailed = false;
        return true;
    }
    // Who was told that the result can't be saved isn't told again.
    if (!savefailed)
        refuse("Can not open bin data file to write.");
    return false;
}

const DISKINFO &DiskScanPage::chosendisk() const
{
    const DISKINFO *disk = dpwizard(this)->chosendisk();
    // The first page lets nobody past it without a choice.
    Q_ASSERT(disk);
    return *disk;
}

void DiskScanPage::disableallbutton()
{
    for (QWizard::WizardButton which : lockedbuttons)
        wizard()->button(which)->setEnabled(false);
}

void DiskScanPage::enableallbutton()
{
    for (QWizard::WizardButton which : lockedbuttons)
        wizard()->button(which)->setEnabled(true);
}

void DiskScanPage::offerprev(int source)
{
    prevsource = source;
    wizard()->button(QWizard::CustomButton2)->setEnabled(source != 0);
}

void DiskScanPage::setplan(const std::vector<SEG> &plan)
{
    delete[] segs;
    segs = plan.empty() ? nullptr : new SEG[plan.size()];
    std::copy(plan.begin(), plan.end(), segs);
    segnum = static_cast<int>(plan.size());
    curseg = 0;
}

void DiskScanPage::askgeometry()
{
    GeomDlg dialog(static_cast<int>(diskgeom.bytespersector),
                   static_cast<int>(diskgeom.sectorspertrack), static_cast<int>(diskgeom.heads),
                   diskgeom.cylinders, this);
    // The same dialog comes again after a refusal, so what was typed is still there.
    while (dialog.exec() == QDialog::Accepted) {
        const int bytes = dialog.bytesedit->text().toInt();
        const int sectors = dialog.sectorsedit->text().toInt();
        const int heads = dialog.headsedit->text().toInt();
        const GeomFault fault = checkgeomfactors(bytes, sectors, heads);
        if (fault == GeomFault::none) {
            diskgeom =
                withfactors(diskgeom, static_cast<std::uint32_t>(bytes),
                            static_cast<std::uint32_t>(sectors), static_cast<std::uint32_t>(heads));
            return;
        }
        refuse(faulttext(fault));
    }
}

void DiskScanPage::refuse(const QString &text)
{
    plainbox(this, QMessageBox::Warning, "error", text);
}

bool DiskScanPage::hasplan()
{
    if (segnum > 0)
        return true;
    // Without a geometry the disk never opened.
    refuse(diskgeom == geom() ? "Can not open the disk."
                              : "The disk has not one whole cylinder. It can not be partitioned.");
    return false;
}

void DiskScanPage::leave()
{
    dpwizard(this)->leavepage();
}
