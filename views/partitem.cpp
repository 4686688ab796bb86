#include "views/partitem.h"

#include "core/geom.h"
#include "views/blockpaint.h"
#include "views/diagramlayout.h"
#include "views/partname.h"

#include <QGraphicsSceneContextMenuEvent>
#include <QStyleOptionGraphicsItem>

PartItem::PartItem(EXTPART *newpart) : part(newpart)
{
    part->item = this;
    setFlags(ItemIsSelectable);
}

PartItem::PartItem(EXTPART *newpart, double widthpersize, double height) : PartItem(newpart)
{
    updategeom(widthpersize, height);
}

PartItem::~PartItem()
{
    if (part->item == this)
        part->item = nullptr;
}

QRectF PartItem::boundingRect() const
{
    return part->rect;
}

void PartItem::paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *)
{
    paintblock(*painter, *part, part->rect, option->state & QStyle::State_Selected);
}

void PartItem::updategeom(double widthpersize, double height)
{
    prepareGeometryChange();
    part->rect = itemrect(part->size, widthpersize, height);
    setPos(itempos(part->start, part->size, widthpersize));
}

void PartItem::contextMenuEvent(QGraphicsSceneContextMenuEvent *event)
{
    setSelected(true);
    QGraphicsItem::contextMenuEvent(event);
}

QString PartItem::toolTip() const
{
    QString text = QString("Start:%1GB\nStop:%2GB\nSize:%3GB")
                       .arg(gbtext(part->start), gbtext(part->stop), gbtext(part->size));
    const auto position = [](std::uint64_t cylinder) {
        return sizetext(static_cast<double>(cylinder * g.bytespercyl));
    };
    const QString first = position(part->start);
    const QString last = position(part->stop);
    if (last.endsWith("TB"))
        text += first == last ? "\nAt " + first : '\n' + first + " to " + last;
    return text;
}

namespace
{
const EXTPART &partof(const QGraphicsItem *item)
{
    return *static_cast<const PartItem *>(item)->part;
}
} // namespace

bool comparepartstart(const QGraphicsItem *a, const QGraphicsItem *b)
{
    return partof(a).start < partof(b).start;
}

bool comparepartsize(const QGraphicsItem *a, const QGraphicsItem *b)
{
    return partof(a).size > partof(b).size;
}
