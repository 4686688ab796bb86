#pragma once

#include <QColor>
#include <QList>
#include <QRectF>

#include <array>
#include <cstdint>

class PartItem;

/// One block of the plan: a stretch of whole cylinders with a kind. It is also the record behind
/// each row of the partition list.
///
/// A copy takes `item` along; a copy that becomes a block of its own must set it to null.
struct EXTPART {
    char name[50] = {};      ///< first column of the list; empty until the first assignment
    std::uint64_t start = 0; ///< first cylinder
    std::uint64_t stop = 0;  ///< last cylinder, inclusive
    std::uint64_t size = 0;  ///< cylinders; of the extended row the sum of its children's
    char kind = 'u'; ///< 'u' good, 'b' bad, 'p' primary, 'l' logical, 'e' extended, 'r' root
    std::uint8_t bootflag = 0;      ///< 0 inactive, 0x80 active
    std::uint8_t systype = 7;       ///< partition type byte
    QColor bordercolor = Qt::black; ///< pen in the diagram
    QColor fillcolor;               ///< brush in the diagram; follows `kind`
    QRectF rect;                    ///< the item's rectangle, centred on its position
    PartItem *item = nullptr;       ///< the block's item in the diagram, or null

    bool operator==(const EXTPART &) const = default;
};

/// What the user sees of a kind of block.
struct PARTKIND {
    char kind;
    const char *name;     ///< as the record's `name`
    const char *spoken;   ///< what a screen reader says
    const char *legend;   ///< caption in the diagram's legend
    Qt::GlobalColor fill; ///< `fillcolor`
};

/// The four kinds of block, in the order of the legend: 'p', 'l', 'u', 'b'.
extern const std::array<PARTKIND, 4> partkinds;
/// The row of a kind; of any other letter that of 'u'.
const PARTKIND &partkind(char kind);

/// Makes a block what `kind` ('u', 'b', 'p' or 'l') says: `kind`, `fillcolor`, and for partitions
/// `name`. Nothing else changes.
void setkind(EXTPART &part, char kind);

/// A new block over `start` to `stop`, inclusive: inactive, type 7, no item.
EXTPART *newpart(std::uint64_t start, std::uint64_t stop, char kind);

/// Strict orders: larger `size` first, lower `start` first.
bool compareEXTPARTsize(const EXTPART *a, const EXTPART *b);
bool compareEXTPARTstart(const EXTPART *a, const EXTPART *b);

/// Puts `part` behind `anchor`: its index, or -1 with nothing done if the anchor is not there.
int insertafter(QList<EXTPART *> &list, const EXTPART *anchor, EXTPART *part);
/// Puts `part` in front of `anchor`: its index, or -1 with nothing done if the anchor is not there.
int insertbefore(QList<EXTPART *> &list, const EXTPART *anchor, EXTPART *part);
/// Removes and deletes `part`: true if it was there.
bool erasepart(QList<EXTPART *> &list, const EXTPART *part);
