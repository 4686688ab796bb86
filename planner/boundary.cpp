#include "planner/diskpartition.h"

#include "views/partitem.h"
#include "views/parttreemodel.h"
#include "views/parttreenode.h"

#include <QTreeView>

bool DiskPartition::setData(const QModelIndex &index, const QVariant &value, int /*role*/)
{
    if (!index.isValid())
        return false;
    EXTPART *part = static_cast<PartTreeNode *>(index.internalPointer())->part;
    switch (index.column()) {
    case 1:
        return setstart(part, gbtocylinders(value.toDouble(), g));
    case 2:
        return setstop(part, gbtocylinders(value.toDouble(), g));
    case 4:
        part->systype = static_cast<std::uint8_t>(value.toInt());
        return true;
    case 5:
        part->bootflag = static_cast<std::uint8_t>(value.toInt());
        return true;
    default:
        return false;
    }
}

void DiskPartition::boundschanged(EXTPART *part)
{
    part->size = part->stop - part->start + 1;
    part->item->updategeom(widthpersize, itemheight);
    if (part->kind == 'l')
        treemodel->updateextend();
    // size and the extended row change with the edited cell
    treeview->viewport()->update();
}

bool DiskPartition::setstart(EXTPART *part, unsigned long long cylinder)
{
    if (cylinder == part->start)
        return false;
    if (cylinder > part->stop)
        return refuse("partition start can not be larger than partition stop");
    const int pos = partpos(extparts, part);
    if (pos < 0)
        return refuse("can not find the partition");

    if (cylinder > part->start) {
        insertnewpart(part, newpart(part->start, cylinder - 1, 'u'), 1);
    } else {
        int lowest = pos;
        while (lowest > 0 && extparts[lowest - 1]->kind == 'u')
            lowest--;
        if (lowest == pos || cylinder < extparts[lowest]->start)
            return refuse("can not find enough space to allocate the partition for the new start");
        int first = pos - 1;
        while (extparts[first]->start > cylinder)
            first--;
        // the block that holds the new start keeps what lies before it, if anything does
        if (extparts[first]->start < cylinder) {
            extparts[first]->stop = cylinder - 1;
            boundschanged(extparts[first]);
            first++;
        }
        for (int i = first; i < pos; i++)
            deletepart(extparts[first]);
    }
    part->start = cylinder;
    boundschanged(part);
    return true;
}

bool DiskPartition::setstop(EXTPART *part, unsigned long long cylinder)
{
    if (cylinder == part->stop)
        return false;
    if (cylinder < part->start)
        return refuse("partition stop can not be less than partition start");
    const int pos = partpos(extparts, part);
    if (pos < 0)
        return refuse("can not find the partition");

    if (cylinder < part->stop) {
        insertnewpart(part, newpart(cylinder + 1, part->stop, 'u'), 0);
    } else {
        const int end = static_cast<int>(extparts.size()) - 1;
        int highest = pos;
        while (highest < end && extparts[highest + 1]->kind == 'u')
            highest++;
        if (highest == pos || cylinder > extparts[highest]->stop)
            return refuse("can not find enough space to allocate the partition for the new stop");
        int last = pos + 1;
        while (extparts[last]->stop < cylinder)
            last++;
        // the block that holds the new stop keeps what lies behind it, if anything does
        if (extparts[last]->stop > cylinder) {
            extparts[last]->start = cylinder + 1;
            boundschanged(extparts[last]);
            last--;
        }
        for (int i = last; i > pos; i--)
            deletepart(extparts[i]);
    }
    part->stop = cylinder;
    boundschanged(part);
    return true;
}
