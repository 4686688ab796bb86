#include "planner/diskpartition.h"

#include "views/diagramlayout.h"
#include "views/graphicsscene.h"
#include "views/graphicsview.h"
#include "views/partitem.h"
#include "views/parttreemodel.h"
#include "views/parttreenode.h"

#include <QScopedValueRollback>
#include <QTreeView>

// Takes the scale from the view's present size, and the scene as wide as the blocks reach, so that
// the view centres them. Without blocks there is nothing to scale.
static void setscale(DiskPartition &page)
{
    page.totalblocksize = 0;
    for (const EXTPART *part : page.extparts)
        page.totalblocksize += part->size;
    const DiagramScale scale =
        diagramscale(page.diagramview->width(), page.diagramview->height(), page.totalblocksize);
    page.widthpersize = scale.widthpersize;
    page.itemheight = scale.itemheight;
    const double cylinders =
        page.extparts.isEmpty() ? 0.0 : static_cast<double>(page.extparts.last()->stop + 1);
    page.diagramscene->setSceneRect(0, -page.itemheight / 2, cylinders * page.widthpersize,
                                    page.itemheight);
}

void DiskPartition::initpartdiagram()
{
    setscale(*this);
    for (EXTPART *part : extparts) {
        part->bordercolor = Qt::black;
        if (part->kind == 'u' || part->kind == 'b')
            setkind(*part, part->kind);
        diagramscene->addItem(new PartItem(part, widthpersize, itemheight));
    }
}

void DiskPartition::resizepartdiagram()
{
    setscale(*this);
    for (EXTPART *part : extparts) {
        if (part->item)
            part->item->updategeom(widthpersize, itemheight);
    }
}

QList<EXTPART *> DiskPartition::selectedparts() const
{
    QList<EXTPART *> list;
    for (EXTPART *part : extparts) {
        if (part->item && part->item->isSelected())
            list.append(part);
    }
    return list;
}

EXTPART *DiskPartition::chosenpart() const
{
    const QList<EXTPART *> selected = selectedparts();
    return selected.isEmpty() || selected.first()->kind == 'b' ? nullptr : selected.first();
}

void DiskPartition::selectionchanged()
{
    if (!followselection)
        return;
    const QList<EXTPART *> selected = selectedparts();
    if (selected.isEmpty())
        return;
    const EXTPART *first = selected.first();
    if (first->kind != 'p' && first->kind != 'l')
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
