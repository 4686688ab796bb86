#include "views/blockpaint.h"

#include "views/partname.h"

#include <QPainter>
#include <QPixmap>

namespace
{

void paintwords(QPainter &painter, const EXTPART &part, const QRectF &where)
{
    constexpr double margin = 5;
    const QFontMetrics metrics = painter.fontMetrics();
    painter.setPen(qGray(part.fillcolor.rgb()) > 100 ? Qt::black : Qt::white);
    double top = where.top() + margin;
    for (const QString &line : {QString(partkind(part.kind).spoken), gbtext(part.size) + " GB"}) {
        const QRectF room(where.left() + margin, top, where.width() - 2 * margin, metrics.height());
        const QRectF place(room.topLeft(), QSizeF(metrics.horizontalAdvance(line), room.height()));
        if (place.width() > room.width() || place.bottom() > where.bottom())
            continue;
        painter.fillRect(place, part.fillcolor);
        painter.drawText(place, Qt::AlignLeft | Qt::TextSingleLine, line);
        top = place.bottom();
    }
}

} // namespace

QBrush badpattern()
{
    return {Qt::gray, Qt::BDiagPattern};
}

void paintblock(QPainter &painter, const EXTPART &part, const QRectF &where, bool selected)
{
    const double frame = where.width() >= 12 ? 3 : where.width() / 4;
    painter.setPen(Qt::NoPen);
    painter.setBrush(part.fillcolor);
    painter.drawRect(where);
    if (part.kind == 'b') {
        painter.setBrush(badpattern());
        painter.drawRect(where);
    }
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(selected ? QColor(Qt::red) : part.bordercolor, frame));
    painter.drawRect(where);
    paintwords(painter, part, where);
}

QPixmap swatch(char kind, int size, double scale)
{
    QPixmap square(QSize(size, size) * scale);
    square.setDevicePixelRatio(scale);
    square.fill(partkind(kind).fill);
    QPainter painter(&square);
    if (kind == 'b')
        painter.fillRect(0, 0, size, size, badpattern());
    // one that shows on dark and light
    painter.setPen(Qt::gray);
    painter.drawRect(0, 0, size - 1, size - 1);
    return square;
}
