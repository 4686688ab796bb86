#include "tests/views/viewsfixture.h"

#include "views/diagramlayout.h"
#include "views/partname.h"

#include <QAccessible>
#include <QAction>
#include <QContextMenuEvent>
#include <QMenu>
#include <QTimer>
#include <QTreeView>

#include <algorithm>

namespace
{
/// Sees the menus that come up, picks an entry of each or closes it.
class MenuWatch : public QTimer
{
public:
    MenuWatch()
    {
        callOnTimeout([this] {
            auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
            if (!menu)
                return;
            count++;
            position = menu->pos();
            entries = menu->actions();
            QAction *chosen = entries.value(choice);
            menu->close();
            if (chosen)
                chosen->trigger();
        });
        start(0);
    }

    int count = 0;
    int choice = -1;
    QPoint position;
    QList<QAction *> entries;
};

class Diagram : public ViewsTest
{
protected:
    /// Where a block's middle stands in the viewport.
    QPoint centre(int index) { return view->mapFromScene(block(index)->item->scenePos()); }

    /// A right click as a window system sends it: the press, then the request for a menu.
    void rightclick(QPoint pos)
    {
        QTest::mousePress(view->viewport(), Qt::RightButton, {}, pos);
        QContextMenuEvent event(QContextMenuEvent::Mouse, pos, view->viewport()->mapToGlobal(pos));
        QApplication::sendEvent(view->viewport(), &event);
        QTest::mouseRelease(view->viewport(), Qt::RightButton, {}, pos);
    }

    void menukey()
    {
        const QPoint pos = view->rect().center();
        QContextMenuEvent event(QContextMenuEvent::Keyboard, pos, view->mapToGlobal(pos));
        QApplication::sendEvent(view, &event);
    }

    QImage picture() { return view->viewport()->grab().toImage(); }
};

TEST_F(Diagram, LaysBlocksOutToScale)
{
    const DiagramScale scale = diagramscale(1000, 50, 400);
    EXPECT_EQ(scale.widthpersize, 2);
    EXPECT_EQ(scale.itemheight, 40);
    EXPECT_EQ(itemrect(30, 2, 40), QRectF(-30, -20, 60, 40));
    EXPECT_EQ(itempos(100, 30, 2), QPointF(230, 0));
    EXPECT_EQ(diagramscale(1000, 50, 0).widthpersize, 0);

    for (const int width : {700, 1200}) {
        page.resize(width, 600);
        QApplication::processEvents();
        EXPECT_DOUBLE_EQ(page.widthpersize, 0.8 * view->width() / 20000);
        for (int i = 0; i < 7; i++) {
            const QRectF rect = block(i)->item->sceneBoundingRect();
            EXPECT_NEAR(rect.left(), page.widthpersize * double(block(i)->start), 1e-6);
            EXPECT_NEAR(rect.width(), page.widthpersize * double(block(i)->size), 1e-6);
            EXPECT_NEAR(rect.height(), 0.8 * view->height(), 1e-6);
        }
    }
    EXPECT_EQ(block(2)->item->toolTip(), "Start:8.3GB\nStop:41.1GB\nSize:32.8GB");

    // Colours, and a selected block of one cylinder that its neighbours must not cover.
    assign(2, 'p');
    assign(4, 'l');
    select({3});
    const QImage image = picture();
    const std::pair<int, QColor> fills[] = {
        {0, Qt::green}, {2, Qt::darkGreen}, {4, Qt::blue}, {5, Qt::black}, {3, Qt::red}};
    for (const auto &[index, color] : fills)
        EXPECT_EQ(image.pixelColor(centre(index)), color) << index;
    delete block(0)->item;
    EXPECT_EQ(block(0)->item, nullptr);
}

TEST_F(Diagram, KeysReachEveryBlock)
{
    assign(4, 'l');
    assign(6, 'p');
    view->setFocus();
    page.diagramscene->clearSelection();
    const struct {
        Qt::Key key;
        bool shift;
        QList<int> expected;
    } script[] = {
        {Qt::Key_Right, false, {0}},
        {Qt::Key_Left, false, {0}},
        {Qt::Key_Right, false, {1}},
        {Qt::Key_Right, true, {1, 2}},
        {Qt::Key_Right, true, {1, 2, 3}},
        {Qt::Key_Left, true, {1, 2}},
        {Qt::Key_Left, true, {1}},
        {Qt::Key_Left, true, {0, 1}},
        {Qt::Key_End, true, {1, 2, 3, 4, 5, 6}},
        {Qt::Key_Up, false, {1, 2, 3, 4, 5, 6}},
        {Qt::Key_Left, false, {5}},
        {Qt::Key_Left, true, {4, 5}},
        {Qt::Key_Left, false, {3}},
        {Qt::Key_Home, false, {0}},
        {Qt::Key_End, false, {6}},
        {Qt::Key_Right, false, {6}},
        {Qt::Key_Home, true, {0, 1, 2, 3, 4, 5, 6}},
    };
    for (const auto &[key, shift, expected] : script) {
        QTest::keyClick(view, key, shift ? Qt::ShiftModifier : Qt::NoModifier);
        EXPECT_EQ(selected(), expected) << "key " << key;
    }
    // The keys go on from what mouse and tree selected, and the tree follows them.
    select({2});
    QTest::keyClick(view, Qt::Key_Right, Qt::ShiftModifier);
    EXPECT_EQ(selected(), QList<int>({2, 3}));
    page.treeview->setCurrentIndex(page.treemodel->findpart(block(4)));
    QTest::keyClick(view, Qt::Key_Right);
    QTest::keyClick(view, Qt::Key_Right);
    EXPECT_EQ(selected(), QList<int>({6}));
    EXPECT_EQ(page.treeview->currentIndex(), page.treemodel->findpart(block(6)));
    // On the way to a block without a row no other block's row becomes current.
    select({3});
    QTest::keyClick(view, Qt::Key_Right, Qt::ShiftModifier);
    QTest::keyClick(view, Qt::Key_Right);
    EXPECT_EQ(selected(), QList<int>({5}));
    EXPECT_EQ(page.treeview->currentIndex(), page.treemodel->findpart(block(6)));
    EXPECT_TRUE(view->hasFocus());

    // A shorter list: the first key shows the remembered place, as far as there is one.
    QTest::keyClick(view, Qt::Key_End);
    page.clearmodelview();
    QTest::keyClick(view, Qt::Key_Left);
    page.segs.resize(3);
    page.constructextparts();
    page.initpartdiagram();
    QTest::keyClick(view, Qt::Key_Left);
    EXPECT_EQ(selected(), QList<int>({2}));

    // Whoever has no focus shows no marks.
    const QImage focused = picture();
    page.treeview->setFocus();
    EXPECT_NE(picture(), focused);
}

TEST_F(Diagram, MenuStandsForTheSelection)
{
    MenuWatch menus;
    rightclick({2, 2});
    EXPECT_EQ(menus.count, 0);
    // A right click takes the block under the mouse, or joins it to several selected ones.
    select({0});
    rightclick(centre(2));
    EXPECT_EQ(menus.count, 1);
    EXPECT_EQ(selected(), QList<int>({2}));
    ASSERT_EQ(menus.entries.size(), 10);
    EXPECT_EQ(menus.entries.first()->text(), "assign to a Primary Partition");
    EXPECT_EQ(menus.entries.last()->text(), "rescan the block");
    select({2, 4});
    rightclick(centre(4));
    EXPECT_EQ(menus.count, 2);
    EXPECT_EQ(selected(), QList<int>({2, 4}));
    // The first block on the disk decides, whichever was selected first.
    select({4, 1});
    rightclick(centre(4));
    rightclick(centre(5));
    EXPECT_EQ(menus.count, 2);

    // By keyboard, at the block, once.
    view->setFocus();
    QTest::keyClick(view, Qt::Key_Home);
    menus.choice = 0;
    menukey();
    EXPECT_EQ(menus.count, 3);
    EXPECT_EQ(menus.position, view->viewport()->mapToGlobal(centre(0)));
    EXPECT_EQ(block(0)->kind, 'p');
    EXPECT_EQ(selected(), QList<int>({0}));
    QTest::keyClick(view, Qt::Key_End);
    menus.choice = 3;
    QTest::keyClick(view, Qt::Key_F10, Qt::ShiftModifier);
    EXPECT_EQ(menus.count, 4);
    EXPECT_EQ(page.extparts.size(), 8);
    menus.choice = -1;
    select({});
    menukey();
    select({5});
    menukey();
    EXPECT_EQ(menus.count, 4);
}

TEST_F(Diagram, BlocksAreInTheAccessibilityTree)
{
    assign(2, 'p');
    assign(4, 'l');
    QAccessibleInterface *list = QAccessible::queryAccessibleInterface(view);
    ASSERT_TRUE(list);
    EXPECT_EQ(list->role(), QAccessible::List);
    EXPECT_EQ(list->text(QAccessible::Name), "Disk diagram");
    const char *names[] = {"Good block, 0.0 GB to 8.2 GB",         "Bad block, 8.2 GB to 8.3 GB",
                           "Primary Partition, 8.3 GB to 41.1 GB", "Bad block, 41.1 GB to 41.1 GB",
                           "Logical Disk, 41.1 GB to 82.3 GB",     "Bad block, 82.3 GB to 90.5 GB",
                           "Good block, 90.5 GB to 164.5 GB"};
    ASSERT_EQ(list->childCount(), 7);
    for (int i = 0; i < 7; i++) {
        QAccessibleInterface *entry = list->child(i);
        ASSERT_TRUE(entry);
        EXPECT_EQ(entry->text(QAccessible::Name), names[i]);
        EXPECT_EQ(entry->role(), QAccessible::ListItem);
        EXPECT_EQ(entry->parent(), list);
        EXPECT_EQ(list->indexOfChild(entry), i);
        EXPECT_TRUE(entry->state().selectable && entry->state().focusable);
        EXPECT_EQ(bool(entry->state().selected), i == 4);
        const QPoint middle = view->viewport()->mapToGlobal(centre(i));
        EXPECT_TRUE(entry->rect().contains(middle)) << i;
        EXPECT_TRUE(block(i)->size < 100 || list->childAt(middle.x(), middle.y()) == entry);
    }
    EXPECT_EQ(list->child(7), nullptr);

    view->setFocus();
    QTest::keyClick(view, Qt::Key_Right);
    EXPECT_EQ(list->focusChild(), list->child(5));
    EXPECT_TRUE(list->child(5)->state().focused && list->child(5)->state().selected);

    MenuWatch menus;
    QAccessibleActionInterface *action = list->child(6)->actionInterface();
    ASSERT_TRUE(action);
    action->doAction(QAccessibleActionInterface::showMenuAction());
    EXPECT_EQ(menus.count, 1);
    EXPECT_EQ(selected(), QList<int>({6}));

    // An entry outlives its block, and knows it.
    QAccessibleInterface *last = list->child(6);
    QAccessibleInterface *first = list->child(0);
    page.clearmodelview();
    EXPECT_EQ(list->childCount(), 0);
    EXPECT_FALSE(last->isValid());
    EXPECT_TRUE(last->state().invalid && last->rect().isNull());
    EXPECT_EQ(last->text(QAccessible::Name), "");
    last->actionInterface()->doAction(QAccessibleActionInterface::setFocusAction());
    page.constructextparts();
    page.initpartdiagram();
    EXPECT_EQ(list->child(0), first);
    EXPECT_EQ(first->text(QAccessible::Name), names[0]);
}
} // namespace
