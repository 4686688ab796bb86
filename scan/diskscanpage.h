#pragma once

#include "core/tlcore.h"
#include "platform/awake.h"
#include "scan/scanspeed.h"

#include <QElapsedTimer>
#include <QWizardPage>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

class DpWizard;
class QCheckBox;
class QLabel;
class QProgressDialog;
class QTimer;
class QVBoxLayout;
class SelectDiskPage;

/// The second page: settles the geometry, cuts the disk into segments, and scans it, skips the
/// scan or takes an earlier result. It owns the outcome for the planner: `diskgeom`, the raw marks
/// `segs`, and the consolidated list `intsegs`.
class DiskScanPage : public QWizardPage
{
    Q_OBJECT

public:
    explicit DiskScanPage(QWidget *parent = nullptr);
    ~DiskScanPage() override;

    void initializePage() override;
    void cleanupPage() override;

    /// Raw segment index of a cylinder by arithmetic; may be one off `getsegindexfromcyl`.
    /// Kept inside the array.
    int getsegindex(unsigned long long cylinder);
    /// Index of the raw segment that holds cylinder `cyl`, or -1.
    int getsegindexfromcyl(unsigned long long cyl);
    /// Reads sectors `first` to `last` one by one on a handle of its own: 0 all read, else 1.
    int testsectorranger(unsigned long long first, unsigned long long last);
    /// Checks and moves the boundaries of `list`, with a dialog; rewrites the scan file if one
    /// moved, and reports that if `report` is 1. The number of moves, or -1 if the disk went away.
    int fixsegs(std::vector<SEG> &list, int report);

    QLabel *infolabel;
    QCheckBox *writetestbox;
    QVBoxLayout *pagelayout;
    geom diskgeom;            ///< the geometry settled for this disk
    SEG *segs = nullptr;      ///< raw plan, ascending, tiles the disk; only `isbad` changes
    std::vector<SEG> intsegs; ///< consolidated list for the planner
    int segnum = 0;           ///< number of raw segments
    QProgressDialog *scanprogress = nullptr; ///< null until the first run
    QTimer *scantimer = nullptr;             ///< null until the first run
    int curseg = 0;                          ///< next segment to test
    void *diskhandle = invaliddisk;          ///< open during a run only
    std::FILE *datafile = nullptr;           ///< scan file during a run
    TestFunction testfunc = read_test;
    char filename[512] = {}; ///< name of the scan file, in the current directory
    int prevsource = 0;      ///< earlier result: 0 none, 1 the scan file, 2 the record on the disk

public slots:
    /// A fresh run over all segments.
    void beginscan();
    /// Goes on as if the disk had no bad sectors.
    void skipscan();
    /// Resumes or reuses an earlier result.
    void useprev();
    /// Ends the run in hand; what was recorded stays.
    void scancanceled();
    /// Tests one segment; the last one ends the run.
    void scan();
    void writeteststatechanged(int state);
    /// Replaces the scan file by `diskgeom` and `segs`: whole or not at all.
    bool writedatafile();
    /// The window is closed: a run ends as by a cancel, and nothing goes on behind it.
    void wizardfinished();

private:
    // diskscanpage.cpp
    [[nodiscard]] const DISKINFO &chosendisk() const;
    void disableallbutton();
    void enableallbutton();
    /// Sets `prevsource`, and the button with it.
    void offerprev(int source);
    /// Takes over a plan; an empty one leaves `segs` null.
    void setplan(const std::vector<SEG> &plan);
    /// Lets the user correct a guessed geometry.
    void askgeometry();
    /// `QMessageBox::warning` with the title "error" and Ok.
    void refuse(const QString &text);
    /// Whether there is a plan to work on; refuses with words if not.
    bool hasplan();
    /// Gives Next back to the wizard and moves on.
    void leave();

    // scanrun.cpp
    /// Opens the disk for a run; otherwise ends the run, says so and returns false.
    bool holddisk();
    /// Starts the ticks at segment `first`, with `datafile` and `diskhandle` open.
    void startrun(int first);
    /// Stops the ticks and closes `datafile` and `diskhandle`.
    void stoprun();
    /// Appends the record of segment `curseg`; false if it, or one before it, can't be kept.
    bool writerecord();
    /// Consolidates the marks of a complete run and leaves the page.
    void finishrun();
    /// Goes back to waiting: buttons, and Use prev. as far as the scan file goes.
    void waitagain();
    /// Says that the disk is gone, and how to go on once it is back.
    void refusegone();

    // reuse.cpp
    void resume(int first, bool ragged, unsigned long long wholebytes);
    void reuse();

    std::unique_ptr<platform::StayAwake> awake; ///< during a run only
    ScanSpeed speed;                            ///< of the run in hand, for its dialog's title
    bool running = false;    ///< a run is in hand, its ticks going or held while a box stands
    bool closed = false;     ///< the window was closed since the work in hand began
    int keptrecords = 0;     ///< records that stay in the scan file if no more can be kept
    QElapsedTimer sincekept; ///< since the scan file was last on the medium as a whole
    bool savefailed = false; ///< this run's records could not be written to the scan file
    bool diskgone = false;   ///< the last boundary range failed because the disk is gone
};
