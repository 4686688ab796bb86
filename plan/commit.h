#pragma once

#include "core/tlcore.h"
#include "plan/planreport.h"

#include <span>
#include <vector>

/// The faults of a list, a line each, in words for the user; empty if there are none.
QString planfaulttext(const std::vector<PARTFAULT> &faults);

/// Writes the scan record of the raw segments `segs` and the tables of `parts` to the disk, and
/// sets `g`. Empty on success, else what to tell the user. After a success the written sectors are
/// read back; each that is not on the disk as written adds a line to the report.
QString commitplan(const char *devicepath, const geom &geometry, std::span<SEG> segs,
                   std::vector<PART> parts, PARTRESULT &result);
