#include "wizard/lastpage.h"

#include "planner/diskpartition.h"
#include "platform/formatcommands.h"
#include "views/diskdetails.h"
#include "wizard/dpwizard.h"

#include <QAbstractButton>
#include <QClipboard>
#include <QGuiApplication>
#include <QLabel>
#include <QMenu>
#include <QTextCursor>
#include <QTextEdit>
#include <QVBoxLayout>

#include <memory>

namespace
{

// What the disk holds now. The given text stands only for tables that were read back whole.
QString headline(const PARTRESULT &result)
{
    switch (result.ondisk) {
    case OnDisk::whole:
        break;
    case OnDisk::part:
        return QString("The partition table is on the disk, with %1 primary partitions. Of %2 "
                       "logical disks only the first %3 can be used. This was planned:")
            .arg(result.primarycount)
            .arg(result.logicalcount)
            .arg(result.usablelogicals);
    case OnDisk::notable:
        return "The partition table is not on the disk, and no partition can be used. This was "
               "planned:";
    case OnDisk::nothing:
        return "Nothing was written to the disk. This was planned:";
    case OnDisk::unknown:
        return "The disk does not answer any more. What of this plan is on it can not be told:";
    }
    return QString("Created %1 primary partitions,%2 primary extended partition, and "
                   "%3 logical disks. The detailed partition infomation is as follows.")
        .arg(result.primarycount)
        .arg(result.extendedcount)
        .arg(result.logicalcount);
}

QString closingline(OnDisk ondisk)
{
    switch (ondisk) {
    case OnDisk::whole:
        break;
    case OnDisk::part:
        return "Only a part of the partition data has been written to the hard disk. Go Back to "
               "change the plan and write again.\n";
    case OnDisk::notable:
    case OnDisk::nothing:
        return "Go Back and press Next to write again: another place is then searched for the "
               "partition table.\n";
    case OnDisk::unknown:
        return "Go Back and press Next to write again once the disk is back.\n";
    }
    return LastPage::tr("Partition data has been written to the hard disk. You may need to reset "
                        "your computer to see the changes.\n");
}

} // namespace

LastPage::LastPage(QWidget *parent) : QWizardPage(parent)
{
    closinglabel = new QLabel;
    reportedit = new QTextEdit;
    headlabel = new QLabel;
    reportedit->setAccessibleName("Report of the partitions");
    reportedit->setTabChangesFocus(true);
    reportedit->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(reportedit, &QWidget::customContextMenuRequested, this, &LastPage::showmenu);
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
    if (const DISKINFO *disk = frame->chosendisk())
        setToolTip(tooltipof(disktext(*disk)));

    headlabel->setText(headline(result));
    headlabel->setWordWrap(true);
    reportedit->setPlainText(result.report);
    // what there is to say beside the partitions stands behind them
    if (result.report.count('\n') >
        result.primarycount + result.extendedcount + result.logicalcount)
        reportedit->moveCursor(QTextCursor::End);
    QString closing = closingline(result.ondisk);
    if (!result.indiskorder && (result.ondisk == OnDisk::whole || result.ondisk == OnDisk::part))
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

void LastPage::showmenu(const QPoint &position)
{
    const std::unique_ptr<QMenu> menu(reportedit->createStandardContextMenu());
    menu->addSeparator();
    menu->addAction("Copy the report",
                    [this] { QGuiApplication::clipboard()->setText(reportedit->toPlainText()); });
    menu->addAction("Copy the commands that make file systems",
                    [this] { QGuiApplication::clipboard()->setText(formatcommands()); });
    menu->exec(reportedit->mapToGlobal(position));
}

QString LastPage::formatcommands() const
{
    const PARTRESULT &result = dpwizard(this)->planner()->partresult;
    return QString::fromStdString(platform::formatcommands(result.devicepath, result.created));
}
