#pragma once

#include "views/surfacelayout.h"
#include "views/surfacetext.h"

#include <QPixmap>
#include <QWidget>

/// The cells of the surface map. Left, Right, Up, Down, Home, End, Page Up and Page Down move the
/// keyboard's cell, a click puts it under the pointer.
class SurfaceCells : public QWidget
{
    Q_OBJECT

public:
    /// `shown` is read whenever the cells are painted.
    explicit SurfaceCells(const SurfaceData *shown, QWidget *parent);

    /// The number of cells, or the geometry, has changed.
    void reset();
    [[nodiscard]] const SurfaceData &surface() const { return *data; }
    [[nodiscard]] int current() const { return currentindex; }
    [[nodiscard]] int hovered() const { return hoveredindex; }
    /// Puts the keyboard's cell; an index out of range does nothing.
    void select(int index);
    /// Marks a cell as if the pointer were on it; -1 for none.
    void hover(int index);
    /// Asks for the context menu at the keyboard's cell.
    void requestmenu();
    /// A cell's place in the widget.
    [[nodiscard]] QRect cellrect(int index) const;
    /// The cell at a point of the widget, or -1.
    [[nodiscard]] int cellat(const QPointF &point) const;

signals:
    void currentchanged(int index);
    /// Another cell is under the pointer; -1 for none.
    void hoverchanged(int index);
    void focuschanged();
    /// The context menu is wanted at this point of the widget.
    void menurequested(const QPoint &point);

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    /// Lays the cells out for the size and scale of now, unless that is done.
    void layout() const;
    /// A frame around a cell; `strong` for the keyboard's.
    void paintframe(QPainter &painter, int index, bool strong) const;

    const SurfaceData *data;
    int currentindex = -1;
    int hoveredindex = -1;
    mutable SurfaceGrid grid; ///< in device pixels
    mutable double scale = 0; ///< device pixels of one unit of the widget; 0: not laid out
    mutable QPixmap tiles;    ///< one painted cell of each kind, side by side
};
