#include "views/treeview.h"

QModelIndex TreeView::moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers)
{
    // By rows, the base class would only scroll on Left and Right.
    setSelectionBehavior(SelectItems);
    const QModelIndex index = QTreeView::moveCursor(action, modifiers);
    setSelectionBehavior(SelectRows);
    return index;
}

void TreeView::focusInEvent(QFocusEvent *event)
{
    QTreeView::focusInEvent(event);
    // The base class makes a first row current without showing it as such.
    if (currentIndex().isValid() && !selectionModel()->isSelected(currentIndex()))
        setCurrentIndex(currentIndex());
}

void TreeView::currentChanged(const QModelIndex &current, const QModelIndex &previous)
{
    if (hasFocus())
        QTreeView::currentChanged(current, previous);
    else
        // QTreeView's own would make a screen reader speak
        // NOLINTNEXTLINE(bugprone-parent-virtual-call)
        QAbstractItemView::currentChanged(current, previous);
}

void TreeView::selectionChanged(const QItemSelection &selected, const QItemSelection &deselected)
{
    if (hasFocus())
        QTreeView::selectionChanged(selected, deselected);
    else
        // QTreeView's own would make a screen reader speak
        // NOLINTNEXTLINE(bugprone-parent-virtual-call)
        QAbstractItemView::selectionChanged(selected, deselected);
}
