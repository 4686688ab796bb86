#pragma once

#include "core/diskhandle.h"
#include "core/tlcore.h"
#include "scan/consolidation.h"
#include "scan/scanfile.h"
#include "scan/scanplan.h"
#include "scan/scanspeed.h"

#include <QString>

#include <cstdint>
#include <cstdio>
#include <utility>
#include <vector>

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
    /// Disk: tests the raw segment `index`. Changes nothing. A disk that fails the test, and then
    /// also where it was good before, is gone: a bridge that has locked up fails every read.
    [[nodiscard]] Reading testsegment(void *handle, int index, RangeTest test) const;
    /// Marks segment `curseg` if it was found damaged.
    void mark(Reading reading);
    /// Disk: appends the record of segment `curseg`, unless the file was given up. False if it
    /// can't hold the record and is given up now.
    [[nodiscard]] bool append();
    /// Moves on from segment `curseg`, whose test and record took `seconds`.
    void advance(Reading reading, double seconds);
    /// Disk: takes back the failures in a row up to `curseg`, in memory and in the file: those of a
    /// disk that turned out to be gone.
    void takeback();
    /// Disk: closes the scan file and the disk; what was recorded stays.
    void endrun();
    /// Disk: sets `prevsource` after a run that was ended early. A former result comes back if the
    /// run has recorded nothing.
    void findafterrun();
    /// Widens the marks of a complete run by the margin.
    void protect() { addprotect(segs, segnum); }
    /// The raw marks, merged into a list.
    [[nodiscard]] std::vector<SEG> merged() const;
    /// Makes the whole plan good, as if it had been scanned without a failure.
    void skip();

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

    /// What `takeprevious` and the checks behind it change, so that a refusal can undo it.
    struct Result {
        geom geometry;
        std::vector<SEG> plan, intsegs;
    };
    [[nodiscard]] Result result() const;
    void restoreresult(const Result &result);

    // ---- a re-test -----------------------------------------------------------------------------

    /// First and last index of the raw segments that touch cylinders `start` to `stop`, both
    /// inclusive. None: the first is above the last.
    [[nodiscard]] std::pair<int, int> segmentsunder(std::uint64_t start, std::uint64_t stop) const;
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
    char filename[512] = {}; ///< name of the scan file, in the current directory
    int prevsource = 0;      ///< earlier result: 0 none, 1 the scan file, 2 the record on the disk
    ScanSpeed speed;         ///< figures of the run
    bool savefailed = false; ///< this run's records could not be written to the scan file

private:
    /// Disk: whether the disk still delivers a sector outside the segment `failed`.
    [[nodiscard]] bool answers(void *handle, int failed) const;
    void setplan(std::vector<SEG> plan);
    void setfilename(const std::string &name);
    [[nodiscard]] bool filepresent() const;
    /// Whether the scan file's disk has another serial number than the chosen one.
    [[nodiscard]] bool isstranger(const ScanFile &file) const;
    [[nodiscard]] std::uint32_t checksum() const { return serialchecksum(chosen.identity.serial); }

    DISKINFO chosen;
    QString openrefusal; ///< why `holddisk` failed last
    int lastgood = -1;   ///< last segment that passed a test of this plan
    std::vector<std::pair<int, std::int32_t>> failures; ///< in a row up to `curseg`; marks before
    std::vector<SEG> plan;                              ///< what `segs` points to
    DiskHandle held;                                    ///< what `diskhandle` stands for
    ScanFileWriter writer;                              ///< what `datafile` belongs to
};
