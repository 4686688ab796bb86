#pragma once

#include "tests/support/planchecker.h"

/// A planner page on its own over seven blocks, at 8,225,280 bytes a cylinder.
class ViewsTest : public ::testing::Test
{
protected:
    ViewsTest()
    {
        page.resize(800, 600);
        page.show();
        makeplan(page,
                 "u0-999 b1000-1009 p1010-4999 b5000-5000 l5001-9999 b10000-10999 u11000-19999",
                 512, 63, 255);
        QApplication::processEvents();
    }

    EXTPART *block(int index) { return page.extparts[index]; }
    QModelIndex row(int index) { return page.treemodel->findpart(block(index)); }
    /// Selects blocks, one behind the other, by their places: "024".
    void select(const std::string &places)
    {
        page.diagramscene->clearSelection();
        for (const char place : places)
            block(place - '0')->item->setSelected(true);
    }

    DiskPartition page;
    GraphicsView *view = page.diagramview;
};
