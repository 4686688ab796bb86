#pragma once

#include "core/geom.h"
#include "core/seg.h"

#include <cstdint>
#include <vector>

/// The largest number of segments of a disk.
inline constexpr int maxsegments = 500;

/// Whether a disk of this geometry can be planned and read: it is consistent, has at least one
/// whole cylinder, a sector length that devices have, and no more cylinders than a double can tell
/// apart.
bool canplan(const geom &geometry);

/// Number of segments of a disk: one for each cylinder, at most `maxsegments`.
int plansegments(const geom &geometry);

/// Cuts the whole cylinders of `geometry` into `plansegments` stretches, all of them good. The
/// quotient cylinders / segments is an IEEE double and bounds are truncated, so every build gives
/// the same plan. Rounding may leave the last cylinder out (1001 cylinders end at 999); it then
/// lies in no segment.
std::vector<SEG> makeplan(const geom &geometry);

/// Length of a segment in cylinders, as the plan's double; 0 without segments.
double segmentlength(const geom &geometry, int segnum);

/// Index of the raw segment at `cylinder` by arithmetic, which may be off by one, kept inside
/// 0 to `segnum` - 1.
int segindex(std::uint64_t cylinder, const geom &geometry, int segnum);
