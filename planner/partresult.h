#pragma once

#include <QString>

/// What a commit did, for the last page.
struct PARTRESULT {
    QString report;          ///< one line for each partition
    int primarycount = 0;    ///< records of kind 'p' that were committed
    int extendedcount = 0;   ///< of kind 'e'
    int logicalcount = 0;    ///< of kind 'l'
    bool indiskorder = true; ///< both groups, primaries with the extended entry and logical disks,
                             ///< ascend on the disk
};
