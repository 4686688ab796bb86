#include "views/parttreemodel.h"

#include "planner/diskpartition.h"
#include "views/partitem.h"

#include <algorithm>
#include <cstring>

namespace
{
enum Column { startcolumn = 1, stopcolumn = 2, sizecolumn = 3, typecolumn = 4, activecolumn = 5 };

constexpr const char *headers[] = {"Partition", "Start(GB)", "Stop(GB)",
                                   "Size(GB)",  "Type",      "Active/Inactive"};

EXTPART *newroot()
{
    auto *part = new EXTPART;
    part->kind = 'r';
    return part;
}

EXTPART *newextend()
{
    auto *part = new EXTPART;
    std::strcpy(part->name, "Primary Extended");
    part->kind = 'e';
    part->systype = 0x0F;
    return part;
}
} // namespace

PartTreeModel::PartTreeModel(QObject *parent)
    : QAbstractItemModel(parent), rootnode(nullptr), rootpart(newroot()),
      page(qobject_cast<DiskPartition *>(parent))
{
    rootnode = new PartTreeNode(rootpart);
}

PartTreeModel::~PartTreeModel()
{
    // Nodes write to their records when they go.
    delete rootnode;
    delete extendpart;
    delete rootpart;
}

PartTreeNode *PartTreeModel::nodeof(const QModelIndex &index) const
{
    return index.isValid() ? static_cast<PartTreeNode *>(index.internalPointer()) : rootnode;
}

QModelIndex PartTreeModel::indexof(PartTreeNode *node, int column) const
{
    return node == rootnode ? QModelIndex() : createIndex(node->row(), column, node);
}

QModelIndex PartTreeModel::index(int row, int column, const QModelIndex &parent) const
{
    if (!hasIndex(row, column, parent))
        return {};
    return createIndex(row, column, nodeof(parent)->child(row));
}

QModelIndex PartTreeModel::parent(const QModelIndex &index) const
{
    return index.isValid() ? indexof(nodeof(index)->parent()) : QModelIndex();
}

int PartTreeModel::rowCount(const QModelIndex &parent) const
{
    return parent.column() > 0 ? 0 : nodeof(parent)->childCount();
}

int PartTreeModel::columnCount(const QModelIndex &) const
{
    return rootnode->columnCount();
}

QVariant PartTreeModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::EditRole))
        return {};
    const PartTreeNode *node = nodeof(index);
    if (role == Qt::EditRole && index.column() == typecolumn)
        return int(std::int8_t(node->part->systype));
    if (role == Qt::EditRole && index.column() == activecolumn)
        return uint(node->part->bootflag);
    return node->data(index.column());
}

bool PartTreeModel::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!index.isValid() || role != Qt::EditRole || !page)
        return false;
    const bool isbound = index.column() == startcolumn || index.column() == stopcolumn;
    // A text that was not touched must not move a boundary by its own rounding.
    if (isbound && value.toString() == data(index, Qt::DisplayRole).toString())
        return false;
    if (!page->setData(index, value, role))
        return false;
    emit dataChanged(index, index);
    if (isbound) {
        const QModelIndex size = index.siblingAtColumn(sizecolumn);
        emit dataChanged(size, size);
    }
    return true;
}

QVariant PartTreeModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 ||
        section >= columnCount())
        return {};
    return QString::fromLatin1(headers[section]);
}

Qt::ItemFlags PartTreeModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    const int column = index.column();
    const bool iseditable =
        column == typecolumn || column == activecolumn ||
        ((column == startcolumn || column == stopcolumn) && nodeof(index) != extendnode);
    Qt::ItemFlags result = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    return iseditable ? result | Qt::ItemIsEditable : result;
}

bool PartTreeModel::removeRows(int row, int count, const QModelIndex &parent)
{
    if (row < 0 || count < 1 || count > rowCount(parent) - row)
        return false;
    PartTreeNode *node = nodeof(parent);
    beginRemoveRows(parent, row, row + count - 1);
    for (int i = 0; i < count; i++) {
        const bool isextend = node->child(row) == extendnode;
        node->removeChild(row);
        if (isextend)
            dropextend();
    }
    const bool changed = followchildren();
    endRemoveRows();
    if (extendnode && extendnode->childCount() == 0)
        return removeRows(extendnode->row(), 1, {});
    if (changed)
        tellextendchanged();
    return true;
}

void PartTreeModel::insertnode(PartTreeNode *parent, PartTreeNode *node, int sorted)
{
    // Most come in disk order, and need no search among thousands.
    const bool islast = parent == extendnode && node->part->start >= laststart;
    int row = sorted && !islast ? 0 : parent->childCount();
    while (row < parent->childCount() && parent->child(row)->part->start <= node->part->start)
        row++;
    beginInsertRows(indexof(parent), row, row);
    parent->insertChild(node, row);
    endInsertRows();
}

void PartTreeModel::addpart(EXTPART *part, int sorted)
{
    if (part->kind != 'p' && part->kind != 'l')
        return;
    part->systype = 7;
    if (part->kind == 'p') {
        insertnode(rootnode, new PartTreeNode(part), sorted);
        return;
    }
    if (!extendnode) {
        extendpart = newextend();
        extendpart->start = part->start;
        extendpart->stop = part->stop;
        extendpart->size = part->size;
        extendnode = new PartTreeNode(extendpart);
        insertnode(rootnode, extendnode, sorted);
    }
    insertnode(extendnode, new PartTreeNode(part), sorted);
    // The others are as they were.
    extendsize += part->size;
    laststart = std::max(laststart, part->start);
    if (followends())
        tellextendchanged();
    if (!sorted)
        return;
    // The entry itself ends the search, so it can only move up.
    int target = 0;
    while (rootnode->child(target)->part->start < extendpart->start)
        target++;
    const int present = extendnode->row();
    if (target == present)
        return;
    beginMoveRows({}, present, present, {}, target);
    rootnode->moveChild(present, target);
    endMoveRows();
}

bool PartTreeModel::delPart(EXTPART *part)
{
    const QModelIndex index = findpart(part);
    if (!index.isValid())
        return false;
    // The extended entry's record does not outlive its row.
    PartItem *item = part->item;
    const bool removed = removeRows(index.row(), 1, index.parent());
    if (item)
        item->update();
    return removed;
}

bool PartTreeModel::moverow(const QModelIndex &index, int to)
{
    PartTreeNode *parent = nodeof(index)->parent();
    const int from = index.row();
    const QModelIndex parentindex = indexof(parent);
    // The destination is counted before the row is taken out.
    beginMoveRows(parentindex, from, from, parentindex, to > from ? to + 1 : to);
    parent->moveChild(from, to);
    const bool changed = followchildren();
    endMoveRows();
    if (changed)
        tellextendchanged();
    return true;
}

bool PartTreeModel::upRow(const QModelIndex &index)
{
    return index.isValid() && index.row() > 0 && moverow(index, index.row() - 1);
}

bool PartTreeModel::downRow(const QModelIndex &index)
{
    return index.isValid() && index.row() + 1 < nodeof(index)->parent()->childCount() &&
           moverow(index, index.row() + 1);
}

QModelIndex PartTreeModel::findpart(const EXTPART *part) const
{
    for (const PartTreeNode *parent : {rootnode, extendnode}) {
        for (int row = 0; parent && row < parent->childCount(); row++) {
            if (parent->child(row)->part == part)
                return createIndex(row, 0, parent->child(row));
        }
    }
    return {};
}

QModelIndex PartTreeModel::extendindex() const
{
    return extendnode ? indexof(extendnode) : QModelIndex();
}

void PartTreeModel::updateextend()
{
    if (followchildren())
        tellextendchanged();
}

bool PartTreeModel::followchildren()
{
    extendsize = 0;
    laststart = 0;
    if (!extendnode)
        return false;
    for (int row = 0; row < extendnode->childCount(); row++) {
        extendsize += extendnode->child(row)->part->size;
        laststart = std::max(laststart, extendnode->child(row)->part->start);
    }
    return followends();
}

bool PartTreeModel::followends()
{
    const int count = extendnode->childCount();
    const std::uint64_t start = count ? extendnode->child(0)->part->start : 0;
    const std::uint64_t stop = count ? extendnode->child(count - 1)->part->stop : 0;
    if (extendpart->start == start && extendpart->stop == stop && extendpart->size == extendsize)
        return false;
    extendpart->start = start;
    extendpart->stop = stop;
    extendpart->size = extendsize;
    return true;
}

void PartTreeModel::tellextendchanged()
{
    emit dataChanged(indexof(extendnode, startcolumn), indexof(extendnode, sizecolumn));
}

void PartTreeModel::dropextend()
{
    delete extendpart;
    extendpart = nullptr;
    extendnode = nullptr;
    extendsize = 0;
    laststart = 0;
}

std::vector<EXTPART> PartTreeModel::getallparts() const
{
    std::vector<EXTPART> parts;
    for (const PartTreeNode *parent : {rootnode, extendnode}) {
        for (int row = 0; parent && row < parent->childCount(); row++)
            parts.push_back(*parent->child(row)->part);
    }
    return parts;
}

void PartTreeModel::clearModelData()
{
    beginResetModel();
    delete rootnode;
    dropextend();
    delete rootpart;
    rootpart = newroot();
    rootnode = new PartTreeNode(rootpart);
    endResetModel();
}

unsigned long long PartTreeModel::getprevpartstop(const QModelIndex &index, bool &found) const
{
    found = false;
    if (!page || !index.isValid())
        return 0;
    for (int i = page->partpos(page->extparts, nodeof(index)->part) - 1; i >= 0; i--) {
        if (page->extparts[i]->kind != 'u') {
            found = true;
            return page->extparts[i]->stop;
        }
    }
    return 0;
}

unsigned long long PartTreeModel::getnextpartstart(const QModelIndex &index, bool &found) const
{
    found = false;
    if (!page || !index.isValid())
        return 0;
    const int pos = page->partpos(page->extparts, nodeof(index)->part);
    for (int i = pos + 1; pos >= 0 && i < page->extparts.size(); i++) {
        if (page->extparts[i]->kind != 'u') {
            found = true;
            return page->extparts[i]->start;
        }
    }
    return 0;
}
