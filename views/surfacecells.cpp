#include "views/surfacecells.h"

#include "views/surfacekind.h"

#include <QAccessible>
#include <QContextMenuEvent>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QToolTip>

#include <algorithm>
#include <cmath>

namespace
{

// Tells assistive technology that the keys stand on the cell at `index`.
void tellcurrent(SurfaceCells *cells, int index)
{
    if (!QAccessible::isActive())
        return;
    for (const QAccessible::Event type : {QAccessible::NameChanged, QAccessible::Focus}) {
        QAccessibleEvent event(cells, type);
        event.setChild(index);
        QAccessible::updateAccessibility(&event);
    }
}

} // namespace

SurfaceCells::SurfaceCells(const SurfaceData *shown, QWidget *parent) : QWidget(parent), data(shown)
{
    setAccessibleName("Surface map");
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
}

void SurfaceCells::reset()
{
    scale = 0;
    hover(-1);
    if (!data->has(currentindex) && currentindex >= 0) {
        currentindex = std::max(data->count(), 1) - 1;
        if (!data->has(currentindex))
            currentindex = -1;
        emit currentchanged(currentindex);
    }
    update();
}

void SurfaceCells::layout() const
{
    if (scale == devicePixelRatioF())
        return;
    scale = devicePixelRatioF();
    const auto device = [this](int units) { return static_cast<int>(std::floor(units * scale)); };
    const int padding = device(surfacepadding);
    grid = surfacegrid(
        data->count(),
        {padding, padding, device(width()) - 2 * padding, device(height()) - 2 * padding},
        device(surfacemaxlines * fontMetrics().height()));
    const QSize tile = grid.rect(0).size();
    tiles = QPixmap(tile.width() * static_cast<int>(surfacekinds.size()), tile.height());
    tiles.fill(Qt::transparent);
    QPainter painter(&tiles);
    QRect where(QPoint(), tile);
    for (const SurfaceKind &kind : surfacekinds) {
        painter.setClipRect(where);
        paintsurface(painter, kind, where, std::max(static_cast<int>(std::lround(scale)), 1),
                     palette());
        where.translate(tile.width(), 0);
    }
}

QRect SurfaceCells::cellrect(int index) const
{
    layout();
    const QRect rect = grid.rect(index);
    return QRectF(QPointF(rect.topLeft()) / scale, QSizeF(rect.size()) / scale).toRect();
}

int SurfaceCells::cellat(const QPointF &point) const
{
    layout();
    return grid.at({static_cast<int>(std::floor(point.x() * scale)),
                    static_cast<int>(std::floor(point.y() * scale))});
}

void SurfaceCells::select(int index)
{
    if (!data->has(index) || index == currentindex)
        return;
    currentindex = index;
    update();
    emit currentchanged(index);
    tellcurrent(this, index);
}

void SurfaceCells::hover(int index)
{
    if (index == hoveredindex)
        return;
    hoveredindex = index;
    update();
    emit hoverchanged(index);
}

void SurfaceCells::paintEvent(QPaintEvent *)
{
    layout();
    QPainter painter(this);
    painter.scale(1 / scale, 1 / scale);
    const QSize tile = grid.rect(0).size();
    for (int i = 0; i < grid.count; ++i) {
        const int kind = static_cast<int>(surfacekind(data->cells[static_cast<std::size_t>(i)]));
        painter.drawPixmap(grid.rect(i).topLeft(), tiles,
                           QRect(QPoint(kind * tile.width(), 0), tile));
    }
    if (data->has(hoveredindex))
        paintframe(painter, hoveredindex, false);
    if (data->has(currentindex) && hasFocus())
        paintframe(painter, currentindex, true);
}

void SurfaceCells::paintframe(QPainter &painter, int index, bool strong) const
{
    const int pixel = std::max(static_cast<int>(std::lround(scale)), 1);
    const QRect cell = grid.rect(index);
    // around the cell, since its inside may be all mark: background, then the text's colour
    QRect ring = cell.adjusted(-pixel, -pixel, pixel, pixel);
    const auto draw = [&](const QColor &colour, int width) {
        QRegion region(ring.adjusted(-width, -width, width, width));
        for (const QRect &part : region - ring)
            painter.fillRect(part, colour);
        ring.adjust(-width, -width, width, width);
    };
    if (strong) {
        ring = cell;
        draw(palette().color(QPalette::Window), pixel);
    }
    draw(palette().color(QPalette::WindowText), strong ? 2 * pixel : pixel);
}

void SurfaceCells::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    scale = 0;
}

void SurfaceCells::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    scale = 0;
    update();
}

bool SurfaceCells::event(QEvent *event)
{
    if (event->type() == QEvent::ToolTip) {
        const auto *help = static_cast<QHelpEvent *>(event);
        const int index = cellat(help->pos());
        if (data->has(index))
            QToolTip::showText(help->globalPos(), celltexts(*data, index).join('\n'), this,
                               cellrect(index));
        else
            QToolTip::hideText();
        return true;
    }
    return QWidget::event(event);
}

void SurfaceCells::mousePressEvent(QMouseEvent *event)
{
    // a right click too: the menu is for the cell under the pointer
    select(cellat(event->position()));
}

void SurfaceCells::mouseMoveEvent(QMouseEvent *event)
{
    hover(cellat(event->position()));
}

void SurfaceCells::leaveEvent(QEvent *event)
{
    QWidget::leaveEvent(event);
    hover(-1);
}

void SurfaceCells::keyPressEvent(QKeyEvent *event)
{
    const Qt::KeyboardModifiers modifiers = event->modifiers() & ~Qt::KeypadModifier;
    if (event->key() == Qt::Key_F10 && modifiers == Qt::ShiftModifier) {
        requestmenu();
        return;
    }
    layout();
    const int last = data->count() - 1, from = std::max(currentindex, 0);
    const int page = std::max(grid.rows / 4, 1) * grid.columns;
    const auto by = [&](int step) {
        // a step beyond the ends keeps the column
        return data->has(from + step) ? from + step : from;
    };
    int target = 0;
    switch (modifiers ? Qt::Key_unknown : event->key()) {
    case Qt::Key_Left:
        target = by(-1);
        break;
    case Qt::Key_Right:
        target = by(1);
        break;
    case Qt::Key_Up:
        target = by(-grid.columns);
        break;
    case Qt::Key_Down:
        target = by(grid.columns);
        break;
    case Qt::Key_PageUp:
        target = std::max(from - page, from % grid.columns);
        break;
    case Qt::Key_PageDown:
        target = std::min(from + page, last - (last - from) % grid.columns);
        break;
    case Qt::Key_Home:
        break;
    case Qt::Key_End:
        target = last;
        break;
    default:
        QWidget::keyPressEvent(event);
        return;
    }
    select(target);
}

void SurfaceCells::focusInEvent(QFocusEvent *event)
{
    QWidget::focusInEvent(event);
    if (currentindex < 0)
        select(0);
    emit focuschanged();
}

void SurfaceCells::focusOutEvent(QFocusEvent *event)
{
    QWidget::focusOutEvent(event);
    emit focuschanged();
}

void SurfaceCells::requestmenu()
{
    emit menurequested(data->has(currentindex) ? cellrect(currentindex).center() : rect().center());
}

void SurfaceCells::contextMenuEvent(QContextMenuEvent *event)
{
    if (event->reason() == QContextMenuEvent::Keyboard)
        requestmenu(); // the event's position is that of the widget's middle
    else
        emit menurequested(event->pos());
}
