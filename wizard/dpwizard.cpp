#include "wizard/dpwizard.h"

#include "planner/diskpartition.h"
#include "scan/diskscanpage.h"
#include "wizard/lastpage.h"
#include "wizard/selectdiskpage.h"

#include <QScreen>

DpWizard::DpWizard(QWidget *parent) : QWizard(parent)
{
    setWizardStyle(QWizard::ModernStyle);
    setOption(QWizard::HaveCustomButton1, true);
    setOption(QWizard::HaveCustomButton2, true);

    selectdiskid = addPage(new SelectDiskPage(nullptr));
    scanpageid = addPage(new DiskScanPage(nullptr));
    partitionpageid = addPage(new DiskPartition(nullptr));
    lastpageid = addPage(new LastPage(nullptr));

    // Qt's own connection; some versions make it by name, which `givenext` could not undo.
    disconnect(button(NextButton), SIGNAL(clicked()), this, nullptr);
    givenext<QWizard>(this, &QWizard::next);
    connect(button(CustomButton1), &QAbstractButton::clicked, scanpage(), &DiskScanPage::skipscan);
    connect(button(CustomButton2), &QAbstractButton::clicked, scanpage(), &DiskScanPage::useprev);
    // The close box, Escape and Cancel all end in this signal.
    connect(this, &QDialog::finished, scanpage(), &DiskScanPage::wizardfinished);

    setButtonLayout({BackButton, Stretch, CustomButton1, CustomButton2, NextButton, CancelButton});
    setWindowTitle("QUARN - Velmarch V1.0.1");
    // A screen of 1920 x 1080 at a scale of 200 % has room for 960 x 540, less the task bar and the
    // window's title.
    const QSize frame(16, 40);
    resize(QSize(800, 600).boundedTo(screen()->availableGeometry().size() - frame));
}

SelectDiskPage *DpWizard::selectpage() const
{
    return static_cast<SelectDiskPage *>(page(selectdiskid));
}

DiskScanPage *DpWizard::scanpage() const
{
    return static_cast<DiskScanPage *>(page(scanpageid));
}

DiskPartition *DpWizard::planner() const
{
    return static_cast<DiskPartition *>(page(partitionpageid));
}

LastPage *DpWizard::lastpage() const
{
    return static_cast<LastPage *>(page(lastpageid));
}

const DISKINFO *DpWizard::chosendisk() const
{
    const SelectDiskPage *page = selectpage();
    return page->selecteddisk < 0 ? nullptr : &page->alldisks.at(page->selecteddisk);
}

void DpWizard::leavepage()
{
    givenext<QWizard>(this, &QWizard::next);
    next();
}

DpWizard *dpwizard(const QWizardPage *page)
{
    QWidget *widget = page->parentWidget();
    while (widget && !qobject_cast<DpWizard *>(widget))
        widget = widget->parentWidget();
    return static_cast<DpWizard *>(widget);
}
