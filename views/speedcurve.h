#pragma once

#include "views/surfacetext.h"

#include <QWidget>

/// The speed of each segment over the length of the disk: MB/s from 0 up, and GB. A segment without
/// a speed leaves a gap.
class SpeedCurve : public QWidget
{
    Q_OBJECT

public:
    /// `shown` is read whenever the curve is painted.
    explicit SpeedCurve(const SurfaceData *shown, QWidget *parent);

    /// Marks the place of a cell; -1 for none.
    void point(int index);
    /// Slowest, mean and highest speed, as a screen reader says them.
    [[nodiscard]] QString words() const;

signals:
    /// A click stands above this cell.
    void clicked(int index);
    /// The pointer stands above this cell; -1 for none.
    void hovered(int index);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void leaveEvent(QEvent *event) override;

private:
    /// The curve's place and its scales.
    struct Axes {
        QRectF plot;
        double cylinders = 0; ///< of the whole disk
        double top = 0;       ///< MB/s at the upper end; 0 with nothing measured
        double step = 0;      ///< MB/s between two lines
        bool flat = false;    ///< for want of height only the last GB has a number, at the right

        [[nodiscard]] double x(std::uint64_t cylinder) const;
        [[nodiscard]] double y(double speed) const;
    };
    [[nodiscard]] Axes axes() const;
    /// The highest speed that the scale has room for; few that are far above the others, such as
    /// those of a cache, end at its top. 0 with nothing measured.
    [[nodiscard]] double highestshown() const;
    void paintspeeds(QPainter &painter, const Axes &axes) const;
    void paintlength(QPainter &painter, const Axes &axes) const;
    void paintareas(QPainter &painter, const Axes &axes) const;
    void paintcurve(QPainter &painter, const Axes &axes) const;
    [[nodiscard]] QColor colour() const;
    /// The length of the disk as the axis says it.
    [[nodiscard]] QString lengthtext() const;
    [[nodiscard]] int cellat(double x) const;

    const SurfaceData *data;
    int pointed = -1;
};
