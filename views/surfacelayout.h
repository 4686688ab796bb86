#pragma once

#include <QRect>

/// The cells of the surface map in rows, from the top left. Plain numbers in one unit, which the
/// painter takes as device pixels, so that all cells are alike at each scale.
struct SurfaceGrid {
    int count = 0;   ///< cells
    int columns = 1; ///< at least 1
    int rows = 0;    ///< the last one may be shorter
    QSize cell;      ///< from one cell to the next, with the gap
    int gap = 0;     ///< right of and below each cell
    QPoint origin;   ///< top left of cell 0

    [[nodiscard]] int height() const { return rows * cell.height(); }
    /// What is painted of a cell.
    [[nodiscard]] QRect rect(int index) const;
    /// The cell at a point, gaps included, or -1.
    [[nodiscard]] int at(QPoint point) const;
};

/// Cells as large as they can be in `area`, about square, no higher than `maxheight`, at least one
/// unit wide and high.
SurfaceGrid surfacegrid(int count, const QRect &area, int maxheight);

/// What the map's height is needed for.
struct SurfaceNeeds {
    int count = 0;       ///< cells
    int line = 1;        ///< height of a line of text
    int statuslines = 1; ///< of text at the bottom, if there is height for more than one
    int alllegend = 0;   ///< height of the legend with all entries
    int usedlegend = 0;  ///< height of the legend with the entries that occur
};

/// The places of the map's parts, one below the other. A part without room has no height.
struct SurfaceParts {
    QRect curve, cells, legend, status;
    bool allentries = false; ///< the legend shows those that don't occur too
};

SurfaceParts surfaceparts(QSize size, const SurfaceNeeds &needs);

/// Around the cells, for the frame of the first and the last column.
inline constexpr int surfacepadding = 3;
/// From one line of the legend to the next, more than the height of its text.
inline constexpr int legendleading = 2;
/// The highest cell, in lines of text.
inline constexpr int surfacemaxlines = 4;
