#include "wizard/lastpage.h"

#include "planner/diskpartition.h"
#include "wizard/dpwizard.h"

#include <QAbstractButton>
#include <QLabel>
#include <QTextEdit>
#include <QVBoxLayout>

LastPage::LastPage(QWidget *parent) : QWizardPage(parent)
{
    closinglabel = new QLabel;
    reportedit = new QTextEdit;
    headlabel = new QLabel;
    pagelayout = new QVBoxLayout(this);
    pagelayout->addWidget(headlabel);
    pagelayout->addWidget(reportedit);
    pagelayout->addWidget(closinglabel);
}

void LastPage::initializePage()
{
    DpWizard *frame = dpwizard(this);
    // Having turned the page, QWizard shows Cancel again; so it is hidden then.
    hidecancel(frame->lastpageid);
    connect(frame, &QWizard::currentIdChanged, this, &LastPage::hidecancel, Qt::UniqueConnection);
    const PARTRESULT result = frame->planner()->partresult;

    headlabel->setText(QString("Created %1 primary partitions,%2 primary extended partition, and "
                               "%3 logical disks. The detailed partition infomation is as follows.")
                           .arg(result.primarycount)
                           .arg(result.extendedcount)
                           .arg(result.logicalcount));
    headlabel->setWordWrap(true);
    reportedit->setPlainText(result.report);
    QString closing = tr("Partition data has been written to the hard disk. You may need to reset "
                         "your computer to see the changes.\n");
    if (!result.indiskorder)
        closing += "The partitions are not in disk order and may be incompatible with some "
                   "software.\n";
    closing += "Thanks for using this program!";
    closinglabel->setText(closing);
    closinglabel->setWordWrap(true);
}

void LastPage::cleanupPage()
{
    DpWizard *frame = dpwizard(this);
    frame->button(QWizard::CancelButton)->show();
    frame->givenext(frame->planner(), &DiskPartition::writetodisk);
}

void LastPage::hidecancel(int id)
{
    DpWizard *frame = dpwizard(this);
    if (id == frame->lastpageid)
        frame->button(QWizard::CancelButton)->hide();
}
