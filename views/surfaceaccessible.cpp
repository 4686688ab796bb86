#include "views/surfaceaccessible.h"

#include "views/accessiblelist.h"
#include "views/speedcurve.h"
#include "views/surfacecells.h"
#include "views/surfacelegend.h"

#include <QAccessible>
#include <QAccessibleWidget>

namespace
{

QAccessibleInterface *makecells(SurfaceCells *cells)
{
    return makeaccessiblelist(
        cells,
        {.count = [=] { return cells->surface().count(); },
         .name = [=](int index) { return spokencell(cells->surface(), index); },
         .description = [=](int index) { return celltexts(cells->surface(), index).join(", "); },
         .place = [=](int index) { return cells->cellrect(index); },
         .at = [=](QPoint place) { return cells->cellat(place); },
         .current = [=] { return cells->current(); },
         .selected = [=](int index) { return cells->current() == index; },
         .select = [=](int index) { cells->select(index); },
         .openmenu = [=] { cells->requestmenu(); },
         .surface = cells});
}

/// A picture that says its contents when it is asked, rather than each time they change.
template <class Picture> class PictureAccessible : public QAccessibleWidget
{
public:
    explicit PictureAccessible(Picture *picture) : QAccessibleWidget(picture, QAccessible::Graphic)
    {
    }

    [[nodiscard]] QString text(QAccessible::Text which) const override
    {
        const auto *picture = qobject_cast<Picture *>(object());
        return picture && which == QAccessible::Description ? picture->words()
                                                            : QAccessibleWidget::text(which);
    }
};

QAccessibleInterface *makesurfaceinterface(const QString &classname, QObject *object)
{
    if (auto *cells = qobject_cast<SurfaceCells *>(object); cells && classname == "SurfaceCells")
        return makecells(cells);
    if (auto *curve = qobject_cast<SpeedCurve *>(object); curve && classname == "SpeedCurve")
        return new PictureAccessible(curve);
    if (auto *legend = qobject_cast<SurfaceLegend *>(object);
        legend && classname == "SurfaceLegend")
        return new PictureAccessible(legend);
    return nullptr;
}

} // namespace

void installsurfaceaccessibility()
{
    // Installing it again is no harm: the list of factories holds each one once.
    QAccessible::installFactory(makesurfaceinterface);
}
