#include "views/graphicsview.h"

#include "views/blockpaint.h"
#include "views/partitem.h"

#include <QAccessible>
#include <QContextMenuEvent>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QWheelEvent>

#include <algorithm>
#include <vector>

namespace
{
constexpr double minwidth = 2;   // pixels; narrower blocks share their columns
constexpr double frame = 3;      // pixels, of a selected block
constexpr double zoomstep = 1.5; // of one notch or key

// Tells assistive technology that the keys selected the block at `index`.
void tellblockselected(GraphicsView *view, int index)
{
    if (!QAccessible::isActive())
        return;
    // the block at this index may be another than when it was last read
    for (const QAccessible::Event type :
         {QAccessible::NameChanged, QAccessible::Selection, QAccessible::Focus}) {
        QAccessibleEvent event(view, type);
        event.setChild(index);
        QAccessible::updateAccessibility(&event);
    }
}

} // namespace

GraphicsView::GraphicsView(QWidget *planner)
    : QGraphicsView(planner), page(dynamic_cast<Plan *>(planner))
{
    page->watch(this);
    setAccessibleName("Disk diagram");
    setFocusPolicy(Qt::StrongFocus);
    // Outlines and the focus marks reach beyond the items' rectangles.
    setViewportUpdateMode(QGraphicsView::FullViewportUpdate);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
}

GraphicsView::~GraphicsView()
{
    if (page)
        page->unwatch(this);
}

QList<EXTPART *> GraphicsView::selectedparts() const
{
    QList<EXTPART *> list;
    for (EXTPART *part : page->extparts) {
        if (part->item && part->item->isSelected())
            list.append(part);
    }
    return list;
}

PartItem *GraphicsView::blockitem(int index) const
{
    return page && index >= 0 && index < page->extparts.size() ? page->extparts[index]->item
                                                               : nullptr;
}

GraphicsView::Span GraphicsView::selectedspan() const
{
    Span span;
    int count = 0;
    for (int i = 0; page && i < page->extparts.size(); ++i) {
        const PartItem *item = page->extparts[i]->item;
        if (!item || !item->isSelected())
            continue;
        if (count++ == 0)
            span.anchor = i;
        span.current = i;
    }
    const auto [low, high] = std::minmax(lastspan.anchor, lastspan.current);
    const bool isours =
        low == span.anchor && high == span.current && count == span.current - span.anchor + 1;
    return isours ? lastspan : span;
}

int GraphicsView::currentblock() const
{
    return selectedspan().current;
}

void GraphicsView::selectblock(int index)
{
    if (blockitem(index))
        selectspan({index, index});
}

void GraphicsView::selectspan(Span span)
{
    lastspan = span;
    const auto [low, high] = std::minmax(span.anchor, span.current);
    {
        // The scene would tell of every single item, and each time the tree would answer.
        const QSignalBlocker blocker(scene());
        for (int i = 0; i < page->extparts.size(); ++i) {
            if (PartItem *item = blockitem(i))
                item->setSelected(i >= low && i <= high);
        }
    }
    emit scene()->selectionChanged();
    if (const PartItem *item = blockitem(span.current))
        ensureVisible(item, 0, 0);
    viewport()->update();
    tellblockselected(this, span.current);
}

bool GraphicsView::openmenu(const QPoint &globalpos)
{
    if (!scene())
        return false;
    const QList<EXTPART *> parts = selectedparts();
    if (parts.isEmpty() || parts.first()->kind == 'b')
        return false;
    QMenu menu;
    menu.setToolTipsVisible(true);
    menu.addActions(actions());
    menu.exec(globalpos);
    return true;
}

void GraphicsView::openmenuatblock()
{
    const PartItem *item = blockitem(currentblock());
    if (!item)
        return;
    ensureVisible(item, 0, 0);
    const QPoint centre = mapFromScene(item->scenePos());
    const QRect inside = viewport()->rect();
    openmenu(
        viewport()->mapToGlobal(QPoint(std::clamp(centre.x(), inside.left(), inside.right()),
                                       std::clamp(centre.y(), inside.top(), inside.bottom()))));
}

void GraphicsView::mousePressEvent(QMouseEvent *event)
{
    // A right click on one of several selected blocks keeps them all for the menu.
    if (event->button() == Qt::RightButton && scene() && scene()->selectedItems().size() > 1)
        return;
    QGraphicsView::mousePressEvent(event);
}

void GraphicsView::resizeEvent(QResizeEvent *event)
{
    emit resized();
    QGraphicsView::resizeEvent(event);
}

void GraphicsView::contextMenuEvent(QContextMenuEvent *event)
{
    if (event->reason() == QContextMenuEvent::Keyboard) {
        // The event's position is that of the view's middle, whatever block lies there.
        openmenuatblock();
        event->accept();
        return;
    }
    QGraphicsView::contextMenuEvent(event);
    if (openmenu(event->globalPos()))
        event->accept();
}

void GraphicsView::keyPressEvent(QKeyEvent *event)
{
    const Qt::KeyboardModifiers modifiers = event->modifiers() & ~Qt::KeypadModifier;
    if (event->key() == Qt::Key_F10 && modifiers == Qt::ShiftModifier) {
        event->accept();
        openmenuatblock();
        return;
    }
    const int key = event->key();
    if (modifiers & Qt::ControlModifier &&
        (key == Qt::Key_Plus || key == Qt::Key_Equal || key == Qt::Key_Minus || key == Qt::Key_0)) {
        event->accept();
        zoomby(key == Qt::Key_0 ? 0 : key == Qt::Key_Minus ? 1 / zoomstep : zoomstep);
        if (const PartItem *item = blockitem(currentblock()))
            centerOn(item);
        return;
    }
    const bool isours = key == Qt::Key_Left || key == Qt::Key_Right || key == Qt::Key_Home ||
                        key == Qt::Key_End || key == Qt::Key_Up || key == Qt::Key_Down;
    if (!isours) {
        QGraphicsView::keyPressEvent(event);
        return;
    }
    // Also where they do nothing: the base class would scroll.
    event->accept();
    const int last = static_cast<int>(page->extparts.size()) - 1;
    if ((modifiers & ~Qt::ShiftModifier) || key == Qt::Key_Up || key == Qt::Key_Down || last < 0 ||
        !scene())
        return;
    const Span now = selectedspan();
    int target = std::clamp(lastspan.current, 0, last);
    if (key == Qt::Key_Home)
        target = 0;
    else if (key == Qt::Key_End)
        target = last;
    else if (now.current >= 0)
        target = std::clamp(now.current + (key == Qt::Key_Left ? -1 : 1), 0, last);
    const bool extend = (modifiers & Qt::ShiftModifier) && now.anchor >= 0;
    selectspan({extend ? now.anchor : target, target});
}

void GraphicsView::focusInEvent(QFocusEvent *event)
{
    QGraphicsView::focusInEvent(event);
    viewport()->update();
}

void GraphicsView::focusOutEvent(QFocusEvent *event)
{
    QGraphicsView::focusOutEvent(event);
    viewport()->update();
}

void GraphicsView::wheelEvent(QWheelEvent *event)
{
    if (!(event->modifiers() & Qt::ControlModifier)) {
        QGraphicsView::wheelEvent(event);
        return;
    }
    event->accept();
    // What is under the mouse stays there. The base class would take it from the last move of the
    // mouse, of which it hears nothing.
    const QPoint mouse = event->position().toPoint();
    const QPointF under = mapToScene(mouse);
    zoomby(event->angleDelta().y() < 0 ? 1 / zoomstep : zoomstep);
    QScrollBar *bar = horizontalScrollBar();
    bar->setValue(bar->value() + mapFromScene(under).x() - mouse.x());
}

void GraphicsView::zoomby(double factor)
{
    constexpr double maxpixels = 16; // a cylinder
    const double unzoomed = pixelspercylinder() / transform().m11();
    if (unzoomed <= 0)
        return;
    const double zoom =
        std::clamp(transform().m11() * factor, 1.0, std::max(maxpixels / unzoomed, 1.0));
    setTransform(QTransform::fromScale(zoom, 1));
}

double GraphicsView::pixelspercylinder() const
{
    const PartItem *item = blockitem(0);
    return item ? blockrect(item->part).width() / static_cast<double>(item->part->size) : 0;
}

bool GraphicsView::viewportEvent(QEvent *event)
{
    // Most of thousands of tool tips are never read, so each is made when it is asked for.
    if (event->type() == QEvent::ToolTip) {
        if (QGraphicsItem *item = itemAt(static_cast<QHelpEvent *>(event)->pos()))
            item->setToolTip(static_cast<PartItem *>(item)->toolTip());
    }
    return QGraphicsView::viewportEvent(event);
}

QRectF GraphicsView::blockrect(const EXTPART *part) const
{
    const QTransform map = viewportTransform();
    const QRectF inscene = part->rect.translated(part->item->pos());
    return {inscene.left() * map.m11() + map.dx(), inscene.top() + map.dy(),
            inscene.width() * map.m11(), inscene.height()};
}

std::span<EXTPART *const> GraphicsView::visibleblocks() const
{
    const std::span<EXTPART *const> blocks(page->extparts);
    const auto first =
        std::partition_point(blocks.begin(), blocks.end(), [this](const EXTPART *part) {
            return blockrect(part).right() < -frame;
        });
    const auto last = std::partition_point(first, blocks.end(), [this](const EXTPART *part) {
        return blockrect(part).left() < viewport()->width() + frame;
    });
    return {first, last};
}

void GraphicsView::paintEvent(QPaintEvent *)
{
    QPainter painter(viewport());
    painter.fillRect(viewport()->rect(), palette().base());
    // an item is missing only in the middle of a change
    if (page && scene() && blockitem(0) && page->extparts.last()->item) {
        paintblocks(painter);
        paintselection(painter);
    }
    if (hasFocus())
        paintfocus(painter);
    emit painted();
}

void GraphicsView::paintblocks(QPainter &painter) const
{
    const std::span<EXTPART *const> blocks = visibleblocks();
    if (blocks.empty())
        return;
    const QRectF whole = blockrect(blocks.front()) | blockrect(blocks.back());
    // what is drawn black would not end anywhere on a dark page
    if (palette().color(QPalette::Base).lightness() < 128) {
        painter.setPen(palette().color(QPalette::Text));
        painter.drawRect(whole.adjusted(-2.5, -2.5, 2, 2));
    }

    // the kind that each column of pixels shows of the blocks that are too narrow to be drawn
    std::vector<char> columns(static_cast<std::size_t>(viewport()->width()), '\0');
    const auto rank = [](char kind) { return QByteArrayView("\0ulpb", 5).indexOf(kind); };
    for (const EXTPART *part : blocks) {
        const QRectF where = blockrect(part);
        if (where.width() >= minwidth) {
            paintblock(painter, *part, where, false);
            continue;
        }
        const int last = std::min(static_cast<int>(where.right()), viewport()->width() - 1);
        for (int x = std::max(static_cast<int>(where.left()), 0); x <= last; ++x) {
            char &column = columns[static_cast<std::size_t>(x)];
            if (rank(part->kind) > rank(column))
                column = part->kind;
        }
    }
    for (auto from = columns.begin(); from != columns.end();) {
        const auto to =
            std::find_if(from, columns.end(), [from](char one) { return one != *from; });
        if (*from != '\0') {
            const QRectF run(static_cast<double>(from - columns.begin()), whole.top(),
                             static_cast<double>(to - from), whole.height());
            painter.fillRect(run, partkind(*from).fill);
            if (*from == 'b')
                painter.fillRect(run, badpattern());
        }
        from = to;
    }
}

void GraphicsView::paintselection(QPainter &painter) const
{
    // The frames of its neighbours cover a block of a few pixels, selected or not.
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(Qt::red, frame));
    QRectF run; // of narrow blocks that are selected side by side
    const auto flush = [&painter, &run] {
        if (!run.isNull())
            painter.drawRect(run);
        run = {};
    };
    for (const EXTPART *part : visibleblocks()) {
        const QRectF where = part->item->isSelected() ? blockrect(part) : QRectF();
        const bool narrow = !where.isNull() && where.width() < minwidth;
        if (!narrow)
            flush();
        run |= where;
        if (!narrow)
            flush();
    }
    flush();
}

void GraphicsView::paintfocus(QPainter &painter) const
{
    const QColor color = palette().color(QPalette::Highlight);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(color, 2));
    painter.drawRect(viewport()->rect().adjusted(1, 1, -1, -1));
    const PartItem *item = blockitem(currentblock());
    if (!item)
        return;
    // A mark below the block that the keys stand on.
    const QRectF where = blockrect(item->part);
    const QPointF tip(where.center().x(), where.bottom() + 3);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawPolygon(QPolygonF({tip, tip + QPointF(-5, 7), tip + QPointF(5, 7)}));
}
