#include "views/parttreenode.h"

#include "views/partitem.h"
#include "views/partname.h"
#include "views/systypes.h"

PartTreeNode::PartTreeNode(EXTPART *newpart, PartTreeNode *parent)
    : part(newpart), parentnode(parent)
{
}

PartTreeNode::~PartTreeNode()
{
    qDeleteAll(children);
    setkind(*part, 'u');
    if (part->item)
        part->item->update();
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
    return int(children.size());
}

int PartTreeNode::columnCount() const
{
    return 6;
}

QVariant PartTreeNode::data(int column) const
{
    switch (column) {
    case 0:
        return QString::fromLatin1(part->name);
    case 1:
        return gbtext(part->start);
    case 2:
        return gbtext(part->stop);
    case 3:
        return gbtext(part->size);
    case 4:
        return systypetext(part->systype);
    case 5:
        return part->bootflag != 0 ? QStringLiteral("Active") : QStringLiteral("Inactive");
    default:
        return {};
    }
}

int PartTreeNode::row() const
{
    return parentnode ? int(parentnode->children.indexOf(const_cast<PartTreeNode *>(this))) : 0;
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
