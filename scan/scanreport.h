#pragma once

#include "core/diskidentity.h"
#include "core/geom.h"
#include "core/surface.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <optional>
#include <vector>

/// How a scan was made.
struct ScanManner {
    bool writetest = false; ///< by writing and reading back, else by reading
    double slowlimit = 500; ///< milliseconds from which a segment is slow
    bool slowisbad = false; ///< whether a slow segment counts as bad
};

/// What is to be reported of a scan.
struct ScanReport {
    DiskIdentity disk;
    geom geometry;
    std::vector<SurfaceCell> cells;   ///< of the whole plan
    QDateTime date;                   ///< of the result; invalid: not known
    std::optional<ScanManner> manner; ///< nothing: not known, as of an earlier result
    QString verdict;                  ///< empty: none yet

    /// Length of the disk in bytes, as far as it is known.
    [[nodiscard]] std::uint64_t diskbytes() const
    {
        return disk.bytes ? disk.bytes : geometry.totalbytes;
    }
};

/// The report as text, in lines that end with LF.
QString textreport(const ScanReport &report);
/// The same as JSON, with each segment and exact numbers.
QByteArray jsonreport(const ScanReport &report);
