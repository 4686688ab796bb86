#pragma once

#include <QColor>
#include <QRectF>

#include <cstdint>

class PartItem;

/// One block of the planner: a stretch of whole cylinders with a kind. It also stands behind each
/// row of the partition tree.
///
/// A copy takes `item` along; a copy that becomes a block of its own must set it to null.
struct EXTPART {
    char name[50] = {};      ///< first column of the tree; empty until the first assignment
    std::uint64_t start = 0; ///< first cylinder
    std::uint64_t stop = 0;  ///< last cylinder, inclusive
    std::uint64_t size = 0;  ///< cylinders; of the extended row the sum of its children's
    char kind = 'u'; ///< 'u' good, 'b' bad, 'p' primary, 'l' logical, 'e' extended, 'r' root
    std::uint8_t bootflag = 0; ///< 0 inactive, 0x80 active
    std::uint8_t systype = 7;  ///< partition type byte
    QColor bordercolor;        ///< pen in the diagram
    QColor fillcolor;          ///< brush in the diagram; follows `kind`
    QRectF rect;               ///< the item's rectangle, centred on its position
    PartItem *item = nullptr;  ///< the block's item in the diagram, or null
};

/// Makes a block what `kind` ('u', 'b', 'p' or 'l') says: `kind`, `fillcolor`, and for partitions
/// `name`. Nothing else changes; the caller repaints the item.
void setkind(EXTPART &part, char kind);

/// A new block over `start` to `stop`, inclusive: inactive, type 7, no item.
EXTPART *newpart(std::uint64_t start, std::uint64_t stop, char kind);

/// Strict orders: larger `size` first, lower `start` first.
bool compareEXTPARTsize(const EXTPART *a, const EXTPART *b);
bool compareEXTPARTstart(const EXTPART *a, const EXTPART *b);
