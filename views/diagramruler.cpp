#include "views/diagramruler.h"

#include "core/geom.h"
#include "views/graphicsview.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

DiagramRuler::DiagramRuler(GraphicsView *diagram) : view(diagram)
{
    setAccessibleName("Scale of the disk diagram in GB");
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    connect(view, &GraphicsView::painted, this, qOverload<>(&QWidget::update));
}

QSize DiagramRuler::sizeHint() const
{
    return {0, fontMetrics().height() + 4};
}

double scalestep(double least)
{
    const double power = std::pow(10.0, std::floor(std::log10(least)));
    for (const double digit : {1.0, 2.0, 5.0}) {
        if (digit * power >= least)
            return digit * power;
    }
    return 10 * power;
}

void DiagramRuler::paintEvent(QPaintEvent *)
{
    const double gbpercylinder = cylinderstogb(1, g);
    const double pixels = view->pixelspercylinder() / gbpercylinder; // a GB
    if (!(pixels > 0) || !std::isfinite(pixels))
        return;
    QPainter painter(this);
    const double origin = view->origin() + view->viewport()->x();
    const double total = gbpercylinder * static_cast<double>(view->page->extparts.last()->stop + 1);
    const double step = scalestep(
        fontMetrics().horizontalAdvance(QString::number(total, 'f', 1) + " GBMM") / pixels);
    const int decimals = std::max(0, static_cast<int>(-std::floor(std::log10(step))));
    const auto first = static_cast<long long>(std::ceil(std::max(-origin / pixels / step, 0.0)));
    for (long long mark = first; static_cast<double>(mark) * step <= total; ++mark) {
        const double gb = static_cast<double>(mark) * step;
        const double x = origin + gb * pixels;
        if (x > width())
            break;
        painter.drawLine(QPointF(x, 0), QPointF(x, 3));
        painter.drawText(QPointF(x + 2, 3 + fontMetrics().ascent()),
                         QString::number(gb, 'f', decimals) + " GB");
    }
}
