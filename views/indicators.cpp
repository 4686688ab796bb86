#include "views/indicators.h"

#include <QAbstractButton>
#include <QPalette>

void keepindicatorvisible(QAbstractButton *button)
{
    // below this a colour counts as dark, of 255
    constexpr int middle = 128;
    QPalette palette = button->palette();
    const QColor base = palette.color(QPalette::Active, QPalette::Base);
    if (base.lightness() >= middle)
        return;
    // the window's colour serves for nothing but the outline here
    const QColor text = palette.color(QPalette::Active, QPalette::WindowText);
    palette.setColor(QPalette::Window,
                     QColor((base.red() + text.red()) / 2, (base.green() + text.green()) / 2,
                            (base.blue() + text.blue()) / 2));
    button->setPalette(palette);
}
