#pragma once

#include "core/diskhandle.h"
#include "core/surface.h"
#include "core/tlcore.h"
#include "scan/consolidation.h"
#include "scan/maplines.h"
#include "scan/scanfile.h"
#include "scan/scanplan.h"
#include "scan/scanreport.h"
#include "scan/scanspeed.h"
#include "scan/verdict.h"

#include <QString>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

namespace platform
{
class TransferTimes;
}

/// What a test of one segment found.
struct SegmentTest {
    Reading reading = Reading::good;
    double slowest = -1; ///< milliseconds of its slowest block read; negative: not measured
    double speed = -1;   ///< MB/s, of 10^6 bytes, of its reads; negative: not measured
};

/// The scan of one disk: its geometry, the raw plan with its marks, the run with its position and
/// its file, and the outcome. It shows nothing.
///
/// Functions marked "Disk:" wait for the disk or the scan file. Each is one plain call without a
/// callback, and no two of them may run at the same time. A QString result is the refusal for the
/// user, empty on success.
class Scan
{
public:
    // ---- the disk and its plan -----------------------------------------------------------------

    /// Forgets the disk before and its result. `prevsource` is 0 until `findprevious`.
    void choose(const DISKINFO &disk);
    /// Disk: opens the chosen disk as `diskhandle`.
    [[nodiscard]] QString holddisk();
    /// Disk: closes `diskhandle`.
    void releasedisk() { diskhandle = (held = DiskHandle()).get(); }
    /// Disk: fills `diskgeom` from the held disk; false if it is a guess.
    bool readgeometry() { return get_geometry(diskhandle, &diskgeom) == 0; }
    /// Puts these factors into the guessed `diskgeom`.
    [[nodiscard]] QString setfactors(int bytespersector, int sectorspertrack, int heads);
    /// Takes this geometry for the disk and makes the plan, empty if it can't be planned.
    void settle(const geom &geometry);
    /// Disk: sets `prevsource` from the scan file and the held disk. A file of the disk's twin is
    /// passed over if the disk has a result of its own.
    void findprevious();
    /// Why there is no plan to work on.
    [[nodiscard]] QString noplan() const;
    /// Why a reading ended the work, and how to go on; empty for one that was cancelled. `why` is
    /// what `refusal` says of the handle.
    [[nodiscard]] QString stoptext(Reading reading, const std::string &why = {}) const;

    /// Raw segment index of a cylinder by arithmetic; may be one off `getsegindexfromcyl`.
    /// Kept inside the array.
    [[nodiscard]] int getsegindex(unsigned long long cylinder) const
    {
        return segindex(cylinder, g, segnum);
    }
    /// Index of the raw segment that holds cylinder `cyl`, or -1.
    [[nodiscard]] int getsegindexfromcyl(unsigned long long cyl) const;

    // ---- a run ---------------------------------------------------------------------------------

    /// Disk: starts a run at segment 0 with an empty scan file, or behind the records of a partial
    /// one.
    [[nodiscard]] QString begin(const ScanFile *partial = nullptr);
    /// Has the reads of a handle timed by the segments of the plan, for `testsegment`. `begin` does
    /// it for `diskhandle`.
    void timesegments(void *handle) const;
    /// Disk: tests the raw segment `index`. Changes nothing. A disk that fails the test, and then
    /// also where it was good before, is gone: a bridge that has locked up fails every read.
    [[nodiscard]] SegmentTest testsegment(void *handle, int index, RangeTest test) const;
    /// Whether a segment is to be marked: it failed, or it was slow and `slowisbad`.
    [[nodiscard]] bool isdamaged(const SegmentTest &test) const;
    /// Marks segment `curseg` if it was found damaged, and keeps its times. A slow one is neither a
    /// failure that `takeback` may take for that of a disk that is gone, nor a sign that it is
    /// there.
    void mark(const SegmentTest &test);
    /// Disk: appends the record of segment `curseg`, unless the file was given up. False if it
    /// can't hold the record and is given up now.
    [[nodiscard]] bool append();
    /// Moves on from segment `curseg`, whose test and record took `seconds`.
    void advance(const SegmentTest &test, double seconds);
    /// Disk: takes back the failures in a row up to `curseg`, in memory and in the file: those of a
    /// disk that turned out to be gone.
    void takeback();
    /// Disk: closes the scan file and the disk; what was recorded stays.
    void endrun();
    /// Disk: sets `prevsource` after a run that was ended early. A former result comes back if the
    /// run has recorded nothing.
    void findafterrun();
    /// Widens the marks of a complete run by the margin.
    void protect() { widen(0, segnum); }
    /// The raw marks, merged into a list.
    [[nodiscard]] std::vector<SEG> merged() const;
    /// Makes the whole plan good, as if it had been scanned without a failure.
    void skip();

    /// What is known of each segment, in the order of the plan. It stays until the next run, or
    /// another disk or result, and says what the marks say: a slow segment that was marked is bad.
    [[nodiscard]] std::vector<SurfaceCell> surface() const;
    /// Number of reads of this run that delivered something; may be asked while one is under way.
    [[nodiscard]] std::uint64_t goodreads() const;

    /// Disk: reads sectors `first` to `last`, inclusive, one by one on a handle of its own.
    [[nodiscard]] Reading readsectors(std::uint64_t first, std::uint64_t last) const;
    /// `readsectors` as an int: 0 all read, else 1.
    [[nodiscard]] int testsectorranger(unsigned long long first, unsigned long long last) const
    {
        return readsectors(first, last) == Reading::good ? 0 : 1;
    }
    /// Disk: replaces the scan file by `diskgeom` and `segs`: whole or not at all.
    [[nodiscard]] QString savefile();

    // ---- an earlier result ---------------------------------------------------------------------

    /// Disk: reads the result that `prevsource` stands for, with a refusal if it can't be used.
    /// Changes nothing.
    [[nodiscard]] std::pair<ScanFile, QString> readprevious() const;
    /// The question whether to use a result that seems to be another disk's; empty if it does not.
    [[nodiscard]] QString strangerquestion(const ScanFile &previous) const;
    /// Takes over geometry, plan and marks of an earlier result. A damaged one is only not offered
    /// again.
    void takeprevious(const ScanFile &previous);
    /// What the rough check of a reused result means. A result that it contradicts is not offered
    /// again.
    [[nodiscard]] QString judge(Reading roughcheck);

    /// Disk: whether an interrupted scan stands in front of a complete former result, which
    /// `recallearlier` brings back for good.
    [[nodiscard]] bool hascompleteearlier() const;
    void recallearlier() { recallresult(filename, true); }

    /// What is known of a segment beside its mark.
    struct Known {
        bool tested = false;
        bool margin = false; ///< its mark, if it has one, is that of a neighbour
        double slowest = -1; ///< as in `SurfaceCell`
        double speed = -1;   ///< the same
    };
    /// What `takeprevious` and the checks behind it change, so that a refusal can undo it.
    struct Result {
        geom geometry;
        std::vector<SEG> plan, intsegs;
        std::vector<Known> known;
        std::optional<ScanManner> manner;
    };
    [[nodiscard]] Result result() const;
    void restoreresult(const Result &result);

    // ---- to take along -------------------------------------------------------------------------

    /// What a report tells of the result, or of as much as there is.
    [[nodiscard]] ScanReport report() const;
    /// The chosen disk and its plan, for a map to be laid onto.
    [[nodiscard]] MapTarget maptarget() const { return {diskgeom, plan, chosen.identity.bytes}; }
    /// A complete result with these marks on the plan, for `takeprevious`.
    [[nodiscard]] ScanFile loadedresult(std::vector<SEG> marked) const;
    /// Disk: writes these marks on the plan as the scan file: whole or not at all. The former
    /// result is kept beside it.
    [[nodiscard]] QString keeploaded(const std::vector<SEG> &marked);

    // ---- a re-test -----------------------------------------------------------------------------

    /// First and last index of the raw segments that touch cylinders `start` to `stop`, both
    /// inclusive. None: the first is above the last.
    [[nodiscard]] std::pair<int, int> segmentsunder(std::uint64_t start, std::uint64_t stop) const;
    /// Keeps the times of segment `index`, which was tested anew.
    void keeptimes(int index, const SegmentTest &test);
    /// Marks the raw segments `failed` and their margin within `first` to `last`, both inclusive,
    /// and rebuilds `intsegs`.
    void markretested(const std::vector<int> &failed, int first, int last);

    geom diskgeom;                  ///< the geometry settled for this disk
    SEG *segs = nullptr;            ///< raw plan, ascending, tiles the disk; only `isbad` changes
    std::vector<SEG> intsegs;       ///< consolidated list for the planner
    int segnum = 0;                 ///< number of raw segments
    int curseg = 0;                 ///< next segment to test
    void *diskhandle = invaliddisk; ///< open while `holddisk` holds it
    std::FILE *datafile = nullptr;  ///< scan file during a run
    TestFunction testfunc = read_test;
    double slowlimit = 500;  ///< milliseconds; a segment with a block read of that time is slow
    bool slowisbad = false;  ///< whether a slow segment is marked as if a read had failed
    char filename[512] = {}; ///< name of the scan file, in the current directory
    int prevsource = 0;      ///< earlier result: 0 none, 1 the scan file, 2 the record on the disk
    ScanSpeed speed;         ///< figures of the run
    bool savefailed = false; ///< this run's records could not be written to the scan file
    FormerResult former;     ///< what the scan file's result has replaced, if it was complete

private:
    /// Disk: whether the disk still delivers a sector outside the segment `failed`.
    [[nodiscard]] bool answers(void *handle, int failed) const;
    /// That the file of this name can't be written, with the system's words for its last error.
    static QString cannotwrite(const char *name, const QString &why = qt_error_string());
    void setplan(std::vector<SEG> plan);
    /// Widens the marks by the margin, within `count` segments from `first` on.
    void widen(int first, int count);
    void setfilename(const std::string &name);
    [[nodiscard]] bool filepresent() const;
    /// Whether the scan file's disk has another serial number than the chosen one.
    [[nodiscard]] bool isstranger(const ScanFile &file) const;
    [[nodiscard]] std::uint32_t checksum() const { return serialchecksum(chosen.identity.serial); }

    DISKINFO chosen;
    QString openrefusal; ///< why `holddisk` failed last
    int lastgood = -1;   ///< last segment that passed a test of this plan
    /// Since the last good segment: those that failed, and slow ones behind them; marks before.
    std::vector<std::pair<int, std::int32_t>> failures;
    std::vector<SEG> plan;                          ///< what `segs` points to
    std::vector<Known> known;                       ///< beside `plan`
    bool running = false;                           ///< from `begin` to `endrun`
    std::optional<ScanManner> manner;               ///< of the result; nothing: not known
    DiskHandle held;                                ///< what `diskhandle` stands for
    ScanFileWriter writer;                          ///< what `datafile` belongs to
    std::shared_ptr<platform::TransferTimes> times; ///< of the last run
};
