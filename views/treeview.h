#pragma once

#include <QTreeView>

/// The view of the partition list: it highlights whole rows, and Left and Right still reach every
/// cell.
class TreeView : public QTreeView
{
    Q_OBJECT

public:
    explicit TreeView(QWidget *parent) : QTreeView(parent) { setSelectionBehavior(SelectRows); }

    /// No more than its least height: what the page has to spare goes to it by its stretch.
    [[nodiscard]] QSize sizeHint() const override { return {256, minimumHeight()}; }

protected:
    QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
    void focusInEvent(QFocusEvent *event) override;
    // Without the focus a row that follows the diagram is not told to assistive technology: it
    // would be spoken before the block that the user chose.
    void currentChanged(const QModelIndex &current, const QModelIndex &previous) override;
    void selectionChanged(const QItemSelection &selected,
                          const QItemSelection &deselected) override;
};
