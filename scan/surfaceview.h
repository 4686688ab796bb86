#pragma once

#include "scan/scanfigures.h"

#include <QElapsedTimer>
#include <QTimer>
#include <QWidget>

class QLabel;
class Scan;
class SurfaceMap;

/// The lower part of the scan page: the surface of the disk, the figures beside it, a line below.
/// It lies over the page's margins, from the lowest control to the edges.
class SurfaceView : public QWidget
{
    Q_OBJECT

public:
    /// Shows `source` on `page`, below its control `lowest`.
    SurfaceView(const Scan &source, QWidget *page, QWidget *lowest);

    /// A run begins: the clocks start, and the figures follow it.
    void beginrun();
    /// While a test is in progress, its figures are looked at between two segments too. At other
    /// times disk work may change the scan.
    void settesting(bool on);
    /// The run is over; its figures stay.
    void endrun();
    /// Forgets the figures of a run: another disk or result shows now.
    void forgetrun();
    /// Shows all that the scan knows now.
    void showall();
    /// Shows segment `index`, which was tested, and the one in work.
    void showsegment(int index);

    /// The height that it needs at least, in pixels.
    [[nodiscard]] int leastheight() const { return minimumSizeHint().height(); }
    /// The height that shows all figures of a run, the curve and the verdict, in pixels.
    [[nodiscard]] int fullheight() const;

    SurfaceMap *map;     ///< the surface
    QLabel *figures;     ///< beside it
    QLabel *verdictline; ///< one line on a complete result

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void arrange();
    void showfigures(const std::vector<SurfaceCell> &cells);

    const Scan &scan;
    QWidget *above;
    QTimer looks;           ///< while a run is on
    QElapsedTimer begun;    ///< of the run
    QElapsedTimer shown;    ///< since the figures were last shown
    QElapsedTimer lastgood; ///< since `goodreads` last changed
    std::uint64_t goodreads = 0;
    bool ison = false;
    bool testing = false;
    double elapsed = -1; ///< seconds of the run; negative: none
};
