#include "views/surfacemap.h"
#include "views/surfacecells.h"

#include <QAccessible>
#include <QLabel>
#include <QSignalSpy>
#include <QTest>
#include <gtest/gtest.h>

TEST(SurfaceLayout, HoldsEveryCellAtAnySize)
{
    for (const int count : {0, 1, 3, 37, 499, 500}) {
        for (const QSize size : {QSize(560, 36), {560, 120}, {40, 900}, {3800, 1400}, {7, 3}}) {
            const QRect area({3, 5}, size);
            const SurfaceGrid grid = surfacegrid(count, area, 90);
            for (int i = 0; i < count && size.width() > 7; ++i)
                ASSERT_TRUE(area.contains(grid.rect(i)) && grid.at(grid.rect(i).center()) == i);
            EXPECT_TRUE(grid.at(grid.rect(count).topLeft()) == -1 && grid.at({2, 5}) == -1);
            const SurfaceParts parts = surfaceparts(size, {count, 15, 1, 34, 17});
            EXPECT_TRUE(parts.cells.bottom() < parts.status.top() || size.height() < 50);
            EXPECT_EQ(parts.curve.height() > 0, size.height() >= 120);
        }
    }
    EXPECT_EQ(surfacegrid(500, {0, 0, 554, 36}, 60).cell, QSize(6, 6));
}

class SurfaceMapTest : public ::testing::Test
{
protected:
    SurfaceMapTest()
    {
        map.setdisk({255, 63, 512, 24000, 16065, 8225280, 24000 * 8225280ULL, 24000 * 16065ULL});
        std::vector<SurfaceCell> cells(480, {0, 0, SurfaceCell::State::good, 35, 120});
        for (std::uint64_t i = 0; i < 480; ++i)
            cells[i].stop = 49 + (cells[i].start = i * 50);
        cells[11] = {550, 599, SurfaceCell::State::bad, 2900, -1};
        map.setcells(cells);
        map.resize(800, 300);
        map.show();
        map.activateWindow();
        map.setFocus();
        QApplication::processEvents();
    }
    QString line() { return map.findChild<QLabel *>()->text(); }

    SurfaceMap map;
    SurfaceCells *grid = map.findChild<SurfaceCells *>();
};

TEST_F(SurfaceMapTest, PaintsAtMostTwentyTimesASecond)
{
    struct Paints : QObject {
        int count = 0;
        bool eventFilter(QObject *, QEvent *event) override
        {
            return (count += event->type() == QEvent::Paint) < 0;
        }
    } paints;
    grid->installEventFilter(&paints);
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; clock.elapsed() < 300; i = (i + 1) % 480) {
        map.setcell(i, {550, 599, SurfaceCell::State::working, -1, -1});
        QApplication::processEvents();
    }
    EXPECT_TRUE(paints.count > 1 && paints.count <= clock.elapsed() / 50 + 1) << paints.count;
    // the last change shows too, and the line is about the cell in work, whatever has the focus
    map.setcells(std::vector<SurfaceCell>(480));
    map.setcell(6, {300, 349, SurfaceCell::State::working, -1, -1});
    map.setcell(480, {});
    EXPECT_TRUE(QTest::qWaitFor([&] { return line().startsWith("segment 7 of 480, in work"); }));
}

TEST_F(SurfaceMapTest, KeysAndPointerReachEveryCell)
{
    int wide = 1, low = 479; // columns, and the lowest cell of the second one
    while (grid->cellrect(wide).top() == grid->cellrect(0).top())
        ++wide;
    while (low % wide != 1)
        --low;
    const auto press = [this](Qt::Key key, int times, int cell) {
        while (times-- > 0)
            QTest::keyClick(grid, key);
        EXPECT_EQ(map.currentcell(), cell) << key;
    };
    press(Qt::Key_Left, 1, 0);
    press(Qt::Key_Up, 1, 0);
    press(Qt::Key_Right, 1, 1);
    press(Qt::Key_Down, 2, 2 * wide + 1);
    press(Qt::Key_PageDown, 5, low);
    press(Qt::Key_Down, 1, low);
    press(Qt::Key_PageUp, 5, 1);
    press(Qt::Key_End, 1, 479);
    press(Qt::Key_Right, 1, 479);
    // the menu opens where the cell is; a right click takes the cell along
    QSignalSpy menus(&map, &QWidget::customContextMenuRequested);
    QTest::keyClick(grid, Qt::Key_F10, Qt::ShiftModifier);
    const auto middle = [this](int i) { return grid->mapTo(&map, grid->cellrect(i).center()); };
    QTest::mouseClick(map.windowHandle(), Qt::RightButton, {}, middle(11));
    ASSERT_EQ(menus.size(), 2);
    EXPECT_TRUE(menus[0][0] == middle(479) && menus[1][0] == middle(11) && map.currentcell() == 11);
    EXPECT_TRUE(line().startsWith("segment 12 of 480, bad, slowest read 2900 ms, 4.5 GB to 4.9 GB, "
                                  "cylinders 550 to 599, sectors 8835750 to 9638999"));
    QTest::mouseMove(map.windowHandle(), middle(3));
    EXPECT_TRUE(QTest::qWaitFor([&] { return line().startsWith("segment 4 of 480, good"); }));
    map.setcells({map.cells().begin(), map.cells().begin() + 5});
    EXPECT_EQ(map.currentcell(), 4);
}

TEST_F(SurfaceMapTest, SpeaksItsCells)
{
    QAccessibleInterface *list = QAccessible::queryAccessibleInterface(grid);
    ASSERT_EQ(list->childCount(), 480);
    QTest::keyClick(grid, Qt::Key_Right);
    QAccessibleInterface *cell = list->child(1);
    const QString name = cell->text(QAccessible::Name);
    EXPECT_EQ(name, "segment 2, 0.4 GB to 0.8 GB, good, slowest read 35 ms");
    EXPECT_TRUE(list->focusChild() == cell && list->indexOfChild(cell) == 1);
    EXPECT_EQ(list->childAt(cell->rect().center().x(), cell->rect().center().y()), cell);
    QStringList said;
    for (QWidget *part : map.findChildren<QWidget *>())
        said += QAccessible::queryAccessibleInterface(part)->text(QAccessible::Description);
    EXPECT_TRUE(said.contains("120 MB/s to 120 MB/s, mean of the segments 120 MB/s"));
    EXPECT_TRUE(said.contains("bad: 1, < 50 ms: 479"));
    map.setcells({});
    EXPECT_TRUE(list->childCount() == 0 && cell->state().invalid && !map.grab().isNull());
}
