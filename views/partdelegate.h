#pragma once

#include <QItemDelegate>

/// The editors of the partition list: a combo box for every editable column.
class PartDelegate : public QItemDelegate
{
    Q_OBJECT

public:
    PartDelegate(int activecolumn, int typecolumn, QObject *parent = nullptr);

    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                          const QModelIndex &index) const override;
    void setEditorData(QWidget *editor, const QModelIndex &index) const override;
    void setModelData(QWidget *editor, QAbstractItemModel *model,
                      const QModelIndex &index) const override;

    /// Numbers at the right.
    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override;
    /// High enough for an editor.
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem &option,
                                 const QModelIndex &index) const override;
    /// Wide enough for the editor's longest text, as far as the list is.
    void updateEditorGeometry(QWidget *editor, const QStyleOptionViewItem &option,
                              const QModelIndex &index) const override;

    int activecolumn;
    int typecolumn;
};
