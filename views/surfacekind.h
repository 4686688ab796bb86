#pragma once

#include "core/surface.h"

#include <QRgb>

#include <array>

class QColor;
class QPainter;
class QPalette;
class QRect;

/// What distinguishes a cell beside its colour.
enum class SurfaceMark {
    none,
    dot,
    onebar,
    twobars,
    threebars,
    lines,
    hatch,
    specks,
    core,
    hollow
};

/// How the map shows a state, good ones by latency class.
struct SurfaceKind {
    const char *word;   ///< of the state, as a screen reader says it
    const char *legend; ///< caption in the legend
    QRgb fill;
    SurfaceMark mark;
};

/// All kinds, in the order of the legend.
extern const std::array<SurfaceKind, 10> surfacekinds;

/// The row of a cell's kind in `surfacekinds`.
std::size_t surfacekind(const SurfaceCell &cell);

/// Fills `where` with a kind. `pixel` is the width of a line; both are in the painter's unit.
void paintsurface(QPainter &painter, const SurfaceKind &kind, const QRect &where, int pixel,
                  const QPalette &palette);

/// Whether the page is dark, by its background.
bool isdark(const QPalette &palette);
/// `share` of one colour, 0 to 1, over another.
QColor blended(const QColor &over, const QColor &under, double share);
/// `share` of `palette`'s text colour on its background, 0 to 1: for lines less strong than text.
QColor mixedtext(const QPalette &palette, double share);
