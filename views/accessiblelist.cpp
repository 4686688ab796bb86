#include "views/accessiblelist.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QPointer>

#include <memory>
#include <vector>

namespace
{

/// A widget and its list; the list is only asked while the widget is there.
struct Source {
    QPointer<QWidget> widget;
    AccessibleList list;

    [[nodiscard]] int count() const { return widget ? list.count() : 0; }
};

/// The thing at one place of the list; invalid while there is none.
class EntryAccessible : public QAccessibleInterface, public QAccessibleActionInterface
{
public:
    EntryAccessible(std::shared_ptr<const Source> newsource, int newindex)
        : source(std::move(newsource)), index(newindex)
    {
    }

    [[nodiscard]] bool isValid() const override { return index < source->count(); }
    [[nodiscard]] QObject *object() const override { return nullptr; }
    [[nodiscard]] QWindow *window() const override
    {
        return source->widget ? source->widget->window()->windowHandle() : nullptr;
    }
    [[nodiscard]] QAccessibleInterface *parent() const override
    {
        return source->widget ? QAccessible::queryAccessibleInterface(source->widget) : nullptr;
    }
    [[nodiscard]] QAccessibleInterface *child(int) const override { return nullptr; }
    [[nodiscard]] QAccessibleInterface *childAt(int, int) const override { return nullptr; }
    [[nodiscard]] int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface *) const override { return -1; }
    [[nodiscard]] QAccessible::Role role() const override { return QAccessible::ListItem; }
    void setText(QAccessible::Text, const QString &) override {}

    [[nodiscard]] QString text(QAccessible::Text which) const override
    {
        if (isValid() && which == QAccessible::Name)
            return source->list.name(index);
        return isValid() && which == QAccessible::Description ? source->list.description(index)
                                                              : QString();
    }

    [[nodiscard]] QRect rect() const override
    {
        if (!isValid())
            return {};
        const QRect inside = source->list.place(index);
        return {source->list.surface->mapToGlobal(inside.topLeft()), inside.size()};
    }

    [[nodiscard]] QAccessible::State state() const override
    {
        QAccessible::State state;
        if (!isValid()) {
            state.invalid = true;
            return state;
        }
        state.selectable = true;
        state.extSelectable = source->list.multiselect;
        state.multiSelectable = source->list.multiselect;
        state.focusable = true;
        state.selected = source->list.selected(index);
        state.focused = source->widget->hasFocus() && source->list.current() == index;
        state.invisible = !source->widget->isVisible();
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
        source->widget->setFocus();
        source->list.select(index);
        if (name == showMenuAction())
            source->list.openmenu();
    }
    [[nodiscard]] QStringList keyBindingsForAction(const QString &) const override { return {}; }

private:
    std::shared_ptr<const Source> source;
    int index;
};

/// The widget itself. It owns the entries, which live as long as the widget.
class ListAccessible : public QAccessibleWidget
{
public:
    ListAccessible(QWidget *widget, const AccessibleList &list)
        : QAccessibleWidget(widget, QAccessible::List),
          source(std::make_shared<Source>(Source{widget, list}))
    {
    }

    [[nodiscard]] int childCount() const override { return source->count(); }

    [[nodiscard]] QAccessibleInterface *child(int index) const override
    {
        if (index < 0 || index >= childCount())
            return nullptr;
        for (int i = static_cast<int>(entries.size()); i <= index; ++i)
            entries.push_back(
                QAccessible::registerAccessibleInterface(new EntryAccessible(source, i)));
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
        return source->widget
                   ? child(source->list.at(source->list.surface->mapFromGlobal(QPoint(x, y))))
                   : nullptr;
    }

    [[nodiscard]] QAccessibleInterface *focusChild() const override
    {
        if (source->widget && source->widget->hasFocus()) {
            if (QAccessibleInterface *current = child(source->list.current()))
                return current;
        }
        return QAccessibleWidget::focusChild();
    }

    [[nodiscard]] QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.multiSelectable = source->list.multiselect;
        state.extSelectable = source->list.multiselect;
        return state;
    }

private:
    ~ListAccessible() override
    {
        for (const QAccessible::Id id : entries)
            QAccessible::deleteAccessibleInterface(id);
    }

    std::shared_ptr<const Source> source;
    mutable std::vector<QAccessible::Id> entries; ///< by index; made when first asked for
};

} // namespace

QAccessibleInterface *makeaccessiblelist(QWidget *widget, const AccessibleList &list)
{
    return new ListAccessible(widget, list);
}
