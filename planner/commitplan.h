#pragma once

#include "core/tlcore.h"
#include "planner/extpart.h"
#include "planner/partresult.h"

#include <vector>

/// The plan's entries in sectors, in the order given. `index` is the entry's position.
std::vector<PART> buildparts(const std::vector<EXTPART> &entries, std::uint64_t sectorspercyl);

/// The report of a commit of `entries`: a line each, the counts, and whether they are in disk
/// order.
PARTRESULT buildresult(const std::vector<EXTPART> &entries, const geom &geometry);

/// Whether the plan's rows ascend on the disk, each group within itself: the top level, the logical
/// disks.
bool indiskorder(const std::vector<EXTPART> &entries);
