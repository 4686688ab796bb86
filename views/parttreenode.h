#pragma once

#include "plan/extpart.h"

#include <QList>
#include <QVariant>

/// The columns of the partition list.
enum PartColumn {
    namecolumn,
    startcolumn,
    stopcolumn,
    sizecolumn,
    typecolumn,
    activecolumn,
    columncount
};

/// A node of the partition tree over a record, which it does not own.
class PartTreeNode
{
public:
    explicit PartTreeNode(EXTPART *part, PartTreeNode *parent = nullptr);
    PartTreeNode(const PartTreeNode &) = delete;
    PartTreeNode &operator=(const PartTreeNode &) = delete;
    ~PartTreeNode();

    /// Takes over a child as the last one.
    void appendChild(PartTreeNode *node);
    /// Takes over a child at `row`, 0 to `childCount()`.
    void insertChild(PartTreeNode *node, int row);
    /// The child at `row`, null out of range.
    [[nodiscard]] PartTreeNode *child(int row) const;
    [[nodiscard]] int childCount() const;
    [[nodiscard]] int columnCount() const { return columncount; }
    /// The display value of a column.
    [[nodiscard]] QVariant data(int column) const;
    [[nodiscard]] PartTreeNode *parent() const { return parentnode; }
    /// The node's place among its parent's children, 0 at the root.
    [[nodiscard]] int row() const;
    /// Deletes the child at `row`: false out of range.
    bool removeChild(int row);
    /// Moves a child: false if either place is out of range.
    bool moveChild(int from, int to);

    EXTPART *part; ///< the record; not owned

private:
    PartTreeNode *parentnode;
    QList<PartTreeNode *> children; ///< owned
};
