#pragma once

#include <QRect>
#include <QString>
#include <QWidget>

#include <functional>

class QAccessibleInterface;

/// What a widget that paints a row of things tells screen readers of them. It looks each one up
/// when it is asked, since they come and go; `index` is below `count`.
struct AccessibleList {
    std::function<int()> count;
    std::function<QString(int index)> name;
    std::function<QString(int index)> description;
    std::function<QRect(int index)> place; ///< in the coordinates of `surface`
    std::function<int(QPoint)> at;         ///< index at a place of `surface`; -1: there is none
    std::function<int()> current;          ///< index; -1: none
    std::function<bool(int index)> selected;
    std::function<void(int index)> select;
    std::function<void()> openmenu; ///< for the current one
    QWidget *surface;               ///< the widget or its viewport
    bool multiselect = false;
};

/// The widget as a list of these things. Qt owns the result, which lives no longer than the widget.
QAccessibleInterface *makeaccessiblelist(QWidget *widget, const AccessibleList &list);
