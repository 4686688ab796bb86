#pragma once

#include "core/geom.h"
#include "core/surface.h"

#include <QStringList>

#include <vector>

/// What the parts of the map show: owned by the map, read by its parts.
struct SurfaceData {
    std::vector<SurfaceCell> cells; ///< ascending by cylinder
    geom disk;                      ///< turns their cylinders into GB and sectors

    [[nodiscard]] int count() const { return static_cast<int>(cells.size()); }
    [[nodiscard]] bool has(int index) const { return index >= 0 && index < count(); }
};

/// A number of MB/s with its unit.
QString speedtext(double speed);

/// What is known of a cell, the most important first: number, result, slowest transfer, speed, GB,
/// cylinders, sectors. What was not measured is left out.
QStringList celltexts(const SurfaceData &data, int index);

/// The words a screen reader says for a cell, as "segment 12, 1.2 GB to 1.4 GB, good, slowest read
/// 35 ms".
QString spokencell(const SurfaceData &data, int index);
