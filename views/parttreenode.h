#pragma once

#include "planner/extpart.h"

#include <QList>
#include <QVariant>

/// A node of the partition tree over a block's record, which it does not own.
///
/// Deleting a node deletes its children first, then gives its block back: the record turns 'u' and
/// green, and its diagram item, if any, is repainted. So a block must outlive its node.
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
    /// Always 6.
    [[nodiscard]] int columnCount() const;
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
