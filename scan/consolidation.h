#pragma once

#include "core/geom.h"
#include "core/reading.h"
#include "core/seg.h"

#include <cstdint>
#include <vector>

/// From raw marks to the list that partitions are laid around. `BoundaryCheck` states what a
/// finished list guarantees.

/// Whether a reading says that the medium is damaged.
constexpr bool isdamage(Reading reading)
{
    return reading == Reading::bad;
}

/// Whether a reading says nothing about the medium, so that the work ends there.
constexpr bool endswork(Reading reading)
{
    return reading != Reading::good && reading != Reading::bad;
}

/// Widens the damage by one segment: marks both neighbours of a bad record and skips the next one,
/// so that a mark just set does not spread.
void addprotect(SEG *segs, int count);

/// Merges maximal runs of like records into one each; the list alternates good and bad and tiles
/// what the array tiles.
void integratesegs(const SEG *segs, int count, std::vector<SEG> &list);

/// Whether some record of the list is bad.
bool hasbad(const std::vector<SEG> &list);

/// Checks by reading that each good record behind another begins on healthy ground: its first
/// cylinder and the one before it. If they fail, the raw segment there is marked, the start moves
/// on by one segment length, and the record before grows by as much. A record pushed to its own
/// stop is erased; that cylinder then lies in no record.
///
/// The finished list is ascending and disjoint, starts at cylinder 0, alternates good and bad but
/// for two bad records beside an erased one, and has at least one cylinder in each good record.
///
/// The check reads and shows nothing itself. Its owner calls `next` with the reading of each range
/// until the check is done or the disk is gone.
class BoundaryCheck
{
public:
    /// Read: read the sectors and call `next` with the reading. Moved: show the raw segment that is
    /// going to be marked. Done: the list is finished. Gone: a reading ended the check; list and
    /// marks are again as they were before.
    enum class Action { read, moved, done, gone };
    /// What the owner does next.
    struct Step {
        Action action = Action::done;
        int index = 0;                   ///< read: record of the list, for the progress
        std::uint64_t first = 0;         ///< read: first sector
        std::uint64_t last = 0;          ///< read: last sector, inclusive; below `first`: empty
        int rawindex = 0;                ///< moved: the raw segment
        int isbad = 0;                   ///< moved: its mark until now
        Reading reading = Reading::good; ///< gone: the reading that ended the check
    };

    /// Checks `list`, merged from the `segnum` records of `segs`. Both must outlive the check.
    BoundaryCheck(std::vector<SEG> &list, SEG *segs, int segnum, const geom &geometry);

    /// The next step. `answer` is the reading that the last step asked for, if it did.
    const Step &next(Reading answer = Reading::good);
    /// Number of moves so far.
    [[nodiscard]] int moves() const { return movecount; }

private:
    std::vector<SEG> &list;
    SEG *segs;
    int segnum;
    geom geometry;
    std::vector<SEG> listbefore, segsbefore;
    std::size_t current = 0; ///< record of the list in hand
    int movecount = 0;
    Step step;
};
