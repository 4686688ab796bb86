#include "views/diagramaccessible.h"

#include "views/graphicsview.h"
#include "views/partitem.h"
#include "views/partname.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QPointer>

namespace
{
/// The plan of a view, or null while either is being destroyed.
const Plan *planof(const GraphicsView *view)
{
    return view ? view->page : nullptr;
}

/// The block that stands at one place of the list. It holds no block, since every operation makes
/// and deletes some; it looks the block up each time, and is invalid while there is none.
class BlockAccessible : public QAccessibleInterface, public QAccessibleActionInterface
{
public:
    BlockAccessible(QObject *newview, int newindex) : viewobject(newview), index(newindex) {}

    [[nodiscard]] bool isValid() const override { return block() != nullptr; }
    [[nodiscard]] QObject *object() const override { return nullptr; }
    [[nodiscard]] QWindow *window() const override
    {
        return isValid() ? view()->window()->windowHandle() : nullptr;
    }
    [[nodiscard]] QAccessibleInterface *parent() const override
    {
        return view() ? QAccessible::queryAccessibleInterface(view()) : nullptr;
    }
    [[nodiscard]] QAccessibleInterface *child(int) const override { return nullptr; }
    [[nodiscard]] QAccessibleInterface *childAt(int, int) const override { return nullptr; }
    [[nodiscard]] int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface *) const override { return -1; }
    [[nodiscard]] QAccessible::Role role() const override { return QAccessible::ListItem; }
    void setText(QAccessible::Text, const QString &) override {}

    [[nodiscard]] QString text(QAccessible::Text which) const override
    {
        const EXTPART *part = block();
        if (part && which == QAccessible::Name)
            return partname(*part);
        if (part && part->item && which == QAccessible::Description)
            return part->item->toolTip();
        return {};
    }

    [[nodiscard]] QRect rect() const override
    {
        const EXTPART *part = block();
        if (!part || !part->item)
            return {};
        QRect inview = view()->mapFromScene(part->item->sceneBoundingRect()).boundingRect();
        inview.setWidth(std::max(inview.width(), 1));
        return {view()->viewport()->mapToGlobal(inview.topLeft()), inview.size()};
    }

    [[nodiscard]] QAccessible::State state() const override
    {
        QAccessible::State state;
        const EXTPART *part = block();
        if (!part) {
            state.invalid = true;
            return state;
        }
        state.selectable = true;
        state.extSelectable = true;
        state.multiSelectable = true;
        state.focusable = true;
        state.selected = part->item && part->item->isSelected();
        state.focused = view()->hasFocus() && view()->currentblock() == index;
        state.invisible = !view()->isVisible();
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
        view()->setFocus();
        view()->selectblock(index);
        if (name == showMenuAction())
            view()->openmenuatblock();
    }
    [[nodiscard]] QStringList keyBindingsForAction(const QString &) const override { return {}; }

private:
    [[nodiscard]] GraphicsView *view() const
    {
        return qobject_cast<GraphicsView *>(viewobject.data());
    }
    [[nodiscard]] const EXTPART *block() const
    {
        const Plan *plan = planof(view());
        return plan && index < plan->extparts.size() ? plan->extparts[index] : nullptr;
    }

    QPointer<QObject> viewobject;
    int index;
};

/// The diagram as a list of its blocks. It owns the entries, which live as long as the view.
class DiagramAccessible : public QAccessibleWidget
{
public:
    explicit DiagramAccessible(GraphicsView *view) : QAccessibleWidget(view, QAccessible::List) {}

    [[nodiscard]] int childCount() const override
    {
        const Plan *plan = planof(view());
        return plan ? static_cast<int>(plan->extparts.size()) : 0;
    }

    [[nodiscard]] QAccessibleInterface *child(int index) const override
    {
        if (index < 0 || index >= childCount())
            return nullptr;
        while (entries.size() <= index) {
            entries.append(QAccessible::registerAccessibleInterface(
                new BlockAccessible(object(), static_cast<int>(entries.size()))));
        }
        return QAccessible::accessibleInterface(entries[index]);
    }

    int indexOfChild(const QAccessibleInterface *child) const override
    {
        for (int i = 0; i < childCount() && i < entries.size(); ++i) {
            if (QAccessible::accessibleInterface(entries[i]) == child)
                return i;
        }
        return -1;
    }

    [[nodiscard]] QAccessibleInterface *childAt(int x, int y) const override
    {
        for (int i = childCount() - 1; i >= 0; --i) {
            if (child(i)->rect().contains(x, y))
                return child(i);
        }
        return nullptr;
    }

    [[nodiscard]] QAccessibleInterface *focusChild() const override
    {
        if (view() && view()->hasFocus()) {
            if (QAccessibleInterface *current = child(view()->currentblock()))
                return current;
        }
        return QAccessibleWidget::focusChild();
    }

    [[nodiscard]] QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.multiSelectable = true;
        state.extSelectable = true;
        return state;
    }

private:
    ~DiagramAccessible() override
    {
        for (const QAccessible::Id id : entries)
            QAccessible::deleteAccessibleInterface(id);
    }

    [[nodiscard]] GraphicsView *view() const { return qobject_cast<GraphicsView *>(object()); }

    mutable QList<QAccessible::Id> entries; ///< by index; made when first asked for
};

QAccessibleInterface *makeinterface(const QString &classname, QObject *object)
{
    auto *view = qobject_cast<GraphicsView *>(object);
    return view && classname == "GraphicsView" ? new DiagramAccessible(view) : nullptr;
}
} // namespace

void installdiagramaccessibility()
{
    // Installing it again is no harm: the list of factories holds each one once.
    QAccessible::installFactory(makeinterface);
}
