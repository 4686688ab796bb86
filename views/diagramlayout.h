#pragma once

#include <QRectF>

#include <cstdint>

/// The diagram in plain numbers, before anything is drawn: all blocks together take four fifths of
/// the view's width, each item four fifths of its height.
struct DiagramScale {
    double widthpersize = 0; ///< scene units for one cylinder; 0 without blocks
    double itemheight = 0;   ///< scene units
};

/// The scale for a view of `width` x `height` pixels over `totalblocksize` cylinders.
DiagramScale diagramscale(double width, double height, std::uint64_t totalblocksize);

/// A block's rectangle, centred on the item's origin.
QRectF itemrect(std::uint64_t size, double widthpersize, double itemheight);
/// Where the item's origin stands in the scene: its left edge is at `start` x `widthpersize`, y 0.
QPointF itempos(std::uint64_t start, std::uint64_t size, double widthpersize);
