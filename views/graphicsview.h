#pragma once

#include "plan/plan.h"

#include <QGraphicsView>

#include <span>

class PartItem;

/// The view of the disk diagram, with its context menu and its keys: Left and Right move the
/// selection from block to block, Shift extends it, Home and End go to the ends, the menu key and
/// Shift+F10 open the menu at the block.
///
/// It paints the blocks itself, in pixels: those narrower than two share their columns, in which
/// damage shows before all else. Ctrl with the wheel, with plus and minus, and with 0 zooms in
/// width, so that the smallest block can be reached.
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
    /// Widens the diagram by `factor`, within one to 16 pixels a cylinder.
    void zoomby(double factor);
    /// Pixels of a cylinder, and where cylinder 0 stands in the viewport; 0 without blocks.
    [[nodiscard]] double pixelspercylinder() const;
    [[nodiscard]] double origin() const { return viewportTransform().dx(); }

    /// No more than its least height: what the page has to spare goes to it by its stretch.
    [[nodiscard]] QSize sizeHint() const override { return {256, minimumHeight()}; }

    Plan *page; ///< null once it is gone

signals:
    /// The view has another size; the items are to be laid out anew before it paints.
    void resized();
    /// The view has been painted anew, perhaps with another scale.
    void painted();

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    bool viewportEvent(QEvent *event) override;

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
    /// A block's rectangle in the viewport.
    [[nodiscard]] QRectF blockrect(const EXTPART *part) const;
    /// The blocks that lie in the viewport.
    [[nodiscard]] std::span<EXTPART *const> visibleblocks() const;
    void paintblocks(QPainter &painter) const;
    void paintselection(QPainter &painter) const;
    void paintfocus(QPainter &painter) const;
    /// Runs the menu for the present selection: false if that has none.
    bool openmenu(const QPoint &globalpos);

    Span lastspan; ///< what the keys selected last
};
