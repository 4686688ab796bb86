#pragma once

#include <QTreeView>

/// The view of the partition list: it highlights whole rows, and Left and Right still reach every
/// cell.
class TreeView : public QTreeView
{
    Q_OBJECT

public:
    explicit TreeView(QWidget *parent) : QTreeView(parent) { setSelectionBehavior(SelectRows); }

protected:
    QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
    void focusInEvent(QFocusEvent *event) override;
};
