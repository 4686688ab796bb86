#include "views/diagramlayout.h"

DiagramScale diagramscale(double width, double height, std::uint64_t totalblocksize)
{
    DiagramScale scale;
    scale.itemheight = 4.0 * height / 5.0;
    if (totalblocksize > 0)
        scale.widthpersize = (4.0 * width / 5.0) / static_cast<double>(totalblocksize);
    return scale;
}

QRectF itemrect(std::uint64_t size, double widthpersize, double itemheight)
{
    const double width = widthpersize * static_cast<double>(size);
    return {-width / 2, -itemheight / 2, width, itemheight};
}

QPointF itempos(std::uint64_t start, std::uint64_t size, double widthpersize)
{
    return {widthpersize * static_cast<double>(start) +
                widthpersize * static_cast<double>(size) / 2,
            0};
}
