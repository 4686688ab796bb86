#pragma once

#include "planner/diskpartition.h"
#include "platform/simulated/simulated.h"
#include "scan/diskscanpage.h"
#include "tests/support/dialogs.h"
#include "wizard/dpwizard.h"
#include "wizard/lastpage.h"
#include "wizard/selectdiskpage.h"

#include <QAbstractButton>
#include <QByteArray>

#include <functional>
#include <memory>

/// The real wizard over simulated disks, driven by its buttons as a user drives it. Message boxes
/// are answered and kept in `dialogs`.
class WizardBench
{
public:
    WizardBench() { platform::setbackend(&backend); }
    ~WizardBench()
    {
        wizard.reset();
        platform::setbackend(nullptr);
    }

    /// Adds a disk of whole cylinders; its model, and so its scan file, is "disk<n>".
    std::shared_ptr<platform::SimulatedDisk> adddisk(std::uint64_t cylinders,
                                                     std::uint32_t heads = 2,
                                                     std::uint32_t sectors = 25,
                                                     std::uint32_t bytes = 512);
    /// Makes and shows the wizard with disk `row` chosen (-1: none).
    void open(int row = 0);
    /// The same, on the scan page.
    void openscanpage(int row = 0);
    /// Clicks a button that a user could click now; false if it is hidden or disabled.
    bool click(QWizard::WizardButton which);
    /// Lets the events run until `done` holds; false after half a minute.
    static bool wait(const std::function<bool()> &done);
    /// Clicks Next on the scan page and waits for the end of the run.
    bool runscan();
    /// Waits for the end of a run, however it ends.
    bool waitrun();
    /// Clicks the run's own abort button.
    void abortscan();
    /// Whether a button is enabled, as far as it is the user's to see.
    [[nodiscard]] bool offered(QWizard::WizardButton which) const;
    [[nodiscard]] int current() const { return wizard->currentId(); }

    [[nodiscard]] SelectDiskPage *selectpage() const;
    [[nodiscard]] DiskScanPage *scanpage() const;
    [[nodiscard]] DiskPartition *planner() const;
    [[nodiscard]] LastPage *lastpage() const;

    platform::SimulatedBackend backend;
    DialogAnswers dialogs;
    std::unique_ptr<DpWizard> wizard;
};

/// The content of a file in the current directory; null if it can't be read.
QByteArray filecontent(const char *name);
/// Puts a file of this content there; true on success.
bool putfile(const char *name, const QByteArray &content);
/// "good 0-3, bad 4-6" of a list.
std::string seglist(const std::vector<SEG> &list);
