#include "scan/surfaceview.h"

#include "scan/scan.h"
#include "views/surfacemap.h"

#include <QEvent>
#include <QGridLayout>
#include <QLabel>

#include <algorithm>

namespace
{

constexpr int lookmilliseconds = 250; // figures change no more often: nobody reads faster
constexpr int gap = 9;                // pixels between the page's edges, its controls and the view

} // namespace

SurfaceView::SurfaceView(const Scan &source, QWidget *page, QWidget *lowest)
    : QWidget(page), scan(source), above(lowest)
{
    map = new SurfaceMap;
    figures = new QLabel;
    figures->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    figures->setTextInteractionFlags(Qt::TextSelectableByMouse);
    figures->setFixedWidth(figures->fontMetrics().horizontalAdvance(ScanFigures::widest));
    verdictline = new QLabel;
    verdictline->setTextFormat(Qt::PlainText);
    verdictline->setTextInteractionFlags(Qt::TextSelectableByMouse);
    verdictline->setWordWrap(true);
    auto *grid = new QGridLayout(this);
    grid->setContentsMargins({});
    grid->addWidget(map, 0, 0);
    grid->addWidget(figures, 0, 1);
    grid->addWidget(verdictline, 1, 0, 1, 2);
    grid->setRowStretch(0, 1);
    grid->setColumnStretch(0, 1);
    page->installEventFilter(this);
    above->installEventFilter(this);
    looks.setInterval(lookmilliseconds);
    connect(&looks, &QTimer::timeout, this, [this] {
        if (testing)
            showsegment(scan.curseg);
    });
}

bool SurfaceView::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::Resize || event->type() == QEvent::Move)
        arrange();
    return QWidget::eventFilter(watched, event);
}

void SurfaceView::arrange()
{
    const int top = above->mapTo(parentWidget(), QPoint(0, above->height())).y() + gap;
    setGeometry(gap, top, parentWidget()->width() - 2 * gap,
                parentWidget()->height() - top - gap / 2);
}

int SurfaceView::fullheight() const
{
    constexpr int lines = ScanFigures::mostlines + 2; // and the verdict
    return lines * figures->fontMetrics().lineSpacing() + 2 * gap;
}

void SurfaceView::beginrun()
{
    ison = true;
    elapsed = 0;
    goodreads = scan.goodreads();
    begun.start();
    lastgood.start();
    looks.start();
    showall();
}

void SurfaceView::settesting(bool on)
{
    testing = on;
}

void SurfaceView::endrun()
{
    if (!ison)
        return;
    elapsed = static_cast<double>(begun.elapsed()) / 1000;
    ison = testing = false;
    looks.stop();
}

void SurfaceView::forgetrun()
{
    endrun();
    elapsed = -1;
}

void SurfaceView::showall()
{
    const std::vector<SurfaceCell> cells = scan.surface();
    map->setdisk(scan.diskgeom);
    map->setcells(cells);
    verdictline->setText(ison ? QString() : verdict(cells, scan.diskgeom, scan.former));
    showfigures(cells);
}

void SurfaceView::showsegment(int index)
{
    const std::vector<SurfaceCell> cells = scan.surface();
    for (const int one : {index, scan.curseg}) {
        if (one < scan.segnum)
            map->setcell(one, cells[one]);
    }
    if (shown.hasExpired(lookmilliseconds))
        showfigures(cells);
}

void SurfaceView::showfigures(const std::vector<SurfaceCell> &cells)
{
    shown.start();
    if (const std::uint64_t now = scan.goodreads(); now != goodreads) {
        goodreads = now;
        lastgood.start();
    }
    ScanFigures text{.sum = SurfaceSum(cells, scan.diskgeom)};
    if (elapsed >= 0)
        text.run = scan.speed;
    text.ison = ison;
    if (ison) {
        text.elapsed = static_cast<double>(begun.elapsed()) / 1000;
        text.sincegood = static_cast<double>(lastgood.elapsed()) / 1000;
        // where it reads now, or read last
        for (int i = std::min(scan.curseg, scan.segnum - 1); i >= 0 && text.speednow < 0; --i)
            text.speednow = cells[i].speed;
    } else {
        text.elapsed = elapsed;
    }
    figures->setText(QString::fromStdString(text.text()));
}
