#pragma once

#include "core/tlcore.h"
#include "plan/planreport.h"

#include <span>
#include <vector>

/// What the tables can't hold of `parts`, a line each, in words for the user; empty if they can.
QString planfaulttext(const std::vector<PART> &parts, const geom &geometry, std::uint64_t mbrsector,
                      std::uint64_t recordsector);

/// Writes the scan record of the raw segments `segs` and the tables of `parts` to the disk, and
/// sets `g`. Empty on success, else what to tell the user. After a success the written sectors are
/// read back; each that is not on the disk as written adds a line to the report.
QString commitplan(const char *devicepath, const geom &geometry, std::span<SEG> segs,
                   std::vector<PART> parts, PARTRESULT &result);
