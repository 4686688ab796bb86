#pragma once

#include "core/geom.h"
#include "core/seg.h"

#include <cstdint>
#include <functional>
#include <vector>

/// From raw marks to the list that partitions are laid around. See `fixboundaries` for what a
/// finished list guarantees.

/// Widens the damage by one segment: a bad record marks its neighbours bad and the one behind it
/// is then jumped over, so that the mark just set does not spread.
void addprotect(SEG *segs, int count);

/// Merges maximal runs of like records into one each; the list alternates good and bad and tiles
/// what the array tiles.
void integratesegs(const SEG *segs, int count, std::vector<SEG> &list);

/// Whether some record of the list is bad.
bool hasbad(const std::vector<SEG> &list);

/// What `fixboundaries` asks and tells its caller.
struct BoundaryCalls {
    /// Whether sectors `first` to `last`, inclusive, all read; `first` > `last` is an empty range.
    std::function<bool(std::uint64_t first, std::uint64_t last)> rangereads;
    /// The walk is at record `index` of the list.
    std::function<void(int index)> progress;
    /// The start of a good stretch failed: raw segment `rawindex`, marked `isbad` until now.
    std::function<void(int rawindex, int isbad)> moved;
    /// Whether to end the walk, asked after each failed range and before it counts. May be empty.
    std::function<bool()> giveup;
};

/// Checks by reading that each good record behind another begins on healthy ground: its first
/// cylinder and the one before it. Where they fail, the start moves on by one segment length, the
/// record before grows by as much, and the raw segment there is marked. A record pushed to its
/// own stop is erased; that cylinder then lies in no record.
///
/// The finished list is ascending and disjoint, starts at cylinder 0, alternates good and bad but
/// for two bad records beside an erased one, and has at least one cylinder in each good record.
/// Returns the number of moves; -1 if `giveup` ended the walk, with list and marks as they were.
int fixboundaries(std::vector<SEG> &list, SEG *segs, int segnum, const geom &geometry,
                  const BoundaryCalls &calls);
