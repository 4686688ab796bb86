#pragma once

#include "plan/plan.h"

#include <QGraphicsView>

class PartItem;

/// The view of the disk diagram, with its context menu and its keys: Left and Right move the
/// selection from block to block, Shift extends it, Home and End go to the ends, the menu key and
/// Shift+F10 open the menu at the block.
///
/// The selection itself belongs to the scene and is changed by mouse, tree and operations too, so
/// the keys always start from what is selected. With nothing selected the first key shows where
/// they stood last.
class GraphicsView : public QGraphicsView, public PlanWatcher
{
    Q_OBJECT

public:
    /// `planner` is the page, and the plan to show.
    explicit GraphicsView(QWidget *planner);
    ~GraphicsView() override;

    /// The selected blocks in disk order; a scene's own order says nothing.
    [[nodiscard]] QList<EXTPART *> selectedparts() const;

    /// Index of the block that the keys stand on, or -1 with nothing selected.
    [[nodiscard]] int currentblock() const;
    /// Selects one block and lets the keys stand on it; an index out of range does nothing.
    void selectblock(int index);
    /// Opens the context menu at the current block, as the menu key does.
    void openmenuatblock();

    Plan *page; ///< null once it is gone

signals:
    /// The view has another size; the items are to be laid out anew before it paints.
    void resized();

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void drawForeground(QPainter *painter, const QRectF &rect) override;

private:
    void plangone() override { page = nullptr; }

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
