#include "planner/diskpartition.h"

#include "views/graphicsscene.h"
#include "views/partitem.h"
#include "views/parttreemodel.h"
#include "views/parttreenode.h"

#include <QScopedValueRollback>
#include <QTreeView>

#include <algorithm>

int DiskPartition::partpos(const QList<EXTPART *> &list, const EXTPART *part) const
{
    return ::partpos(list, part);
}

void DiskPartition::insertnewpart(EXTPART *anchor, EXTPART *part, int before)
{
    if (before)
        insertbefore(extparts, anchor, part);
    else
        insertafter(extparts, anchor, part);
    diagramscene->addItem(new PartItem(part, widthpersize, itemheight));
}

void DiskPartition::insertnewpart(EXTPART *part)
{
    extparts.insert(std::upper_bound(extparts.cbegin(), extparts.cend(), part, compareEXTPARTstart),
                    part);
    diagramscene->addItem(new PartItem(part, widthpersize, itemheight));
    if (part->kind == 'l') {
        giverow(part, 'l', 1);
    } else if (part->kind == 'p') {
        if (primarynum < (logicalnum > 0 ? 3 : 4)) {
            giverow(part, 'p', 1);
        } else {
            setkind(*part, 'u');
            part->item->update();
        }
    }
}

void DiskPartition::deletepart(EXTPART *part)
{
    const QScopedValueRollback<bool> hold(followselection, false);
    takerow(part);
    // the item points at the block, so it goes first
    if (PartItem *item = part->item) {
        diagramscene->removeItem(item);
        delete item;
    }
    erasepart(extparts, part);
}

void DiskPartition::giverow(EXTPART *part, char kind, int sorted)
{
    setkind(*part, kind);
    (kind == 'p' ? primarynum : logicalnum)++;
    if (part->item)
        part->item->update();
    treemodel->addpart(part, sorted);
}

void DiskPartition::takerow(EXTPART *part)
{
    if (part->kind != 'p' && part->kind != 'l')
        return;
    // the tree's cursor leaves the vanishing row; the user's blocks stay selected all the same
    const QScopedValueRollback<bool> hold(followselection, false);
    (part->kind == 'p' ? primarynum : logicalnum)--;
    treemodel->delPart(part);
    if (part->item)
        part->item->update();
}

void DiskPartition::addpp()
{
    EXTPART *part = chosenpart();
    if (!part || part->kind == 'p')
        return;
    if (primarynum >= 4 || (logicalnum > 0 && primarynum >= 3)) {
        refuse("Too many primary partitions were added!\nPlease delete an existing primary "
               "partition if you want to do this.");
        return;
    }
    takerow(part);
    giverow(part, 'p', 1);
}

void DiskPartition::addld()
{
    EXTPART *part = chosenpart();
    if (!part || part->kind == 'l')
        return;
    if (primarynum >= 4) {
        refuse("If you want to add a logical disk, you are not allowed to add more than 3 primary "
               "partitions.\nPlease delete at least one primary partition in order to do this. ");
        return;
    }
    takerow(part);
    giverow(part, 'l', 1);
}

void DiskPartition::delpart()
{
    if (EXTPART *part = chosenpart())
        takerow(part);
}

void DiskPartition::ondelPartTreeNode()
{
    const QModelIndex index = treeview->currentIndex();
    if (!index.isValid())
        return;
    EXTPART *part = static_cast<PartTreeNode *>(index.internalPointer())->part;
    {
        const QScopedValueRollback<bool> hold(followselection, false);
        if (part->kind == 'e') {
            logicalnum = 0;
            treemodel->delPart(part);
        } else {
            takerow(part);
        }
    }
    // the tree's cursor went to another row, or there is none left
    treeselectionchanged(treeview->selectionModel()->selection(), {});
}

void DiskPartition::onupPartTreeNode()
{
    const QModelIndex index = treeview->currentIndex();
    if (index.isValid())
        treemodel->upRow(index);
}

void DiskPartition::ondownPartTreeNode()
{
    const QModelIndex index = treeview->currentIndex();
    if (index.isValid())
        treemodel->downRow(index);
}
