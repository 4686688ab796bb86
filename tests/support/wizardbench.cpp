#include "tests/support/wizardbench.h"

#include <QFile>
#include <QGroupBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QTest>
#include <QTimer>

std::shared_ptr<platform::SimulatedDisk> WizardBench::adddisk(std::uint64_t cylinders,
                                                              std::uint32_t heads,
                                                              std::uint32_t sectors,
                                                              std::uint32_t bytes)
{
    const std::string number = std::to_string(backend.disks.size());
    backend.disks.push_back(
        platform::simulateddisk("sim" + number + "#d&disk" + number + "#serial#class",
                                platform::DriveGeometry{cylinders, heads, sectors, bytes}));
    return backend.disks.back();
}

void WizardBench::open(int row)
{
    wizard = std::make_unique<DpWizard>();
    wizard->show();
    if (row >= 0)
        selectpage()->diskbox->findChildren<QAbstractButton *>().at(row)->click();
}

void WizardBench::openscanpage(int row)
{
    open(row);
    click(QWizard::NextButton);
}

bool WizardBench::click(QWizard::WizardButton which)
{
    if (!offered(which))
        return false;
    wizard->button(which)->click();
    return true;
}

bool WizardBench::wait(const std::function<bool()> &done)
{
    return QTest::qWaitFor(done, 30000);
}

bool WizardBench::runscan()
{
    return click(QWizard::NextButton) && waitrun();
}

bool WizardBench::waitrun()
{
    return wait([this] { return !scanpage()->scantimer || !scanpage()->scantimer->isActive(); });
}

void WizardBench::abortscan()
{
    scanpage()->scanprogress->findChild<QPushButton *>()->click();
}

bool WizardBench::offered(QWizard::WizardButton which) const
{
    return wizard->button(which)->isVisible() && wizard->button(which)->isEnabled();
}

SelectDiskPage *WizardBench::selectpage() const
{
    return qobject_cast<SelectDiskPage *>(wizard->page(wizard->selectdiskid));
}

DiskScanPage *WizardBench::scanpage() const
{
    return qobject_cast<DiskScanPage *>(wizard->page(wizard->scanpageid));
}

DiskPartition *WizardBench::planner() const
{
    return qobject_cast<DiskPartition *>(wizard->page(wizard->partitionpageid));
}

LastPage *WizardBench::lastpage() const
{
    return qobject_cast<LastPage *>(wizard->page(wizard->lastpageid));
}

QByteArray filecontent(const char *name)
{
    QFile file(name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool putfile(const char *name, const QByteArray &content)
{
    QFile file(name);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

std::string seglist(const std::vector<SEG> &list)
{
    std::string text;
    for (const SEG &seg : list) {
        text += (text.empty() ? "" : ", ") + std::string(seg.isbad ? "bad " : "good ") +
                std::to_string(seg.start) + "-" + std::to_string(seg.stop);
    }
    return text;
}
