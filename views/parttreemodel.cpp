#include "views/parttreemodel.h"

#include "core/geom.h"
#include "views/partname.h"

#include <algorithm>

namespace
{

constexpr const char *headers[columncount] = {"Partition", "Start(GB)", "Stop(GB)",
                                              "Size(GB)",  "Type",      "Active/Inactive"};

EXTPART *newroot()
{
    auto *part = new EXTPART;
    part->kind = 'r';
    return part;
}

} // namespace

PartTreeModel::PartTreeModel(QObject *parent)
    : QAbstractItemModel(parent), rootnode(nullptr), rootpart(newroot()),
      page(dynamic_cast<Plan *>(parent)),
      editor([this](const QModelIndex &index, const QVariant &value, int /*role*/) {
          return edit(index, value).changed;
      })
{
    rootnode = new PartTreeNode(rootpart);
    if (!page) {
        own = std::make_unique<Plan>();
        page = own.get();
    }
    page->watch(this);
}

PartTreeModel::~PartTreeModel()
{
    if (page)
        page->unwatch(this);
    delete rootnode;
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

PartTreeNode *PartTreeModel::parentof(Level level) const
{
    return level == Level::top ? rootnode : extendnode;
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

int PartTreeModel::columnCount(const QModelIndex & /*parent*/) const
{
    return rootnode->columnCount();
}

QVariant PartTreeModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::EditRole))
        return {};
    const PartTreeNode *node = nodeof(index);
    if (role == Qt::EditRole && index.column() == typecolumn)
        return static_cast<int>(static_cast<std::int8_t>(node->part->systype));
    if (role == Qt::EditRole && index.column() == activecolumn)
        return static_cast<unsigned>(node->part->bootflag);
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
    if (!editor(index, value, role))
        return false;
    emit dataChanged(index, index);
    if (isbound) {
        const QModelIndex size = index.siblingAtColumn(sizecolumn);
        emit dataChanged(size, size);
    }
    return true;
}

Outcome PartTreeModel::edit(const QModelIndex &index, const QVariant &value)
{
    if (!index.isValid() || !page)
        return {};
    EXTPART *part = nodeof(index)->part;
    switch (index.column()) {
    case startcolumn:
    case stopcolumn: {
        const std::optional<double> gb = readgb(value.toString());
        if (!gb)
            return {false, QString("\"%1\" is not a number of GB.").arg(value.toString())};
        return index.column() == startcolumn ? page->setstart(part, gbtocylinders(*gb, g))
                                             : page->setstop(part, gbtocylinders(*gb, g));
    }
    case typecolumn:
        return page->setsystype(part, static_cast<std::uint8_t>(value.toInt()));
    case activecolumn:
        return page->setbootflag(part, static_cast<std::uint8_t>(value.toInt()));
    default:
        return {};
    }
}

QVariant PartTreeModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 ||
        section >= columncount)
        return {};
    return QString(headers[section]);
}

Qt::ItemFlags PartTreeModel::flags(const QModelIndex &index) const
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    const int column = index.column();
    const bool iseditable =
        column == typecolumn || column == activecolumn ||
        ((column == startcolumn || column == stopcolumn) && nodeof(index) != extendnode);
    const Qt::ItemFlags result = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    return iseditable ? result | Qt::ItemIsEditable : result;
}

bool PartTreeModel::removeRows(int row, int count, const QModelIndex &parent)
{
    if (row < 0 || count < 1 || count > rowCount(parent) - row)
        return false;
    std::vector<EXTPART *> records;
    for (int i = row; i < row + count; ++i)
        records.push_back(nodeof(parent)->child(i)->part);
    // not by place: the last logical disk takes the extended row along
    return std::all_of(records.begin(), records.end(),
                       [this](EXTPART *part) { return page->removerow(part); });
}

bool PartTreeModel::step(const QModelIndex &index, int by)
{
    return index.isValid() && page->moverow(nodeof(index)->part, by);
}

bool PartTreeModel::upRow(const QModelIndex &index)
{
    return step(index, -1);
}

bool PartTreeModel::downRow(const QModelIndex &index)
{
    return step(index, 1);
}

QModelIndex PartTreeModel::findpart(const EXTPART *part) const
{
    for (const PartTreeNode *parent : {rootnode, extendnode}) {
        for (int row = 0; parent && row < parent->childCount(); ++row) {
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

QString PartTreeModel::rowname(const QModelIndex &index) const
{
    if (!index.isValid())
        return {};
    const EXTPART *part = nodeof(index)->part;
    if (part == extendpart)
        return part->name;
    int number = 1;
    for (int row = 0; row < index.row(); ++row)
        number += nodeof(index.parent())->child(row)->part->kind == part->kind ? 1 : 0;
    return QString("%1 %2").arg(part->name).arg(number);
}

unsigned long long PartTreeModel::getprevpartstop(const QModelIndex &index, bool &found) const
{
    const EXTPART *part = index.isValid() ? page->neighbourbefore(nodeof(index)->part) : nullptr;
    found = part != nullptr;
    return part ? part->stop : 0;
}

unsigned long long PartTreeModel::getnextpartstart(const QModelIndex &index, bool &found) const
{
    const EXTPART *part = index.isValid() ? page->neighbourbehind(nodeof(index)->part) : nullptr;
    found = part != nullptr;
    return part ? part->start : 0;
}

void PartTreeModel::clearnodes()
{
    delete rootnode;
    rootnode = new PartTreeNode(rootpart);
    extendnode = nullptr;
    extendpart = nullptr;
    extendsize = 0;
}

void PartTreeModel::addnode(Level level, int row, EXTPART *part)
{
    auto *node = new PartTreeNode(part);
    if (part == page->extendrow()) {
        extendnode = node;
        extendpart = part;
    }
    parentof(level)->insertChild(node, row);
    extendsize = page->logicalsize();
}

void PartTreeModel::planclears()
{
    beginResetModel();
    clearnodes();
    endResetModel();
}

void PartTreeModel::planfilled()
{
    beginResetModel();
    clearnodes();
    for (const Level level : {Level::top, Level::logical}) {
        for (EXTPART *part : page->rows(level))
            addnode(level, parentof(level)->childCount(), part);
    }
    endResetModel();
}

void PartTreeModel::rowinserted(Level level, int row, EXTPART *part)
{
    beginInsertRows(indexof(parentof(level)), row, row);
    addnode(level, row, part);
    endInsertRows();
}

void PartTreeModel::rowremoved(Level level, int row)
{
    PartTreeNode *node = parentof(level);
    beginRemoveRows(indexof(node), row, row);
    if (node->child(row) == extendnode) {
        extendnode = nullptr;
        extendpart = nullptr;
    }
    node->removeChild(row);
    extendsize = extendpart ? page->logicalsize() : 0;
    endRemoveRows();
}

void PartTreeModel::rowmoved(Level level, int from, int to)
{
    PartTreeNode *node = parentof(level);
    const QModelIndex parent = indexof(node);
    // The destination is counted before the row is taken out.
    beginMoveRows(parent, from, from, parent, to > from ? to + 1 : to);
    node->moveChild(from, to);
    endMoveRows();
}

void PartTreeModel::extendchanged()
{
    extendsize = page->logicalsize();
    emit dataChanged(indexof(extendnode, startcolumn), indexof(extendnode, sizecolumn));
}

void PartTreeModel::plangone()
{
    planclears();
    page = nullptr;
}
