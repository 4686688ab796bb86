#include "views/speedcurve.h"

#include "views/diagramruler.h"
#include "views/surfacekind.h"
#include "views/surfacelayout.h"

#include <QMouseEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace
{

constexpr int gutter = 6; // pixels between the plot and a number beside it

} // namespace

SpeedCurve::SpeedCurve(const SurfaceData *shown, QWidget *parent) : QWidget(parent), data(shown)
{
    setAccessibleName("Speed over the disk");
    setMouseTracking(true);
}

void SpeedCurve::point(int index)
{
    if (index == pointed)
        return;
    pointed = index;
    update();
}

QString SpeedCurve::words() const
{
    double low = 0, high = 0, sum = 0;
    int count = 0;
    for (const SurfaceCell &cell : data->cells) {
        if (cell.speed < 0)
            continue;
        low = count > 0 ? std::min(low, cell.speed) : cell.speed;
        high = std::max(high, cell.speed);
        sum += cell.speed;
        ++count;
    }
    if (count == 0)
        return "not measured";
    return QString("%1 to %2, mean of the segments %3")
        .arg(speedtext(low), speedtext(high), speedtext(sum / count));
}

double SpeedCurve::Axes::x(std::uint64_t cylinder) const
{
    return plot.left() + plot.width() * static_cast<double>(cylinder) / cylinders;
}

double SpeedCurve::Axes::y(double speed) const
{
    return plot.bottom() - plot.height() * std::min(speed / top, 1.0);
}

double SpeedCurve::highestshown() const
{
    std::vector<double> speeds;
    for (const SurfaceCell &cell : data->cells) {
        if (cell.speed >= 0)
            speeds.push_back(cell.speed);
    }
    if (speeds.empty())
        return 0;
    const auto most = speeds.begin() + static_cast<std::ptrdiff_t>((speeds.size() - 1) * 49 / 50);
    std::ranges::nth_element(speeds, most);
    const double usual = *most, highest = std::ranges::max(speeds);
    return highest > 1.5 * usual && usual > 0 ? usual : highest;
}

SpeedCurve::Axes SpeedCurve::axes() const
{
    const QFontMetrics metrics = fontMetrics();
    const int line = metrics.height();
    Axes axes;
    const double highest = highestshown();
    if (!data->cells.empty())
        axes.cylinders = static_cast<double>(data->cells.back().stop + 1);
    // half a line above for the highest number
    const double top = line / 2.0;
    axes.flat = height() < 9 * line / 4;
    const double room = std::max(height() - top - (axes.flat ? 2 : line + 3), 1.0);
    if (highest > 0) {
        // a round top close above the curve, then as many of the round steps as have room
        const double fine = scalestep(highest / 5);
        const int steps = static_cast<int>(std::ceil(highest / fine));
        const int most = std::max(static_cast<int>(room / (1.5 * line)), 1);
        int each = 1;
        while (steps % each != 0 || steps / each > most)
            ++each;
        axes.top = steps * fine;
        axes.step = each * fine;
    }
    const int left = metrics.horizontalAdvance(speedtext(axes.top > 0 ? axes.top : 100)) + gutter;
    const int right = axes.flat ? metrics.horizontalAdvance(lengthtext()) + gutter : surfacepadding;
    axes.plot = {static_cast<double>(left), top, std::max(width() - left - right - 1.0, 1.0), room};
    return axes;
}

void SpeedCurve::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const Axes place = axes();
    if (place.cylinders <= 0)
        return;
    if (place.top > 0) {
        paintareas(painter, place);
        paintspeeds(painter, place);
        paintcurve(painter, place);
    } else {
        painter.setPen(mixedtext(palette(), 0.7));
        painter.drawText(place.plot, Qt::AlignHCenter | Qt::AlignTop, "speed: not measured");
    }
    painter.setPen(mixedtext(palette(), 0.45));
    painter.drawLine(place.plot.bottomLeft(), place.plot.bottomRight());
    paintlength(painter, place);
}

void SpeedCurve::paintspeeds(QPainter &painter, const Axes &axes) const
{
    const QFontMetrics metrics = fontMetrics();
    const int lines = static_cast<int>(std::lround(axes.top / axes.step));
    const int decimals = std::max(0, static_cast<int>(-std::floor(std::log10(axes.step))));
    for (int i = 0; i <= lines; ++i) {
        const double y = axes.y(i * axes.step);
        painter.setPen(QPen(mixedtext(palette(), 0.18), 1));
        if (i > 0)
            painter.drawLine(QPointF(axes.plot.left(), y), QPointF(axes.plot.right(), y));
        if (i < lines && (axes.flat || y - axes.plot.top() < metrics.height()))
            continue; // no room below the highest number
        const QString unit = i == lines ? " MB/s" : "";
        const QString text = QString::number(i * axes.step, 'f', i > 0 ? decimals : 0) + unit;
        painter.setPen(mixedtext(palette(), 0.85));
        painter.drawText(QPointF(axes.plot.left() - gutter - metrics.horizontalAdvance(text),
                                 y + metrics.capHeight() / 2.0),
                         text);
    }
}

void SpeedCurve::paintlength(QPainter &painter, const Axes &axes) const
{
    const QFontMetrics metrics = fontMetrics();
    const double total = cylinderstogb(data->cells.back().stop + 1, data->disk);
    if (!(total > 0))
        return;
    const double pixels = axes.plot.width() / total; // a GB
    const double step =
        scalestep(metrics.horizontalAdvance(QString::number(total, 'f', 1) + " GBMM") / pixels);
    const int decimals = std::max(0, static_cast<int>(-std::floor(std::log10(step))));
    const QColor text = mixedtext(palette(), 0.85);
    for (int i = 0; i * step <= total; ++i) {
        const double x = axes.plot.left() + i * step * pixels;
        painter.setPen(mixedtext(palette(), 0.45));
        painter.drawLine(QPointF(x, axes.plot.bottom()),
                         QPointF(x, axes.plot.bottom() + (axes.flat ? -3 : 3)));
        const QString number = QString::number(i * step, 'f', i > 0 ? decimals : 0) + " GB";
        if (axes.flat || x + 3 + metrics.horizontalAdvance(number) > width())
            continue;
        painter.setPen(text);
        painter.drawText(QPointF(x + 3, axes.plot.bottom() + 1 + metrics.ascent()), number);
    }
    if (axes.flat) {
        painter.setPen(text);
        painter.drawText(QPointF(axes.plot.right() + gutter, axes.plot.bottom()), lengthtext());
    }
}

QString SpeedCurve::lengthtext() const
{
    const double total =
        data->cells.empty() ? 0 : cylinderstogb(data->cells.back().stop + 1, data->disk);
    return QString::number(total, 'f', total < 10 ? 1 : 0) + " GB";
}

QColor SpeedCurve::colour() const
{
    return QColor(isdark(palette()) ? 0xFF7FB2FF : 0xFF1F5FB8);
}

void SpeedCurve::paintareas(QPainter &painter, const Axes &axes) const
{
    // no transparency, which would take most of the time that a large window is painted in
    const QColor fill = blended(colour(), palette().color(QPalette::Window), 0.2);
    for (const SurfaceCell &cell : data->cells) {
        if (cell.speed >= 0) {
            painter.fillRect(QRectF(QPointF(axes.x(cell.start), axes.y(cell.speed)),
                                    QPointF(axes.x(cell.stop + 1), axes.plot.bottom())),
                             fill);
        }
    }
    if (data->has(pointed)) {
        const SurfaceCell &cell = data->cells[static_cast<std::size_t>(pointed)];
        const double left = axes.x(cell.start);
        painter.fillRect(QRectF(left, axes.plot.top(), std::max(axes.x(cell.stop + 1) - left, 2.0),
                                axes.plot.height()),
                         mixedtext(palette(), 0.35));
    }
}

void SpeedCurve::paintcurve(QPainter &painter, const Axes &axes) const
{
    // Steps have no slanted lines, so nothing is smoothed: crisp, and several times faster. What
    // joins them is paler, so that a restless stretch keeps its outline.
    const double width = std::max(std::round(devicePixelRatioF()), 1.0) / devicePixelRatioF();
    std::vector<QLineF> joints, steps;
    for (const SurfaceCell &cell : data->cells) {
        if (cell.speed < 0)
            continue;
        const double y = axes.y(cell.speed);
        const QPointF left(axes.x(cell.start), y);
        if (!steps.empty() && steps.back().x2() == left.x())
            joints.emplace_back(steps.back().p2(), left);
        steps.emplace_back(left, QPointF(axes.x(cell.stop + 1), y));
    }
    painter.setPen(QPen(blended(colour(), palette().color(QPalette::Window), 0.6), width));
    painter.drawLines(joints.data(), static_cast<int>(joints.size()));
    painter.setPen(QPen(colour(), width));
    painter.drawLines(steps.data(), static_cast<int>(steps.size()));
}

int SpeedCurve::cellat(double x) const
{
    const Axes place = axes();
    const auto found =
        std::find_if(data->cells.begin(), data->cells.end(),
                     [&](const SurfaceCell &cell) { return x < place.x(cell.stop + 1); });
    return x < place.plot.left() || found == data->cells.end()
               ? -1
               : static_cast<int>(found - data->cells.begin());
}

void SpeedCurve::mousePressEvent(QMouseEvent *event)
{
    emit clicked(cellat(event->position().x()));
}

void SpeedCurve::mouseMoveEvent(QMouseEvent *event)
{
    emit hovered(cellat(event->position().x()));
}

void SpeedCurve::leaveEvent(QEvent *event)
{
    QWidget::leaveEvent(event);
    emit hovered(-1);
}
