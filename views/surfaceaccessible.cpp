#include "views/surfaceaccessible.h"

#include "views/speedcurve.h"
#include "views/surfacecells.h"
#include "views/surfacelegend.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QPointer>

#include <vector>

namespace
{

/// One cell. It is looked up each time and is invalid while there is none at its place.
class CellAccessible : public QAccessibleInterface, public QAccessibleActionInterface
{
public:
    CellAccessible(QObject *newcells, int newindex) : cellsobject(newcells), index(newindex) {}

    [[nodiscard]] bool isValid() const override { return cells() && cells()->surface().has(index); }
    [[nodiscard]] QObject *object() const override { return nullptr; }
    [[nodiscard]] QWindow *window() const override
    {
        return cells() ? cells()->window()->windowHandle() : nullptr;
    }
    [[nodiscard]] QAccessibleInterface *parent() const override
    {
        return cells() ? QAccessible::queryAccessibleInterface(cells()) : nullptr;
    }
    [[nodiscard]] QAccessibleInterface *child(int) const override { return nullptr; }
    [[nodiscard]] QAccessibleInterface *childAt(int, int) const override { return nullptr; }
    [[nodiscard]] int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface *) const override { return -1; }
    [[nodiscard]] QAccessible::Role role() const override { return QAccessible::ListItem; }
    void setText(QAccessible::Text, const QString &) override {}

    [[nodiscard]] QString text(QAccessible::Text which) const override
    {
        if (!isValid())
            return {};
        if (which == QAccessible::Name)
            return spokencell(cells()->surface(), index);
        return which == QAccessible::Description ? celltexts(cells()->surface(), index).join(", ")
                                                 : QString();
    }

    [[nodiscard]] QRect rect() const override
    {
        if (!isValid())
            return {};
        const QRect inside = cells()->cellrect(index);
        return {cells()->mapToGlobal(inside.topLeft()), inside.size()};
    }

    [[nodiscard]] QAccessible::State state() const override
    {
        QAccessible::State state;
        if (!isValid()) {
            state.invalid = true;
            return state;
        }
        const bool current = cells()->current() == index;
        state.selectable = true;
        state.focusable = true;
        state.selected = current;
        state.focused = current && cells()->hasFocus();
        state.invisible = !cells()->isVisible();
        return state;
    }

    void *interface_cast(QAccessible::InterfaceType type) override
    {
        return type == QAccessible::ActionInterface
                   ? static_cast<QAccessibleActionInterface *>(this)
                   : nullptr;
    }

    [[nodiscard]] QStringList actionNames() const override
    {
        return {setFocusAction(), showMenuAction()};
    }
    void doAction(const QString &name) override
    {
        if (!isValid() || !actionNames().contains(name))
            return;
        cells()->setFocus();
        cells()->select(index);
        if (name == showMenuAction())
            cells()->requestmenu();
    }
    [[nodiscard]] QStringList keyBindingsForAction(const QString &) const override { return {}; }

private:
    [[nodiscard]] SurfaceCells *cells() const
    {
        return qobject_cast<SurfaceCells *>(cellsobject.data());
    }

    QPointer<QObject> cellsobject;
    int index;
};

/// The map as a list of its cells. It owns the entries, which live as long as the widget.
class CellsAccessible : public QAccessibleWidget
{
public:
    explicit CellsAccessible(SurfaceCells *cells) : QAccessibleWidget(cells, QAccessible::List) {}

    [[nodiscard]] int childCount() const override
    {
        return cells() ? cells()->surface().count() : 0;
    }

    [[nodiscard]] QAccessibleInterface *child(int index) const override
    {
        if (index < 0 || index >= childCount())
            return nullptr;
        for (int i = static_cast<int>(entries.size()); i <= index; ++i)
            entries.push_back(
                QAccessible::registerAccessibleInterface(new CellAccessible(object(), i)));
        return QAccessible::accessibleInterface(entries[index]);
    }

    int indexOfChild(const QAccessibleInterface *child) const override
    {
        for (int i = 0; i < childCount() && i < static_cast<int>(entries.size()); ++i) {
            if (QAccessible::accessibleInterface(entries[i]) == child)
                return i;
        }
        return -1;
    }

    [[nodiscard]] QAccessibleInterface *childAt(int x, int y) const override
    {
        return cells() ? child(cells()->cellat(cells()->mapFromGlobal(QPoint(x, y)))) : nullptr;
    }

    [[nodiscard]] QAccessibleInterface *focusChild() const override
    {
        if (cells() && cells()->hasFocus()) {
            if (QAccessibleInterface *current = child(cells()->current()))
                return current;
        }
        return QAccessibleWidget::focusChild();
    }

private:
    ~CellsAccessible() override
    {
        for (const QAccessible::Id id : entries)
            QAccessible::deleteAccessibleInterface(id);
    }

    [[nodiscard]] SurfaceCells *cells() const { return qobject_cast<SurfaceCells *>(object()); }

    mutable std::vector<QAccessible::Id> entries; ///< by index; made when first asked for
};

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
        return new CellsAccessible(cells);
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
