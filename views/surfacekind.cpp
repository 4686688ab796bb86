#include "views/surfacekind.h"

#include "views/blockpaint.h"

#include <QPainter>
#include <QPalette>

#include <algorithm>

namespace
{

// the rows of `surfacekinds`
enum Row : std::size_t {
    bad,
    margin,
    slow,
    above,
    below500,
    below150,
    below50,
    untimed,
    working,
    untested
};

} // namespace

// The worst first, so that a legend without room for all loses the least. From one class to the
// next the fill also changes in lightness, and a mark counts the steps.
const std::array<SurfaceKind, 10> surfacekinds = {{
    {"bad", "bad", 0xFF000000, SurfaceMark::hatch},
    {"margin", "margin", 0xFFA8A0B4, SurfaceMark::specks},
    {"slow", "slow", 0xFFB3261E, SurfaceMark::lines},
    {"good", "\u2265 500 ms", 0xFFDD6B10, SurfaceMark::threebars},
    {"good", "< 500 ms", 0xFFF6DC4E, SurfaceMark::twobars},
    {"good", "< 150 ms", 0xFF74C365, SurfaceMark::onebar},
    {"good", "< 50 ms", 0xFF1E8A50, SurfaceMark::none},
    {"good", "not timed", 0xFF8CB89E, SurfaceMark::dot},
    {"in work", "in work", 0xFF2F6FDE, SurfaceMark::core},
    {"not tested", "not tested", 0x00000000, SurfaceMark::hollow},
}};

std::size_t surfacekind(const SurfaceCell &cell)
{
    switch (cell.state) {
    case SurfaceCell::State::good:
        break;
    case SurfaceCell::State::slow:
        return slow;
    case SurfaceCell::State::bad:
        return bad;
    case SurfaceCell::State::margin:
        return margin;
    case SurfaceCell::State::working:
        return working;
    case SurfaceCell::State::untested:
        return untested;
    }
    switch (latencyclass(cell.slowest)) {
    case LatencyClass::unknown:
        break;
    case LatencyClass::below50:
        return below50;
    case LatencyClass::below150:
        return below150;
    case LatencyClass::below500:
        return below500;
    case LatencyClass::above:
        return above;
    }
    return untimed;
}

bool isdark(const QPalette &palette)
{
    return palette.color(QPalette::Window).lightness() < 128;
}

QColor blended(const QColor &over, const QColor &under, double share)
{
    const auto mix = [share](int one, int other) {
        return static_cast<int>(share * one + (1 - share) * other);
    };
    return {mix(over.red(), under.red()), mix(over.green(), under.green()),
            mix(over.blue(), under.blue())};
}

QColor mixedtext(const QPalette &palette, double share)
{
    return blended(palette.color(QPalette::WindowText), palette.color(QPalette::Window), share);
}

namespace
{

void paintbars(QPainter &painter, int bars, const QRect &where, int pixel)
{
    const int width = std::max(pixel, where.width() / 10);
    const int height = std::max(where.height() / 2, pixel);
    const int step = 2 * width;
    const int left = where.left() + (where.width() - (step * bars - width)) / 2;
    for (int i = 0; i < bars; ++i) {
        painter.fillRect(left + i * step, where.top() + (where.height() - height + 1) / 2, width,
                         height, QColor(0, 0, 0, 215));
    }
}

} // namespace

void paintsurface(QPainter &painter, const SurfaceKind &kind, const QRect &where, int pixel,
                  const QPalette &palette)
{
    const bool dark = isdark(palette);
    const QColor fill = QColor::fromRgba(kind.fill);
    const int size = std::min(where.width(), where.height());
    const auto frame = [&](const QColor &colour) {
        if (size < 4 * pixel)
            return;
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(colour, pixel, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
        const int half = pixel / 2;
        painter.drawRect(where.adjusted(half, half, half - pixel, half - pixel));
    };
    const auto middle = [&](int part) {
        QRect square(0, 0, std::max(part, pixel), std::max(part, pixel));
        square.moveCenter(where.center());
        return square;
    };
    if (kind.mark == SurfaceMark::hollow) {
        painter.fillRect(where, mixedtext(palette, dark ? 0.14 : 0.06));
        frame(mixedtext(palette, 0.35));
        return;
    }
    painter.fillRect(where, fill);
    switch (kind.mark) {
    case SurfaceMark::onebar:
        paintbars(painter, 1, where, pixel);
        break;
    case SurfaceMark::twobars:
        paintbars(painter, 2, where, pixel);
        break;
    case SurfaceMark::threebars:
        paintbars(painter, 3, where, pixel);
        break;
    case SurfaceMark::dot:
        painter.fillRect(middle(size / 4), QColor(0, 0, 0, 170));
        break;
    case SurfaceMark::core:
        painter.fillRect(middle(size / 2), Qt::white);
        break;
    case SurfaceMark::lines:
        for (int y = where.top() + pixel; y <= where.bottom() - pixel; y += 3 * pixel)
            painter.fillRect(where.left(), y, where.width(), pixel, QColor(255, 255, 255, 200));
        break;
    case SurfaceMark::specks:
        for (int y = where.top() + pixel, row = 0; y <= where.bottom(); y += 2 * pixel, ++row) {
            for (int x = where.left() + pixel * (1 + row % 2 * 2); x <= where.right();
                 x += 4 * pixel)
                painter.fillRect(x, y, pixel, pixel, Qt::black);
        }
        break;
    case SurfaceMark::hatch: {
        QBrush hatch = badpattern();
        hatch.setTransform(QTransform::fromScale(pixel, pixel));
        painter.setBrushOrigin(where.topLeft());
        painter.fillRect(where, hatch);
        break;
    }
    case SurfaceMark::none:
    case SurfaceMark::hollow:
        break;
    }
    // black would not end anywhere on a dark page, nor yellow on a light one
    if (kind.mark == SurfaceMark::hatch)
        frame(dark ? QColor(Qt::gray) : fill);
    else
        frame(dark ? fill.darker(115) : fill.darker(150));
}
