#include "views/surfacelayout.h"

#include <algorithm>

QRect SurfaceGrid::rect(int index) const
{
    return {origin + QPoint(index % columns * cell.width(), index / columns * cell.height()),
            cell - QSize(gap, gap)};
}

int SurfaceGrid::at(QPoint point) const
{
    const QPoint inside = point - origin;
    if (count == 0 || inside.x() < 0 || inside.y() < 0)
        return -1;
    const int column = inside.x() / cell.width();
    const int index = inside.y() / cell.height() * columns + column;
    return column < columns && index < count ? index : -1;
}

SurfaceGrid surfacegrid(int count, const QRect &area, int maxheight)
{
    SurfaceGrid grid;
    grid.count = count;
    grid.origin = area.topLeft();
    grid.cell = {1, 1};
    grid.columns = std::max(area.width(), 1);
    int best = 0;
    for (int rows = 1; rows <= count; ++rows) {
        const int columns = (count + rows - 1) / rows;
        const int width = area.width() / columns;
        const int height = std::min({area.height() / rows, maxheight, width * 3 / 2});
        if (std::min(width, height) > best) {
            best = std::min(width, height);
            grid.cell = {width, height};
            grid.columns = columns;
        }
    }
    // what the division left at the right end goes to further columns
    grid.columns = std::clamp(area.width() / grid.cell.width(), 1, std::max(count, 1));
    grid.rows = (count + grid.columns - 1) / grid.columns;
    if (grid.rows > 0) {
        const int room =
            std::min({area.height() / grid.rows, maxheight, grid.cell.width() * 3 / 2});
        grid.cell.setHeight(std::max(grid.cell.height(), room));
    }
    const int least = std::min(grid.cell.width(), grid.cell.height());
    grid.gap = least < 4 ? 0 : least < 14 ? 1 : 2;
    return grid;
}

SurfaceParts surfaceparts(QSize size, const SurfaceNeeds &needs)
{
    constexpr int gap = 4;
    const int line = needs.line;
    constexpr int leastcells = 36; // pixels, enough for 500 in a small window
    const int leastcurve = 3 * line / 2;
    const int statusheight = size.height() >= 12 * line ? needs.statuslines * line : line;
    const int room = size.height() - statusheight - gap;

    SurfaceParts parts;
    parts.allentries = needs.alllegend <= room / 3;
    const int legendline = line + legendleading;
    const int legendlines = std::max(room - gap - leastcells, 0) / legendline;
    const int legendheight =
        std::min(parts.allentries ? needs.alllegend : needs.usedlegend, legendlines * legendline);
    int rest = std::max(room - legendheight - (legendheight > 0 ? gap : 0), 0);

    int curveheight = 0;
    if (rest - gap - leastcells >= leastcurve)
        curveheight = std::clamp(rest * 2 / 5, leastcurve, rest - gap - leastcells);
    if (curveheight > 0)
        rest -= curveheight + gap;

    // few cells don't use all of it
    const QRect within(surfacepadding, 0, size.width() - 2 * surfacepadding,
                       rest - 2 * surfacepadding);
    const int used = surfacegrid(needs.count, within, surfacemaxlines * line).height();
    const int spare = std::max(within.height() - used, 0);
    if (curveheight > 0 && needs.count > 0 && spare > line) {
        curveheight += spare;
        rest -= spare;
    }

    int top = 0;
    for (const auto &[part, height] :
         {std::pair{&parts.curve, curveheight}, std::pair{&parts.cells, rest},
          std::pair{&parts.legend, legendheight}, std::pair{&parts.status, statusheight}}) {
        *part = {0, top, size.width(), height};
        top += height > 0 ? height + gap : 0;
    }
    return parts;
}
