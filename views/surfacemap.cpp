#include "views/surfacemap.h"

#include "views/speedcurve.h"
#include "views/surfaceaccessible.h"
#include "views/surfacecells.h"
#include "views/surfacelegend.h"

#include <QContextMenuEvent>
#include <QLabel>

#include <algorithm>

namespace
{

constexpr int pausemilliseconds = 50; // from one refresh to the next

/// Texts in as few lines as the width allows, at most `most`; what is left over is cut off.
QString folded(const QStringList &texts, const QFontMetrics &metrics, int width, int most)
{
    QStringList lines;
    for (const QString &text : texts) {
        const QString joined = lines.isEmpty() ? text : lines.last() + ", " + text;
        const bool fits = metrics.horizontalAdvance(joined) <= width;
        if (lines.isEmpty() || (!fits && lines.size() < most))
            lines += text;
        else
            lines.last() = joined;
    }
    for (QString &line : lines)
        line = metrics.elidedText(line, Qt::ElideRight, width);
    return lines.join('\n');
}

} // namespace

SurfaceMap::SurfaceMap(QWidget *parent) : QWidget(parent)
{
    installsurfaceaccessibility(); // before there is a part that could be asked for
    curve = new SpeedCurve(&data, this);
    grid = new SurfaceCells(&data, this);
    legend = new SurfaceLegend(this);
    line = new QLabel(this);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setFocusProxy(grid);
    line->setTextFormat(Qt::PlainText);
    line->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    pause.setSingleShot(true);
    pause.setInterval(pausemilliseconds);
    connect(&pause, &QTimer::timeout, this, [this] {
        if (stale)
            refresh();
    });
    connect(grid, &SurfaceCells::currentchanged, this, [this](int index) {
        showline();
        emit currentchanged(index);
    });
    connect(grid, &SurfaceCells::hoverchanged, this, &SurfaceMap::showline);
    connect(grid, &SurfaceCells::focuschanged, this, &SurfaceMap::showline);
    connect(grid, &SurfaceCells::menurequested, this, [this](const QPoint &point) {
        emit customContextMenuRequested(grid->mapTo(this, point));
    });
    connect(curve, &SpeedCurve::clicked, grid, &SurfaceCells::select);
    connect(curve, &SpeedCurve::hovered, grid, &SurfaceCells::hover);
}

SurfaceMap::~SurfaceMap()
{
    // the cells lose the focus only when this is no map any more
    grid->disconnect(this);
}

void SurfaceMap::setdisk(const geom &disk)
{
    data.disk = disk;
    refresh();
}

void SurfaceMap::setcells(std::vector<SurfaceCell> cells)
{
    data.cells = std::move(cells);
    grid->reset();
    legend->count(data);
    arrange();
    refresh();
}

void SurfaceMap::setcell(int index, const SurfaceCell &cell)
{
    if (!data.has(index))
        return;
    data.cells[static_cast<std::size_t>(index)] = cell;
    stale = true;
    if (!pause.isActive())
        refresh();
}

int SurfaceMap::currentcell() const
{
    return grid->current();
}

void SurfaceMap::refresh()
{
    stale = false;
    pause.start();
    const auto found =
        std::ranges::find(data.cells, SurfaceCell::State::working, &SurfaceCell::state);
    working = found == data.cells.end() ? -1 : static_cast<int>(found - data.cells.begin());
    if (legend->count(data))
        arrange();
    grid->update();
    curve->update();
    legend->update();
    showline();
}

void SurfaceMap::arrange()
{
    // as long as the line gets on a large disk
    const int longest = fontMetrics().horizontalAdvance(
        "segment 500 of 500, not tested, slowest read 10000 ms, 100 MB/s, 10000.0 GB to 10000.0 "
        "GB, "
        "cylinders 1000000 to 1000000, sectors 10000000000 to 10000000000");
    SurfaceNeeds needs;
    needs.count = data.count();
    needs.line = fontMetrics().height();
    needs.statuslines = longest > width() ? 2 : 1;
    needs.alllegend = legend->heightfor(width(), true);
    needs.usedlegend = legend->heightfor(width(), false);
    const SurfaceParts parts = surfaceparts(size(), needs);
    legend->setallentries(parts.allentries);
    curve->setGeometry(parts.curve);
    grid->setGeometry(parts.cells);
    legend->setGeometry(parts.legend);
    line->setGeometry(parts.status);
    showline();
}

void SurfaceMap::showline()
{
    int index = grid->hovered();
    if (index < 0)
        index = working;
    if (index < 0 && grid->hasFocus())
        index = grid->current();
    QStringList texts;
    if (data.has(index)) {
        texts = celltexts(data, index);
    } else if (data.count() > 0) {
        const std::uint64_t cylinders = data.cells.back().stop + 1;
        texts = {QString("%1 segments").arg(data.count()),
                 QString::number(cylinderstogb(cylinders, data.disk), 'f', 1) + " GB"};
    }
    const QFontMetrics metrics = line->fontMetrics();
    line->setText(
        folded(texts, metrics, line->width(), std::max(line->height() / metrics.height(), 1)));
    curve->point(index);
}

QSize SurfaceMap::sizeHint() const
{
    const int line = fontMetrics().height();
    return {40 * line, 14 * line};
}

QSize SurfaceMap::minimumSizeHint() const
{
    const int line = fontMetrics().height();
    return {16 * line, 7 * line};
}

void SurfaceMap::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    arrange();
}

void SurfaceMap::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        arrange();
}

void SurfaceMap::contextMenuEvent(QContextMenuEvent *event)
{
    emit customContextMenuRequested(event->pos());
}
