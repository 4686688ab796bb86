#include "views/partitem.h"

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
    return QString("Start:%1GB\nStop:%2GB\nSize:%3GB")
        .arg(gbtext(part->start), gbtext(part->stop), gbtext(part->size));
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
