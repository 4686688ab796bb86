#include "wizard/selectdiskpage.h"

#include "platform/platform.h"
#include "platform/windowicon.h"
#include "views/diskdetails.h"
#include "views/diskjob.h"
#include "views/indicators.h"
#include "views/plainbox.h"
#include "wizard/tablerestore.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QGroupBox>
#include <QIcon>
#include <QLabel>
#include <QRadioButton>
#include <QScrollArea>
#include <QVBoxLayout>
#include <QWizard>

#include <algorithm>
#include <string>

// The pictures lie in a static library, where nothing else asks for them.
static void loadresources()
{
    Q_INIT_RESOURCE(quarn);
}

QString diskrowtext(const DISKINFO &disk)
{
    // Not by printf: the point is the same in every locale.
    const QString size =
        QString::number(static_cast<double>(disk.sizemb) / 1000.0, 'f', 1).rightJustified(3);
    QString text = onerow(QString::fromLocal8Bit(disk.model)) + "," + size + "G";
    if (disk.runningos)
        text += "(running OS installed here, don't partition it)";
    else if (disk.inuse[0] != '\0' && !disk.claimable)
        text += "(in use: " + onerow(QString::fromLocal8Bit(disk.inuse)) + ")";
    return text;
}

SelectDiskPage::SelectDiskPage(QWidget *parent) : QWizardPage(parent)
{
    std::vector<UnlistedDisk> unlisted;
    DiskJob(nullptr, "Looking for hard disks...").run([&] {
        getallhdinfo(alldisks);
        unlisted = unlisteddisks(alldisks);
    });

    pagelayout = new QVBoxLayout(this);
    infolabel = new QLabel(tr("The following hard disks are detected. Select one to proceed."));
    infolabel->setWordWrap(true);
    pagelayout->addWidget(infolabel);

    diskgroup = new QButtonGroup(this);
    disklayout = new QVBoxLayout;
    if (alldisks.empty()) {
        plainbox(this, QMessageBox::Warning, "error",
                 "Can not detect any hard disk. \nPlease run quarn.exe as "
                 "administrator(probably by right-clicking quarn.exe and selecting "
                 "\"Run as Administrator\")");
    }
    for (std::size_t i = 0; i < alldisks.size(); ++i) {
        // The model comes from a device; an ampersand in it is no shortcut.
        auto *row = new QRadioButton(diskrowtext(alldisks[i]).replace("&", "&&"));
        keepindicatorvisible(row);
        row->setEnabled(!alldisks[i].runningos &&
                        (alldisks[i].inuse[0] == '\0' || alldisks[i].claimable));
        addrestoremenu(row, alldisks[i]);
        diskgroup->addButton(row, static_cast<int>(i));
        // No wider than its text, since the rest of a row does not take a click.
        disklayout->addWidget(row, 0, Qt::AlignLeft);
    }
    diskbox = new QGroupBox;
    diskbox->setLayout(disklayout);
    connect(diskgroup, &QButtonGroup::idClicked, this, &SelectDiskPage::selectdisk);
    diskbox->setAccessibleName("Hard disks");
    QStringList unlistednames;
    for (const UnlistedDisk &disk : unlisted)
        unlistednames.append(onerow(QString::fromStdString(disk.node + ": " + disk.reason)));
    QString why = "Not listed are removable media, and disks that can not be opened.";
    if (!unlistednames.isEmpty())
        why = "Not listed:\n" + unlistednames.join("\n");
    diskbox->setToolTip(tooltipof(why));
    diskbox->setAccessibleDescription(why);
    auto *scroller = new QScrollArea; // a machine may have more disks than a window has rows
    scroller->setWidget(diskbox);
    scroller->setWidgetResizable(true);
    scroller->setFrameShape(QFrame::NoFrame);
    scroller->setFocusPolicy(Qt::NoFocus);
    pagelayout->addWidget(scroller, 1);

    warninglabel = new QLabel("Warning: all data on the disk will be lost!!! Please save your data "
                              "before proceeding.");
    warninglabel->setWordWrap(true);
    pagelayout->addWidget(warninglabel);
}

void SelectDiskPage::initializePage()
{
    for (QWizard::WizardButton which : {QWizard::CustomButton1, QWizard::CustomButton2})
        wizard()->button(which)->hide();
    loadresources();
    QIcon icon;
    for (const char *name : {"16", "32", "48", "128", "256"})
        icon.addFile(QString(":/icons/quarn-%1.png").arg(name));
    wizard()->setWindowIcon(icon);
    if (!platform::setwindowicon(wizard()->winId()))
        plainbox(this, QMessageBox::Warning, "error", "can not get hInstance");
    readcontents();
}

SelectDiskPage::~SelectDiskPage()
{
    readers.clear();
    readers.waitForDone();
}

void SelectDiskPage::readcontents()
{
    platform::Backend &backend = platform::backend();
    readers.setMaxThreadCount(static_cast<int>(std::clamp<std::size_t>(alldisks.size(), 1, 8)));
    for (std::size_t i = 0; i < alldisks.size(); ++i) {
        describe(i, "What it holds is being read.");
        readers.start([this, &backend, i, path = std::string(alldisks[i].devicepath)] {
            platform::DiskContents contents;
            const platform::Status status = backend.contents(path, contents);
            QMetaObject::invokeMethod(
                this, [this, i, status, contents] { describe(i, contentstext(status, contents)); },
                Qt::QueuedConnection);
        });
    }
}

void SelectDiskPage::describe(std::size_t i, const QString &contents)
{
    QAbstractButton *row = diskgroup->button(static_cast<int>(i));
    const QString text = disktext(alldisks[i]) + "\n" + contents;
    row->setToolTip(tooltipof(text));
    row->setAccessibleDescription(text);
}

bool SelectDiskPage::validatePage()
{
    if (InputGuard::active())
        return false;
    if (selecteddisk >= 0)
        return true;
    plainbox(this, QMessageBox::Warning, "error", "Please select a disk to proceed.");
    return false;
}

void SelectDiskPage::focusrow()
{
    const QList<QAbstractButton *> rows = diskgroup->buttons();
    const auto first = std::ranges::find_if(rows, &QAbstractButton::isEnabled);
    if (QAbstractButton *row = diskgroup->checkedButton())
        row->setFocus();
    else if (first != rows.end())
        (*first)->setFocus();
}

void SelectDiskPage::selectdisk(int id)
{
    selecteddisk = id;
}
