#include "planner/diskpartition.h"

#include "views/diagramlayout.h"
#include "views/graphicsscene.h"
#include "views/graphicsview.h"
#include "views/partitem.h"
#include "views/parttreemodel.h"

#include <QScopedValueRollback>
#include <QTimer>
#include <QTreeView>

// The diagram's items follow the plan, and the selections of diagram and list follow each other.
// The view paints by itself, past what a scene knows of its items, so each change asks it to.

void DiskPartition::setscale()
{
    totalblocksize = 0;
    for (const EXTPART *part : extparts)
        totalblocksize += part->size;
    const DiagramScale scale =
        diagramscale(diagramview->width(), diagramview->height(), totalblocksize);
    widthpersize = scale.widthpersize;
    itemheight = scale.itemheight;
    // The scene is as wide as the blocks, so that the view centres them.
    const double cylinders =
        extparts.isEmpty() ? 0.0 : static_cast<double>(extparts.last()->stop + 1);
    diagramscene->setSceneRect(0, -itemheight / 2, cylinders * widthpersize, itemheight);
}

void DiskPartition::initpartdiagram()
{
    setscale();
    for (EXTPART *part : extparts) {
        if (part->kind == 'u' || part->kind == 'b')
            setkind(*part, part->kind);
        blockadded(part);
    }
}

void DiskPartition::resizepartdiagram()
{
    setscale();
    for (EXTPART *part : extparts)
        boundschanged(part);
}

void DiskPartition::planclears()
{
    // one by one each would be searched for
    diagramscene->clear();
    diagramview->viewport()->update();
}

void DiskPartition::blockadded(EXTPART *part)
{
    diagramscene->addItem(new PartItem(part, widthpersize, itemheight));
    diagramview->viewport()->update();
}

void DiskPartition::blockremoved(EXTPART *part)
{
    if (PartItem *item = part->item) {
        diagramscene->removeItem(item);
        delete item;
    }
    diagramview->viewport()->update();
}

void DiskPartition::boundschanged(EXTPART *part)
{
    if (part->item)
        part->item->updategeom(widthpersize, itemheight);
    diagramview->viewport()->update();
}

void DiskPartition::kindchanged(EXTPART * /*part*/)
{
    diagramview->viewport()->update();
}

QList<EXTPART *> DiskPartition::selectedparts() const
{
    return diagramview->selectedparts();
}

EXTPART *DiskPartition::chosenpart() const
{
    const QList<EXTPART *> selected = selectedparts();
    return selected.isEmpty() || selected.first()->kind == 'b' ? nullptr : selected.first();
}

void DiskPartition::selectionchanged()
{
    diagramview->viewport()->update();
    if (!followselection)
        return;
    const EXTPART *first = chosenpart();
    if (!first || (first->kind != 'p' && first->kind != 'l'))
        return;
    const QScopedValueRollback<bool> hold(followselection, false);
    treeview->setCurrentIndex(treemodel->findpart(first));
}

void DiskPartition::treeselectionchanged(const QItemSelection &selected,
                                         const QItemSelection & /*deselected*/)
{
    const QModelIndexList indexes = selected.indexes();
    if (!followselection || indexes.isEmpty())
        return;
    const QScopedValueRollback<bool> hold(followselection, false);
    const auto *node = static_cast<PartTreeNode *>(indexes.first().internalPointer());
    diagramscene->clearSelection();
    // the extended entry stands for no block
    if (node->part->item)
        node->part->item->setSelected(true);
}
