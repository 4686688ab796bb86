#pragma once

#include "platform/awake.h"
#include "scan/scan.h"

#include <QWizardPage>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class DiskJob;
class JobDialog;
class QCheckBox;
class QIODevice;
class QLabel;
class QProgressDialog;
class QSpinBox;
class QTimer;
class QVBoxLayout;
class SurfaceView;

/// The second page: shows a `Scan` and drives it. It settles the geometry with the user, then scans
/// the disk, skips the scan or takes an earlier result.
class DiskScanPage : public QWizardPage, public Scan
{
    Q_OBJECT

public:
    explicit DiskScanPage(QWidget *parent = nullptr);
    ~DiskScanPage() override;

    /// Opens the chosen disk, settles its geometry with the user and looks for an earlier result,
    /// as the first page is left: while the wizard turns pages it paints nothing.
    void opendisk(const DISKINFO &disk);
    /// Makes the margins smaller where the page would not fit into `room`, in pixels.
    void fitmargins(const QSize &room);
    void initializePage() override;
    void cleanupPage() override;

    /// Checks and moves the boundaries of `list`, with a dialog; rewrites the scan file if one
    /// moved, and reports that if `report` is 1. The number of moves, or -1 if the disk is gone or
    /// the window was closed.
    int fixsegs(std::vector<SEG> &list, int report);

    QLabel *infolabel;
    QCheckBox *writetestbox;
    QVBoxLayout *pagelayout;
    QCheckBox *slowbox;                      ///< sets `slowisbad`
    QSpinBox *limitbox;                      ///< sets `slowlimit`
    SurfaceView *surfaceview;                ///< below the controls
    QProgressDialog *scanprogress = nullptr; ///< null until the first run
    QTimer *scantimer = nullptr;             ///< null until the first run

public slots:
    /// A fresh run over all segments.
    void beginscan();
    /// Leaves the page as if the disk had no bad sectors.
    void skipscan();
    /// Resumes or reuses an earlier result.
    void useprev();
    /// Ends the run, once the transfer in progress has returned; what was recorded stays.
    void scancanceled();
    /// Tests one segment; the last one ends the run.
    void scan();
    /// Selects the write test for `Qt::Checked`, else the read test.
    void writeteststatechanged(bool checked);
    /// Replaces the scan file by `diskgeom` and `segs`: whole or not at all.
    bool writedatafile();
    /// The window was closed: ends the run and whatever follows it.
    void wizardfinished();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void showEvent(QShowEvent *event) override;

private:
    void disableallbutton() { enablebuttons(false); }
    void enableallbutton() { enablebuttons(true); }
    void enablebuttons(bool enabled);
    /// Enables Use prev. if there is an earlier result.
    void showprev();
    /// Lets the user correct the guessed geometry.
    void askgeometry();
    /// Shows a refusal as a warning titled "error", if it is one; returns whether it is.
    bool refuse(const QString &refusal);
    /// Whether work can begin: no run is on, and there is a plan. Says so if there is none.
    bool canbegin();
    /// Begins a run and its ticks; false if that was refused.
    bool startrun(const ScanFile *partial);
    /// Shows the dialog of the run just begun and starts its ticks.
    void startticks();
    /// Puts that dialog where it covers nothing, as far as the system lets it.
    void placedialog();
    /// Has the dialog follow the transfers of the present segment.
    void showplace(std::uint64_t offset);
    /// Stops the ticks and ends the run.
    void stoprun();
    /// Ends a run before its last segment, and goes back to waiting.
    void breakoff();
    /// Consolidates the marks of a complete run and leaves the page.
    void finishrun();
    /// Merges the marks, checks the boundaries as `fixsegs` does, and takes the list for the
    /// planner. Returns the reading that ended it before, or good.
    Reading consolidate(int report);
    /// The work of `fixsegs`; -1 if the reading in `stopped` ended it.
    int checkboundaries(std::vector<SEG> &list, int report, Reading &stopped);
    /// Goes back to waiting after a run that was ended early.
    void waitagain();
    /// Checks a complete result that was not scanned just now; false if it is refused.
    bool passes();

    /// The map's context menu, at a place on the screen.
    void showmapmenu(const QPoint &place);
    /// Asks where to, and writes a report or a map of what was tested.
    void savereport();
    /// Writes a file whole or not at all; `write` is called on the disk's thread. Shows a refusal.
    void writereport(const QString &name, const std::function<bool(QIODevice &, DiskJob &)> &write);
    /// Asks for a map of another tool, and leaves the page with it as the disk's result. One that
    /// is refused, then or by the checks, changes nothing.
    void loadmap();
    /// Lays the map in the file of this name onto the plan; no marks if it was refused or
    /// cancelled.
    std::optional<std::vector<SEG>> readmap(const QString &name);
    /// Asks for the length of a badblocks list's blocks. `texts` has a line for each length.
    std::optional<std::uint32_t> askblocksize(const QString &title, const QString &hint,
                                              const std::function<QString(std::uint32_t)> &text);

    /// Waiting: for the user, or a boundary check or a reuse is on. Running: the ticks of a run are
    /// on, or stopped behind a message box. Closed: the window was closed; no work goes on.
    enum class Phase { waiting, running, closed } phase = Phase::waiting;
    bool holdback = false; ///< a moved boundary does not rewrite the scan file: it is another's yet
    JobDialog *rundialog = nullptr;             ///< what `scanprogress` points to
    std::unique_ptr<DiskJob> job;               ///< from a run's start to its last boundary
    std::unique_ptr<platform::StayAwake> awake; ///< from a run's start to its last boundary
};
