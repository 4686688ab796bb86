#pragma once

#include "core/geom.h"
#include "planner/diskpartition.h"
#include "views/graphicsscene.h"
#include "views/graphicsview.h"
#include "views/partitem.h"
#include "views/parttreemodel.h"

#include <gtest/gtest.h>

#include <QTest>

/// A planner page on its own over seven blocks, two of them bad and one of a single cylinder:
/// 0-999, bad 1000-1009, 1010-4999, bad 5000, 5001-9999, bad 10000-10999, 11000-19999.
class ViewsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        g = withfactors({.totalbytes = 20000ull * 255 * 63 * 512}, 512, 63, 255);
        page.segs = {{0, 999, 0},     {1000, 1009, 1},   {1010, 4999, 0},  {5000, 5000, 1},
                     {5001, 9999, 0}, {10000, 10999, 1}, {11000, 19999, 0}};
        page.constructextparts();
        page.resize(800, 600);
        page.show();
        page.initpartdiagram();
        QApplication::processEvents();
        ASSERT_EQ(page.extparts.size(), 7);
    }

    EXTPART *block(int index) { return page.extparts[index]; }

    void select(const QList<int> &indexes)
    {
        page.diagramscene->clearSelection();
        for (const int index : indexes)
            block(index)->item->setSelected(true);
    }

    QList<int> selected()
    {
        QList<int> indexes;
        for (int i = 0; i < page.extparts.size(); i++) {
            if (block(i)->item->isSelected())
                indexes.append(i);
        }
        return indexes;
    }

    /// Makes a block a primary partition or a logical disk, as its menu does.
    QModelIndex assign(int index, char kind)
    {
        select({index});
        kind == 'p' ? page.addpp() : page.addld();
        return page.treemodel->findpart(block(index));
    }

    DiskPartition page;
    GraphicsView *view = page.diagramview;
};
