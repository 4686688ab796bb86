// Catches a map that points to, names or shows another cell than the scan or the user means.
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
        for (const QSize size : {QSize(560, 36), {560, 120}, {40, 900}, {3800, 1400}}) {
            const QRect area({3, 5}, size);
            const SurfaceGrid grid = surfacegrid(count, area, 90);
            for (int i = 0; i < count; ++i) {
                ASSERT_TRUE(area.contains(grid.rect(i)));
                ASSERT_EQ(grid.at(grid.rect(i).center()), i);
            }
            for (const QPoint beside : {grid.rect(count).topLeft(), {2, 5}, {area.right() + 1, 5}})
                EXPECT_EQ(grid.at(beside), -1);
            const SurfaceParts parts = surfaceparts(size, {count, 15, 1, 34, 17});
            EXPECT_LT(parts.cells.bottom(), parts.status.top());
            EXPECT_EQ(parts.curve.height() > 0, size.height() > 36);
        }
    }
    EXPECT_EQ(surfacegrid(500, {0, 0, 554, 36}, 60).cell, QSize(6, 6));
}

class SurfaceMapTest : public ::testing::Test, public QObject
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
        grid->installEventFilter(this);
    }
    bool eventFilter(QObject *, QEvent *event) override
    {
        return (paints += event->type() == QEvent::Paint) < 0;
    }
    /// Whether the line soon begins so.
    bool shows(const char *start)
    {
        const auto *line = map.findChild<QLabel *>();
        return QTest::qWaitFor([&] { return line->text().startsWith(start); });
    }

    int paints = 0;
    SurfaceMap map;
    SurfaceCells *grid = map.findChild<SurfaceCells *>();
};

TEST_F(SurfaceMapTest, PaintsAtMostTwentyTimesASecond)
{
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; clock.elapsed() < 300; i = (i + 1) % 480) {
        map.setcell(i, {550, 599, SurfaceCell::State::working, -1, -1});
        QApplication::processEvents();
    }
    EXPECT_GT(paints, 1);
    EXPECT_LE(paints, clock.elapsed() / 50 + 1);
    // the last change shows too, and the line is about the cell in work, whatever has the focus
    map.setcells(std::vector<SurfaceCell>(480));
    map.setcell(6, {300, 349, SurfaceCell::State::working, -1, -1});
    map.setcell(480, {});
    EXPECT_TRUE(shows("segment 7 of 480, in work"));
}

TEST_F(SurfaceMapTest, KeysAndPointerReachEveryCell)
{
    int wide = 1; // columns
    while (grid->cellrect(wide).top() == grid->cellrect(0).top())
        ++wide;
    const int lowest = 479 - 478 % wide; // of the second column
    const auto press = [this](const std::string &script, int cell) {
        static const Qt::Key keys[] = {Qt::Key_Left, Qt::Key_Right,  Qt::Key_Up,
                                       Qt::Key_Down, Qt::Key_PageUp, Qt::Key_PageDown};
        for (const char key : script)
            QTest::keyClick(grid, key == 'e' ? Qt::Key_End : keys[std::string("lrudpn").find(key)]);
        EXPECT_EQ(map.currentcell(), cell) << script;
    };
    press("", 0); // comes with the focus
    press("lur", 1);
    press("dd", 2 * wide + 1);
    press("nnnnnd", lowest);
    press("ppppp", 1);
    press("er", 479);
    // the menu opens where the cell is; a right click takes the cell along
    QSignalSpy menus(&map, &QWidget::customContextMenuRequested);
    QTest::keyClick(grid, Qt::Key_F10, Qt::ShiftModifier);
    const auto middle = [this](int i) { return grid->mapTo(&map, grid->cellrect(i).center()); };
    QTest::mouseClick(map.windowHandle(), Qt::RightButton, {}, middle(11));
    ASSERT_EQ(menus.size(), 2);
    EXPECT_EQ(map.currentcell(), 11);
    EXPECT_EQ(menus[0][0], middle(479));
    EXPECT_EQ(menus[1][0], middle(11));
    EXPECT_TRUE(shows("segment 12 of 480, bad, slowest read 2900 ms, 4.5 GB to 4.9 GB, cylinders "
                      "550 to 599, sectors 8835750 to 9638999"));
    QTest::mouseMove(map.windowHandle(), middle(3));
    EXPECT_TRUE(shows("segment 4 of 480, good"));
    QAccessibleInterface *spoken = QAccessible::queryAccessibleInterface(grid)->child(1);
    EXPECT_EQ(spoken->text(QAccessible::Name),
              "segment 2, 0.4 GB to 0.8 GB, good, slowest read 35 ms");
    EXPECT_EQ(spoken->rect().topLeft(), grid->mapToGlobal(grid->cellrect(1).topLeft()));
    map.setcells({map.cells().begin(), map.cells().begin() + 5});
    EXPECT_EQ(map.currentcell(), 4);
    map.setcells({});
    EXPECT_TRUE(spoken->state().invalid);
    EXPECT_FALSE(map.grab().isNull());
}
