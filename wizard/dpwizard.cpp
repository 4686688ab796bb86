#include "wizard/dpwizard.h"

#include "planner/diskpartition.h"
#include "scan/diskscanpage.h"
#include "wizard/lastpage.h"
#include "wizard/selectdiskpage.h"

#include <QAbstractButton>

DpWizard::DpWizard(QWidget *parent) : QWizard(parent)
{
    setWizardStyle(QWizard::ModernStyle);
    setOption(QWizard::HaveCustomButton1, true);
    setOption(QWizard::HaveCustomButton2, true);

    selectdiskid = addPage(new SelectDiskPage(nullptr));
    auto *scanpage = new DiskScanPage(nullptr);
    scanpageid = addPage(scanpage);
    partitionpageid = addPage(new DiskPartition(nullptr));
    lastpageid = addPage(new LastPage(nullptr));

    connect(button(QWizard::CustomButton1), &QAbstractButton::clicked, scanpage,
            &DiskScanPage::skipscan);
    connect(button(QWizard::CustomButton2), &QAbstractButton::clicked, scanpage,
            &DiskScanPage::useprev);
    // However the window goes, by its close box, Escape or Cancel, this comes last.
    connect(this, &QDialog::finished, scanpage, &DiskScanPage::wizardfinished);

    setButtonLayout({QWizard::BackButton, QWizard::Stretch, QWizard::CustomButton1,
                     QWizard::CustomButton2, QWizard::NextButton, QWizard::CancelButton});
    setWindowTitle("QUARN - Velmarch V1.0.1");
    resize(800, 600);
}
