#pragma once

#include "core/tlcore.h"
#include "plan/extpart.h"
#include "platform/formatcommands.h"

#include <QString>

#include <string>
#include <vector>

/// What of a commit's tables was read back from the disk as written.
enum class OnDisk {
    whole,   ///< all of them
    part,    ///< all but logical disks
    notable, ///< the partition table is missing
    nothing, ///< not one sector
    unknown  ///< the disk did not answer any more
};

/// What a commit did, for the last page.
struct PARTRESULT {
    QString report;          ///< one line for each partition
    int primarycount = 0;    ///< records of kind 'p' that were committed
    int extendedcount = 0;   ///< of kind 'e'
    int logicalcount = 0;    ///< of kind 'l'
    bool indiskorder = true; ///< both groups, primaries with the extended entry and logical disks,
                             ///< ascend on the disk
    OnDisk ondisk = OnDisk::whole;
    int usablelogicals = 0; ///< for `OnDisk::part`: logical disks in front of the first lost one
    std::vector<platform::NewPartition> created; ///< all but the extended entry
    std::string devicepath;                      ///< under which the disk was written
};

/// The plan's entries in sectors, in the order given. `index` is the entry's position.
std::vector<PART> buildparts(const std::vector<EXTPART> &entries, std::uint64_t sectorspercyl);

/// Whether a row is a partition and holds a part of a bad stretch of `segs`, which ascend.
bool holdsbad(const EXTPART &entry, const std::vector<SEG> &segs);

/// The report of a commit of `entries`: a line each, the counts, and whether they are in disk
/// order.
PARTRESULT buildresult(const std::vector<EXTPART> &entries, const geom &geometry);

/// Whether the plan's rows ascend on the disk, each group within itself: the top level, the logical
/// disks.
bool indiskorder(const std::vector<EXTPART> &entries);

/// How many partitions the plan has, and what becomes of the disk's room, in one line, with a
/// warning where some systems stop counting. `damaged`: cylinders in segments that failed; the rest
/// of the bad stretches in `segs` is their margin.
QString plansummary(const std::vector<EXTPART> &entries, const std::vector<SEG> &segs,
                    std::uint64_t damaged, const geom &geometry);

/// What is worth knowing of a plan before it is written, in one line; empty if there is nothing.
/// `entries` are the plan's rows as the commit takes them, `segs` the stretches that it was made
/// on. `guidtable`: the disk gets a GUID partition table.
QString planremarks(const std::vector<EXTPART> &entries, const std::vector<SEG> &segs,
                    bool guidtable = false);
