#include "planner/diskpartition.h"

#include "planner/commitplan.h"
#include "tests/support/planchecker.h"
#include "views/graphicsscene.h"
#include "views/graphicsview.h"
#include "views/partitem.h"
#include "views/parttreemodel.h"

#include <QAction>
#include <QComboBox>
#include <QPushButton>
#include <QTest>
#include <QTreeView>

#include <gtest/gtest.h>

static const char *const plan = "p0-9 u10-19 p20-29 l30-39 b40-41 l42-49";

TEST(PlannerPage, SelectionGoesBothWays)
{
    DiskPartition page;
    makeplan(page, plan);
    const auto current = [&page] {
        const QModelIndex index = page.treeview->currentIndex();
        return index.isValid() ? static_cast<PartTreeNode *>(index.internalPointer())->part->start
                               : ~0ULL;
    };
    const auto selected = [&page] {
        std::string text;
        for (const EXTPART *part : page.selectedparts())
            text += std::to_string(part->start) + " ";
        return text;
    };

    // later blocks first: the tree follows the first on the disk, and the diagram keeps them all
    page.extparts[2]->item->setSelected(true);
    EXPECT_EQ(current(), 20u);
    page.extparts[0]->item->setSelected(true);
    EXPECT_EQ(current(), 0u);
    EXPECT_EQ(selected(), "0 20 ");
    // a free block leaves the tree where it was
    selectblocks(page, {10});
    EXPECT_EQ(current(), 0u);

    const QModelIndex logical = page.treemodel->findpart(page.extparts[5]);
    page.treeview->setCurrentIndex(logical.siblingAtColumn(3));
    EXPECT_EQ(selected(), "42 ");
    EXPECT_EQ(page.treeview->currentIndex().column(), 3) << "the cursor stays in its cell";
    page.treeview->setCurrentIndex(page.treemodel->extendindex());
    EXPECT_EQ(selected(), "");

    // a deleted row hands the cursor on, and the diagram goes along
    page.treeview->setCurrentIndex(page.treemodel->findpart(page.extparts[2]));
    page.ondelPartTreeNode();
    EXPECT_EQ(blocktext(page), "p0-9 u10-19 u20-29 l30-39 b40-41 l42-49");
    const EXTPART *row =
        static_cast<PartTreeNode *>(page.treeview->currentIndex().internalPointer())->part;
    EXPECT_EQ(selected(), row->item ? std::to_string(row->start) + " " : "");
    // an operation in the diagram leaves the diagram's selection alone
    selectblocks(page, {0, 10});
    page.addld();
    EXPECT_EQ(selected(), "0 10 ");
    EXPECT_EQ(planfaults(page), "");
}

TEST(PlannerPage, LayoutFollowsTheView)
{
    DiskPartition page;
    page.resize(760, 500);
    page.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&page));
    makeplan(page, plan);
    const auto width = [&page] { return page.extparts.last()->rect.width(); };
    EXPECT_NEAR(width(), 0.8 * page.diagramview->width() * 8 / 50, 1e-9);
    EXPECT_NEAR(page.itemheight, 0.8 * page.diagramview->height(), 1e-9);
    const QString tip = page.extparts.last()->item->toolTip();
    const double before = width() / page.diagramview->width();
    page.resize(1200, 600);
    QTest::qWait(50);
    EXPECT_NEAR(width() / page.diagramview->width(), before, 1e-9);
    EXPECT_EQ(page.extparts.last()->item->toolTip(), tip);
    EXPECT_EQ(planfaults(page), "");
    EXPECT_TRUE(page.treeview->isExpanded(page.treemodel->extendindex()));

    // without blocks there is nothing to divide by
    page.clearall();
    page.initpartdiagram();
    page.resizepartdiagram();
    EXPECT_EQ(page.widthpersize, 0);
}

TEST(PlannerPage, KeyboardAndNames)
{
    DiskPartition page;
    page.show();
    page.strategybox->setFocus();
    QWidget *const order[] = {page.strategybox, page.diagramview, page.treeview,
                              page.upbutton,    page.downbutton,  page.deletebutton};
    for (QWidget *widget : order) {
        EXPECT_EQ(page.focusWidget(), widget);
        EXPECT_FALSE(widget->accessibleName().isEmpty());
        QTest::keyClick(page.focusWidget(), Qt::Key_Tab);
    }
    // the arrow keys reach every cell, so that F2 can edit it
    makeplan(page, plan);
    page.treeview->setFocus();
    page.treeview->setCurrentIndex(page.treemodel->index(0, 0));
    QTest::keyClick(page.treeview, Qt::Key_Right);
    EXPECT_EQ(page.treeview->currentIndex(), page.treemodel->index(0, 1));
    EXPECT_EQ(page.diagramview->actions().size(), 10);
    EXPECT_EQ(page.strategybox->count(), 6);
}

TEST(CommitPlan, PartsAndReport)
{
    DiskPartition page;
    makeplan(page, "p0-999 l1000-1099 b1100-1100 l1101-1199 p1200-1299");
    selectblocks(page, {0});
    page.extparts[0]->bootflag = 0x80;
    page.extparts[4]->systype = 0x1B;
    const std::vector<EXTPART> entries = page.treemodel->getallparts();
    const std::vector<PART> parts = buildparts(entries, 63);
    QStringList lines;
    for (const PART &part : parts)
        lines.append(QString("%1 %2 %3-%4 %5 %6 %7")
                         .arg(int(part.index))
                         .arg(QChar(part.kind))
                         .arg(part.start)
                         .arg(part.stop)
                         .arg(part.size)
                         .arg(part.bootflag)
                         .arg(int(static_cast<unsigned char>(part.systype))));
    // the extended entry covers the gap between its logical disks
    EXPECT_EQ(lines.join('\n').toStdString(), "0 p 0-62999 63000 128 7\n"
                                              "1 e 63000-75599 12600 0 15\n"
                                              "2 p 75600-81899 6300 0 27\n"
                                              "3 l 63000-69299 6300 0 7\n"
                                              "4 l 69363-75599 6237 0 7");
    const PARTRESULT result = buildresult(entries, g);
    EXPECT_EQ(
        result.report,
        "Primary Partition,start=0.0GB,stop=100.0GB,size=100.0GB,type=NTFS,Active\n"
        "Primary Extended,start=100.0GB,stop=120.0GB,size=19.9GB,type=Extended(BIG),Inactive\n"
        "Primary Partition,start=120.0GB,stop=130.0GB,size=10.0GB,type=,Inactive\n"
        "Logical Disk,start=100.0GB,stop=110.0GB,size=10.0GB,type=NTFS,Inactive\n"
        "Logical Disk,start=110.1GB,stop=120.0GB,size=9.9GB,type=NTFS,Inactive\n");
    EXPECT_EQ(result.primarycount, 2);
    EXPECT_EQ(result.extendedcount, 1);
    EXPECT_EQ(result.logicalcount, 2);
    EXPECT_TRUE(result.indiskorder);

    // rows out of order in either group, and no size below nothing for the extended entry
    page.treemodel->downRow(page.treemodel->index(0, 0));
    EXPECT_FALSE(buildresult(page.treemodel->getallparts(), g).indiskorder);
    page.treemodel->upRow(page.treemodel->index(1, 0));
    page.treemodel->downRow(page.treemodel->findpart(page.extparts[1]));
    const std::vector<EXTPART> swapped = page.treemodel->getallparts();
    EXPECT_FALSE(buildresult(swapped, g).indiskorder);
    EXPECT_EQ(buildparts(swapped, 63)[1].size, 0u);
}
