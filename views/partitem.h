#pragma once

#include "plan/extpart.h"

#include <QGraphicsItem>

/// A block in the diagram. It points at its block and the block points back; it owns nothing.
///
/// An item goes before its block: take it out of the scene and delete it, then erase the block.
/// Deleting it sets the block's `item` to null, unless the block has another item by then.
class PartItem : public QGraphicsItem
{
public:
    /// For a block that the caller lays out afterwards.
    explicit PartItem(EXTPART *part);
    /// For a block that comes in later: rectangle and position at once.
    PartItem(EXTPART *part, double widthpersize, double height);
    ~PartItem() override;

    [[nodiscard]] QRectF boundingRect() const override;
    void paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget) override;

    /// Takes over the block's bounds at the given scale: rectangle and position.
    void updategeom(double widthpersize, double height);

    /// Start, stop and size, by the block's present bounds.
    [[nodiscard]] QString toolTip() const;

    EXTPART *part; ///< the block; not owned

protected:
    void contextMenuEvent(QGraphicsSceneContextMenuEvent *event) override;
};

/// Lower `start` first, larger `size` first, by the blocks behind the items.
bool comparepartstart(const QGraphicsItem *a, const QGraphicsItem *b);
bool comparepartsize(const QGraphicsItem *a, const QGraphicsItem *b);
