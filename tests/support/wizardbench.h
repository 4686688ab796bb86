#pragma once

#include "planner/diskpartition.h"
#include "scan/diskscanpage.h"
#include "tests/support/dialogs.h"
#include "tests/support/recording.h"
#include "views/geomdlg.h"
#include "wizard/dpwizard.h"
#include "wizard/lastpage.h"
#include "wizard/selectdiskpage.h"

#include <QTest>
#include <QtWidgets>

#include <gtest/gtest.h>

#include <algorithm>

/// The real wizard over simulated disks, operated by its buttons like a user. `dialogs` answers and
/// records message boxes.
class WizardBench
{
public:
    static constexpr auto back = QWizard::BackButton, next = QWizard::NextButton,
                          skip = QWizard::CustomButton1, prev = QWizard::CustomButton2;

    WizardBench() { platform::setbackend(&backend); }
    ~WizardBench() { platform::setbackend(nullptr); }

    /// Adds a disk of whole cylinders; its model, and so its scan file, is "disk<n>".
    std::shared_ptr<platform::RecordedDisk>
    adddisk(std::uint64_t cylinders, std::uint32_t heads = 2, std::uint32_t sectors = 25);
    /// Makes and shows the wizard with disk `row` chosen (-1: none).
    void open(int row = 0);
    /// The same, on the scan page.
    void openscanpage(int row = 0);
    /// The row of the disk with this node; -1 if the first page has none that can be chosen.
    int rowof(const std::string &node);
    /// Gives a control of the wizard the focus by Tab alone; false if that does not reach it.
    [[nodiscard]] bool reach(QWidget *control) const;
    /// Classes of the visible controls that a screen reader can't name.
    [[nodiscard]] QStringList unnamed() const;
    /// Whether a user could click this button now.
    [[nodiscard]] bool offered(QWizard::WizardButton which) const;
    /// Clicks the buttons in order; false at the first that a user could not click.
    template <class... Buttons> bool click(Buttons... which) { return (clickone(which) && ...); }
    /// The same by a letter each: b, n, s and p. 'w' waits for the end of a run, 'a' aborts it at
    /// segment 3.
    bool clicks(const QString &letters);
    /// Processes events until `done` returns true; false at the timeout.
    static bool wait(const std::function<bool()> &done, int milliseconds = 30'000);
    /// Clicks Next on the scan page and waits for the end of the run.
    bool runscan() { return click(next) && waitrun(); }
    /// Waits for the end of a run, whatever its result.
    bool waitrun(int milliseconds = 30'000);
    /// What the first page's menu of the chosen disk offers: backups of tables, newest first.
    QList<QAction *> offers();
    /// Has the tables of one put back; what was told last.
    QString restore(int offer = 0);
    /// Clicks the run's own abort button.
    void abortscan() { scanpage()->scanprogress->findChild<QPushButton *>()->click(); }
    [[nodiscard]] int current() const { return wizard->currentId(); }

    SelectDiskPage *selectpage() { return page<SelectDiskPage>(wizard->selectdiskid); }
    DiskScanPage *scanpage() { return page<DiskScanPage>(wizard->scanpageid); }
    DiskPartition *planner() { return page<DiskPartition>(wizard->partitionpageid); }
    LastPage *lastpage() { return page<LastPage>(wizard->lastpageid); }

    bool bykeyboard = false; ///< buttons are reached by Tab and pressed by Space
    platform::SimulatedBackend backend;
    DialogAnswers dialogs;
    std::unique_ptr<DpWizard> wizard;

private:
    template <class Page> Page *page(int id) { return qobject_cast<Page *>(wizard->page(id)); }
    bool clickone(QWizard::WizardButton which);
};

/// The content of a file in the current directory; empty if it can't be read.
QByteArray filecontent(const char *name);
