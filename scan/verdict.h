#pragma once

#include "core/geom.h"
#include "core/seg.h"
#include "core/surface.h"

#include <QDate>
#include <QString>

#include <span>
#include <string>
#include <vector>

/// The result that a scan has replaced.
struct FormerResult {
    geom geometry;
    std::vector<SEG> segs; ///< the whole plan with its marks; empty: there is none
    QDate date;            ///< when it was made
};

/// The complete result that is kept beside the scan file of this name; none if there is none.
FormerResult formerresult(const std::string &scanfile);

/// One line on a complete result: what is bad and slow, what damage and margin cost, what grew
/// against the former one, and whether the disk should not be used at all, since damage grew by
/// more than half or a tenth of it is bad. Empty if a segment is not tested.
///
/// Plans of one geometry are compared by segments: those that are bad now and were not, less those
/// that were bad and are good now. A margin that the former result has as bad counts neither way.
/// Other plans are compared by bytes.
QString verdict(std::span<const SurfaceCell> cells, const geom &geometry,
                const FormerResult &former);
