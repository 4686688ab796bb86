#include "views/parttreenode.h"

#include "plan/systypes.h"
#include "views/partname.h"

PartTreeNode::PartTreeNode(EXTPART *newpart, PartTreeNode *parent)
    : part(newpart), parentnode(parent)
{
}

PartTreeNode::~PartTreeNode()
{
    qDeleteAll(children);
}

void PartTreeNode::appendChild(PartTreeNode *node)
{
    insertChild(node, childCount());
}

void PartTreeNode::insertChild(PartTreeNode *node, int row)
{
    node->parentnode = this;
    children.insert(row, node);
}

PartTreeNode *PartTreeNode::child(int row) const
{
    return children.value(row, nullptr);
}

int PartTreeNode::childCount() const
{
    return static_cast<int>(children.size());
}

QVariant PartTreeNode::data(int column) const
{
    switch (column) {
    case namecolumn:
        return QString(part->name);
    case startcolumn:
        return gbtext(part->start);
    case stopcolumn:
        return gbtext(part->stop);
    case sizecolumn:
        return gbtext(part->size);
    case typecolumn:
        return systypetext(part->systype);
    case activecolumn:
        return part->bootflag != 0 ? "Active" : "Inactive";
    default:
        return {};
    }
}

int PartTreeNode::row() const
{
    return parentnode ? static_cast<int>(parentnode->children.indexOf(this)) : 0;
}

bool PartTreeNode::removeChild(int row)
{
    if (row < 0 || row >= childCount())
        return false;
    delete children.takeAt(row);
    return true;
}

bool PartTreeNode::moveChild(int from, int to)
{
    if (from < 0 || from >= childCount() || to < 0 || to >= childCount())
        return false;
    children.move(from, to);
    return true;
}
