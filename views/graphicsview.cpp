#include "views/graphicsview.h"

#include "views/partitem.h"

#include <QAccessible>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QSignalBlocker>

#include <algorithm>

namespace
{

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

void GraphicsView::drawForeground(QPainter *painter, const QRectF &rect)
{
    QGraphicsView::drawForeground(painter, rect);
    // The frames of its neighbours cover a block of a few pixels, selected or not.
    painter->setBrush(Qt::NoBrush);
    painter->setPen(QPen(Qt::red, 3));
    for (const QGraphicsItem *item : scene()->selectedItems())
        painter->drawRect(item->sceneBoundingRect());
    if (!hasFocus())
        return;

    const QColor color = palette().color(QPalette::Highlight);
    painter->setPen(QPen(color, 2));
    painter->drawRect(mapToScene(viewport()->rect()).boundingRect().adjusted(1, 1, -1, -1));
    const PartItem *item = blockitem(currentblock());
    if (!item)
        return;
    // A mark below the block that the keys stand on.
    const QPointF tip(item->scenePos().x(), item->sceneBoundingRect().bottom() + 3);
    painter->setPen(Qt::NoPen);
    painter->setBrush(color);
    painter->drawPolygon(QPolygonF({tip, tip + QPointF(-5, 7), tip + QPointF(5, 7)}));
}
