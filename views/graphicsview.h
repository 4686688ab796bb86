#pragma once

#include <QGraphicsView>

class DiskPartition;
class PartItem;

/// The view of the disk diagram, with its context menu and its keys: Left and Right move the
/// selection from block to block, Shift extends it, Home and End go to the ends, the menu key and
/// Shift+F10 open the menu at the block.
///
/// The selection itself belongs to the scene and is changed by mouse, tree and operations too, so
/// the keys always start from what is selected. With nothing selected the first key shows where
/// they stood last.
class GraphicsView : public QGraphicsView
{
    Q_OBJECT

public:
    explicit GraphicsView(DiskPartition *planner);

    /// Index of the block that the keys stand on, or -1 with nothing selected.
    [[nodiscard]] int currentblock() const;
    /// Selects one block and lets the keys stand on it; an index out of range does nothing.
    void selectblock(int index);
    /// Opens the context menu at the current block, as the menu key does.
    void openmenuatblock();

    DiskPartition *page;

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void drawForeground(QPainter *painter, const QRectF &rect) override;

private:
    /// The two ends of a selection made by keys; -1 with nothing selected.
    struct Span {
        int anchor = -1;  ///< where it began
        int current = -1; ///< where the keys stand
    };

    [[nodiscard]] Span selectedspan() const;
    void selectspan(Span span);
    [[nodiscard]] PartItem *blockitem(int index) const;
    /// Runs the menu for the present selection: false if that has none.
    bool openmenu(const QPoint &globalpos);

    Span lastspan; ///< what the keys selected last
};
