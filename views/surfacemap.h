#pragma once

#include "views/surfacetext.h"

#include <QTimer>
#include <QWidget>

class QLabel;
class SpeedCurve;
class SurfaceCells;
class SurfaceLegend;

/// The surface of a disk: the curve of its speed, a cell for each segment, a legend with counts,
/// and a line about one cell: that under the pointer, else the one in work, else the keyboard's.
///
/// `customContextMenuRequested` is emitted for a right click, and for the menu key and Shift+F10 at
/// the keyboard's cell.
class SurfaceMap : public QWidget
{
    Q_OBJECT

public:
    explicit SurfaceMap(QWidget *parent = nullptr);
    ~SurfaceMap() override;

    /// The geometry that cylinders are shown by.
    void setdisk(const geom &disk);
    /// Shows these cells, ascending; the keyboard's cell stays as far as there is one.
    void setcells(std::vector<SurfaceCell> cells);
    /// Replaces one cell; an index out of range does nothing. However often it is called, the map
    /// is painted at most 20 times a second.
    void setcell(int index, const SurfaceCell &cell);
    [[nodiscard]] const std::vector<SurfaceCell> &cells() const { return data.cells; }

    /// The cell that the keys stand on, or -1 before it was first used.
    [[nodiscard]] int currentcell() const;

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

signals:
    /// The keys or the pointer chose another cell.
    void currentchanged(int index);

protected:
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    /// Brings all parts up to date.
    void refresh();
    /// Gives each part its place.
    void arrange();
    /// Writes the line, and shows its cell on the curve.
    void showline();

    SurfaceData data;
    int working = -1;   ///< cell in work as of the last refresh
    bool stale = false; ///< a cell has changed since then
    QTimer pause;       ///< runs while no refresh may be made
    SpeedCurve *curve;
    SurfaceCells *grid;
    SurfaceLegend *legend;
    QLabel *line;
};
