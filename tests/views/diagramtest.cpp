// Catches a diagram that draws, selects, names or offers another block than the user means.
#include "tests/views/viewsfixture.h"

#include <QAccessible>

class Diagram : public ViewsTest
{
protected:
    /// Where a block's middle stands in the viewport.
    QPoint centre(int index) { return view->mapFromScene(block(index)->item->scenePos()); }

    std::string selected()
    {
        std::string places;
        for (EXTPART *part : page.selectedparts())
            places += std::to_string(page.extparts.indexOf(part));
        return places;
    }

    /// Presses keys: r, l, h, e and u for Right, Left, Home, End and Up, a capital with Shift. What
    /// stands behind each is selected then.
    void press(const QString &script)
    {
        static const Qt::Key keys[] = {Qt::Key_Right, Qt::Key_Left, Qt::Key_Home, Qt::Key_End,
                                       Qt::Key_Up};
        for (const QString &step : script.split(' ')) {
            QTest::keyClick(view, keys[QString("rlheu").indexOf(step[0].toLower())],
                            step[0].isUpper() ? Qt::ShiftModifier : Qt::NoModifier);
            EXPECT_EQ(selected(), step.mid(1).toStdString()) << script.toStdString();
        }
    }
};

TEST_F(Diagram, LaysBlocksOutToScale)
{
    for (const int width : {700, 1200}) {
        page.resize(width, 600);
        QApplication::processEvents();
        const double scale = 0.8 * view->width() / 20000;
        const QRectF rect = block(4)->item->sceneBoundingRect();
        EXPECT_NEAR(rect.left(), scale * 5001, 1e-6);
        EXPECT_NEAR(rect.width(), scale * 4999, 1e-6);
        EXPECT_NEAR(rect.height(), 0.8 * view->height(), 1e-6);
    }
    EXPECT_EQ(block(2)->item->toolTip(), "Start:8.3GB\nStop:41.1GB\nSize:32.8GB");
    // Colours, and a selected block of one cylinder that its neighbours must not cover.
    select("3");
    const QImage image = view->viewport()->grab().toImage();
    const Qt::GlobalColor fills[] = {Qt::green, Qt::black, Qt::darkGreen, Qt::red, Qt::blue};
    for (const int index : {0, 2, 3, 4})
        EXPECT_EQ(image.pixelColor(centre(index)), QColor(fills[index])) << index;
    // of two that are too narrow to be drawn the bad one shows
    makeplan(page, "b0-9 u10-19 p20-19999", 512, 63, 255);
    EXPECT_NE(view->viewport()->grab().toImage().pixelColor(centre(0)), QColor(Qt::green));
}

// Zooms by wheel, a notch at a pixel, and by keys. A pixel of 0 stands for a key.
TEST_F(Diagram, ZoomsAtTheMouse)
{
    view->setFocus();
    const std::tuple<int, int, Qt::KeyboardModifiers, double> steps[] = {
        {400, 120, Qt::ControlModifier, 1.5},   {200, 120, Qt::ControlModifier, 2.25},
        {700, 120, Qt::ControlModifier, 3.375}, {500, 120, Qt::NoModifier, 3.375},
        {300, -120, Qt::ControlModifier, 2.25}, {0, Qt::Key_Plus, Qt::ControlModifier, 3.375},
        {0, Qt::Key_0, Qt::ControlModifier, 1}, {300, -120, Qt::ControlModifier, 1}};
    const double unzoomed = view->pixelspercylinder();
    for (const auto &[pixel, notch, modifiers, zoom] : steps) {
        const QPoint place(pixel, view->viewport()->height() / 2);
        const double before = view->mapToScene(place).x();
        if (pixel > 0) {
            QWheelEvent wheel(place, view->viewport()->mapToGlobal(place), {}, {0, notch},
                              Qt::NoButton, modifiers, Qt::NoScrollPhase, false);
            QApplication::sendEvent(view->viewport(), &wheel);
        } else {
            QTest::keyClick(view, Qt::Key(notch), modifiers);
        }
        EXPECT_NEAR(view->pixelspercylinder() / unzoomed, zoom, 1e-6);
        if (pixel > 0 && zoom > 1) {
            EXPECT_NEAR(view->mapToScene(place).x(), before, 1) << zoom;
        }
    }
}

TEST_F(Diagram, KeysReachEveryBlock)
{
    view->setFocus();
    press("r0 l0 r1 R12 R123 L12 L1 L01 E123456 u123456 l5 L45 l3 h0 e6 r6 H0123456");
    // The keys go on from what mouse and tree selected, and the tree follows them.
    select("0");
    press("R01");
    page.treeview->setCurrentIndex(row(2));
    press("r3 r4");
    EXPECT_EQ(page.treeview->currentIndex(), row(4));
    // On the way to a block without a row no other block's row becomes current.
    select("2");
    select("3");
    press("R34 r5");
    EXPECT_EQ(page.treeview->currentIndex(), row(2));

    // A shorter list: the first key shows the remembered place, as far as there is one.
    press("e6");
    page.clearmodelview();
    press("l");
    page.segs.resize(3);
    page.constructextparts();
    page.initpartdiagram();
    press("l2");
    // Whoever has no focus shows no marks.
    const QImage focused = view->viewport()->grab().toImage();
    page.treeview->setFocus();
    EXPECT_NE(view->viewport()->grab().toImage(), focused);
}

TEST_F(Diagram, MenuStandsForTheSelection)
{
    int count = 0, choice = -1;
    QPoint position;
    QTimer watch;
    watch.callOnTimeout([&] {
        auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
        if (!menu)
            return;
        count++;
        position = menu->pos();
        menu->close();
        if (choice >= 0)
            menu->actions().at(choice)->trigger();
    });
    watch.start(0);
    // Selects blocks and clicks on one: what is selected then, and how many menus there were.
    const auto rightclick = [&](const char *places, QPoint pos) {
        select(places);
        QTest::mouseClick(page.windowHandle(), Qt::RightButton, {},
                          view->viewport()->mapTo(&page, pos));
        return selected() + " " + std::to_string(count);
    };
    EXPECT_EQ(rightclick("", {2, 2}), " 0"); // where no block lies
    // A right click takes the block under the mouse, or joins it to several selected ones.
    EXPECT_EQ(rightclick("0", centre(2)), "2 1");
    EXPECT_EQ(rightclick("24", centre(4)), "24 2");
    // The first block on the disk decides, whichever was selected first.
    EXPECT_EQ(rightclick("41", centre(4)), "14 2");
    EXPECT_EQ(rightclick("41", centre(5)), "145 2");

    // By keyboard, at the block, once.
    const auto menukey = [this] {
        QContextMenuEvent event(QContextMenuEvent::Keyboard, {9, 9},
                                view->mapToGlobal(QPoint(9, 9)));
        QApplication::sendEvent(view, &event);
    };
    view->setFocus();
    press("h0");
    choice = 0;
    menukey();
    EXPECT_EQ(position, view->viewport()->mapToGlobal(centre(0)));
    EXPECT_EQ(block(0)->kind, 'p');
    EXPECT_EQ(selected(), "0");
    press("e6");
    choice = 3;
    QTest::keyClick(view, Qt::Key_F10, Qt::ShiftModifier);
    EXPECT_EQ(page.extparts.size(), 8);
    for (const char *const place : {"5", ""}) {
        select(place);
        menukey();
    }
    EXPECT_EQ(count, 4);
    choice = -1;
    QAccessibleInterface *entry = QAccessible::queryAccessibleInterface(view)->child(2);
    entry->actionInterface()->doAction(QAccessibleActionInterface::showMenuAction());
    EXPECT_EQ(count, 5);
    EXPECT_EQ(selected(), "2");
}

TEST_F(Diagram, BlocksAreInTheAccessibilityTree)
{
    view->setFocus();
    select("4");
    QAccessibleInterface *list = QAccessible::queryAccessibleInterface(view);
    const char *names[] = {
        "Good block, 0.0 GB to 8.2 GB",         "Bad block, 8.2 GB to 8.3 GB",
        "Primary Partition, 8.3 GB to 41.1 GB", "Bad block, 41.1264 GB to 41.1346 GB",
        "Logical Disk, 41.1 GB to 82.3 GB",     "Bad block, 82.3 GB to 90.5 GB",
        "Good block, 90.5 GB to 164.5 GB"};
    ASSERT_EQ(list->childCount(), 7);
    for (int i = 0; i < 7; i++) {
        QAccessibleInterface *entry = list->child(i);
        EXPECT_EQ(entry->text(QAccessible::Name), names[i]);
        EXPECT_EQ(entry->parent(), list);
        EXPECT_EQ(list->indexOfChild(entry), i);
        EXPECT_EQ(entry->state().selected, i == 4);
        EXPECT_EQ(entry->state().focused, i == 4);
        EXPECT_TRUE(entry->rect().contains(view->viewport()->mapToGlobal(centre(i)))) << i;
    }
    EXPECT_EQ(list->child(7), nullptr);
    EXPECT_EQ(list->focusChild(), list->child(4));
    page.treeview->setFocus();
    EXPECT_FALSE(list->child(4)->state().focused);

    // An entry outlives its block, and knows it.
    QAccessibleInterface *last = list->child(6);
    page.clearmodelview();
    EXPECT_EQ(list->childCount(), 0);
    EXPECT_TRUE(last->state().invalid);
    EXPECT_TRUE(last->rect().isNull());
    EXPECT_EQ(last->text(QAccessible::Name), "");
    last->actionInterface()->doAction(QAccessibleActionInterface::setFocusAction());
    page.constructextparts();
    page.initpartdiagram();
    EXPECT_EQ(list->child(6), last);
    EXPECT_EQ(last->text(QAccessible::Name), names[6]);
}
