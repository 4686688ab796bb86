#include "views/diagramaccessible.h"

#include "views/accessiblelist.h"
#include "views/graphicsview.h"
#include "views/partitem.h"
#include "views/partname.h"

#include <QAccessible>

#include <algorithm>

namespace
{
/// The block at one place of the plan. Every operation makes and deletes some.
const EXTPART &block(const GraphicsView *view, int index)
{
    return *view->page->extparts[index];
}

QRect blockplace(const GraphicsView *view, int index)
{
    const PartItem *item = block(view, index).item;
    if (!item)
        return {};
    QRect inview = view->mapFromScene(item->sceneBoundingRect()).boundingRect();
    inview.setWidth(std::max(inview.width(), 1));
    return inview;
}

int blockat(const GraphicsView *view, QPoint place)
{
    for (int i = static_cast<int>(view->page->extparts.size()) - 1; i >= 0; --i) {
        if (blockplace(view, i).contains(place))
            return i;
    }
    return -1;
}

QAccessibleInterface *makeblocks(GraphicsView *view)
{
    const auto item = [=](int index) { return block(view, index).item; };
    return makeaccessiblelist(
        view,
        // the view has no plan while either is being destroyed
        {.count = [=] { return view->page ? static_cast<int>(view->page->extparts.size()) : 0; },
         .name = [=](int index) { return partname(block(view, index)); },
         .description = [=](int index) { return item(index) ? item(index)->toolTip() : QString(); },
         .place = [=](int index) { return blockplace(view, index); },
         .at = [=](QPoint place) { return view->page ? blockat(view, place) : -1; },
         .current = [=] { return view->currentblock(); },
         .selected = [=](int index) { return item(index) && item(index)->isSelected(); },
         .select = [=](int index) { view->selectblock(index); },
         .openmenu = [=] { view->openmenuatblock(); },
         .surface = view->viewport(),
         .multiselect = true});
}

QAccessibleInterface *makeinterface(const QString &classname, QObject *object)
{
    auto *view = qobject_cast<GraphicsView *>(object);
    return view && classname == "GraphicsView" ? makeblocks(view) : nullptr;
}
} // namespace

void installdiagramaccessibility()
{
    // Installing it again is no harm: the list of factories holds each one once.
    QAccessible::installFactory(makeinterface);
}
