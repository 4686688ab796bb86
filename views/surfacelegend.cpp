#include "views/surfacelegend.h"

#include "views/surfacelayout.h"

#include <QPainter>
#include <QPixmap>

#include <algorithm>

namespace
{

constexpr int entrygap = 14;  // pixels between two entries
constexpr int captiongap = 5; // between square and caption

QFont bold(QFont font)
{
    font.setBold(true);
    return font;
}

} // namespace

SurfaceLegend::SurfaceLegend(QWidget *parent) : QWidget(parent)
{
    setAccessibleName("Legend of the surface map");
}

bool SurfaceLegend::count(const SurfaceData &data)
{
    const auto old = counts;
    counts = {};
    for (const SurfaceCell &cell : data.cells)
        ++counts[surfacekind(cell)];
    const bool wider = most != data.count();
    most = data.count();
    return wider || !std::ranges::equal(
                        old, counts, {}, [](int n) { return n > 0; }, [](int n) { return n > 0; });
}

void SurfaceLegend::setallentries(bool all)
{
    full = all;
    update();
}

QString SurfaceLegend::caption(std::size_t kind) const
{
    return surfacekinds[kind].legend;
}

std::vector<SurfaceLegend::Entry> SurfaceLegend::entries(int width, bool all) const
{
    const QFontMetrics metrics = fontMetrics();
    // the same places whatever the counts are
    const int number = QFontMetrics(bold(font())).horizontalAdvance(QString::number(most));
    const int square = metrics.ascent();
    std::vector<Entry> list;
    QPoint place;
    for (std::size_t kind = 0; kind < surfacekinds.size(); ++kind) {
        if (!all && counts[kind] == 0)
            continue;
        const int length =
            square + captiongap + metrics.horizontalAdvance(caption(kind)) + captiongap + number;
        if (place.x() > 0 && place.x() + length > width)
            place = {0, place.y() + metrics.height() + legendleading};
        list.push_back({kind, place});
        place.rx() += length + entrygap;
    }
    return list;
}

int SurfaceLegend::heightfor(int width, bool all) const
{
    const std::vector<Entry> list = entries(width, all);
    return list.empty() ? 0 : list.back().place.y() + fontMetrics().height() + legendleading;
}

QString SurfaceLegend::words() const
{
    QStringList words;
    for (std::size_t kind = 0; kind < surfacekinds.size(); ++kind) {
        if (counts[kind] > 0)
            words += QString("%1: %2").arg(caption(kind)).arg(counts[kind]);
    }
    return words.join(", ");
}

void SurfaceLegend::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    const QFontMetrics metrics = fontMetrics();
    const double scale = devicePixelRatioF();
    const int side = static_cast<int>(metrics.ascent() * scale);
    for (const Entry &entry : entries(width(), full)) {
        if (entry.place.y() + metrics.height() > height())
            break; // whole lines only
        QPixmap square(side, side);
        square.fill(Qt::transparent);
        {
            QPainter inner(&square);
            paintsurface(inner, surfacekinds[entry.kind], square.rect(), std::max(qRound(scale), 1),
                         palette());
        }
        square.setDevicePixelRatio(scale);
        painter.drawPixmap(entry.place + QPoint(0, 1 + metrics.descent() / 2), square);

        const QPoint base =
            entry.place + QPoint(metrics.ascent() + captiongap, metrics.ascent() + 1);
        painter.setPen(mixedtext(palette(), counts[entry.kind] > 0 ? 1 : 0.75));
        painter.setFont(font());
        painter.drawText(base, caption(entry.kind));
        painter.setFont(bold(font()));
        painter.drawText(base +
                             QPoint(metrics.horizontalAdvance(caption(entry.kind)) + captiongap, 0),
                         QString::number(counts[entry.kind]));
    }
}
