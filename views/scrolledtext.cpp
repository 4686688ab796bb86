#include "views/scrolledtext.h"

#include <QResizeEvent>
#include <QScrollBar>

#include <algorithm>

ScrolledText::ScrolledText(QLabel *label)
{
    setWidget(label);
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
    viewport()->setAutoFillBackground(false);
    label->setAutoFillBackground(false);
    setAccessibleName("Instructions");
    // the keys have something to do there only while some lines are hidden
    setFocusPolicy(Qt::NoFocus);
    connect(verticalScrollBar(), &QScrollBar::rangeChanged, this,
            [this](int, int most) { setFocusPolicy(most > 0 ? Qt::TabFocus : Qt::NoFocus); });
}

QSize ScrolledText::sizeHint() const
{
    return {widget()->sizeHint().width(), widget()->heightForWidth(std::max(width(), 300))};
}

QSize ScrolledText::minimumSizeHint() const
{
    return {200, std::min(2 * fontMetrics().lineSpacing(), sizeHint().height())};
}

void ScrolledText::resizeEvent(QResizeEvent *event)
{
    QScrollArea::resizeEvent(event);
    if (event->size().width() != event->oldSize().width())
        updateGeometry();
}
