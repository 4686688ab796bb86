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
    // these colours serve for nothing but the outline here, each in another style
    const QColor text = palette.color(QPalette::Active, QPalette::WindowText);
    const QColor outline((base.red() + text.red()) / 2, (base.green() + text.green()) / 2,
                         (base.blue() + text.blue()) / 2);
    palette.setColor(QPalette::Window, outline);
    for (const QPalette::ColorRole role :
         {QPalette::Dark, QPalette::Light, QPalette::Midlight, QPalette::Shadow}) {
        for (const QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive})
            palette.setColor(group, role, outline); // disabled text is embossed with them
    }
    button->setPalette(palette);
}
