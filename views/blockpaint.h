#pragma once

#include "plan/extpart.h"

#include <QBrush>

class QPainter;
class QRectF;

/// Draws a block into `where`: fill, frame, and, as far as there is room, what it is and its size.
/// The frame is 3 pixels from 12 on, a quarter of the width below that.
void paintblock(QPainter &painter, const EXTPART &part, const QRectF &where, bool selected);

/// The hatching over bad blocks, so that their colour alone need not tell them.
QBrush badpattern();

/// A square of the legend, `size` pixels wide at a scale of 1.
QPixmap swatch(char kind, int size, double scale);
