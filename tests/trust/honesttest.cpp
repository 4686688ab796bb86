#include "tests/support/planchecker.h"
#include "tests/support/wizardbench.h"
#include "views/graphicsview.h"
#include "views/parttreemodel.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QComboBox>
#include <QLabel>
#include <QMessageBox>
#include <QRadioButton>
#include <QTest>
#include <QTextEdit>
#include <QTreeView>

#include <gtest/gtest.h>

namespace
{

// 40 cylinders of 32 sectors, scan skipped; four logical disks of ten cylinders.
class Honest : public ::testing::Test
{
protected:
    Honest() : disk(bench.adddisk(40, 2, 16))
    {
        bench.openscanpage();
        bench.click(WizardBench::skip);
        page = bench.planner();
        selectblocks(*page, {0});
        page->split4part();
        for (const std::uint64_t start : {0, 10, 20, 30}) {
            selectblocks(*page, {start});
            page->addld();
        }
    }

    WizardBench bench;
    std::shared_ptr<platform::SimulatedDisk> disk;
    DiskPartition *page = nullptr;
};

TEST_F(Honest, ReportNamesWhatDidNotReachTheDisk)
{
    const auto commit = [&] {
        EXPECT_TRUE(bench.click(WizardBench::next));
        EXPECT_EQ(bench.current(), bench.wizard->lastpageid);
        const QString text = bench.lastpage()->reportedit->toPlainText();
        EXPECT_TRUE(bench.click(WizardBench::back));
        return text;
    };
    const QString ordinary = commit();
    EXPECT_EQ(ordinary.count('\n'), 5);
    // The first record lies behind the track of the master boot sector.
    disk->faults->lying.add(20 * 32);
    disk->faults->unwritable.add(1);
    disk->faults->unreadable.add(30 * 32);
    const auto record = [](int number, int sector) {
        return QString("The boot record of logical disk %1 in sector %2 is not on the disk as "
                       "written: this logical disk and those listed behind it can not be used. Go "
                       "Back, give its block up, and write again.\n")
            .arg(number)
            .arg(sector);
    };
    // sector 1 still holds the record of the first commit, and that is the same
    EXPECT_EQ(commit(), ordinary + record(3, 640) + record(4, 960));
    *disk->faults = {};
    disk->faults->lying.add(0, 1);
    EXPECT_EQ(commit(), ordinary +
                            "The partition table in sector 0 is not on the disk as written: none "
                            "of the partitions can be used. Go Back, rescan the block that holds "
                            "the sector, and write again.\n"
                            "The scan result in sector 1 is not on the disk as written. The "
                            "partitions are not affected, but a later run can not fall back on "
                            "it.\n");
    *disk->faults = {};
    EXPECT_EQ(commit(), ordinary);
}

TEST_F(Honest, ReturnOnThePageNeverWrites)
{
    disk->recording->clear();
    bench.wizard->activateWindow();
    page->treeview->setCurrentIndex(page->treemodel->index(0, 1, page->treemodel->extendindex()));
    const QList<QWidget *> watched = {page->strategybox, page->treeview, page->diagramview};
    for (QWidget *widget : watched) {
        widget->setFocus();
        for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter})
            QTest::keyClick(widget, key);
    }
    // an editor still takes it
    page->treeview->edit(page->treeview->currentIndex());
    QWidget *editor = page->treeview->viewport()->findChild<QWidget *>();
    ASSERT_TRUE(editor);
    QTest::keyClick(editor, Qt::Key_Return);
    QTest::qWait(20);
    EXPECT_EQ(page->treeview->viewport()->findChildren<QWidget *>().size(), 0);
    EXPECT_EQ(bench.current(), bench.wizard->partitionpageid);
    EXPECT_EQ(disk->recording->operations.size(), 0U);
}

TEST(PlanNote, FollowsThePlan)
{
    static const char spans[] = "the extended range spans a primary partition (some tools refuse "
                                "that)";
    static const char order[] = "rows are out of disk order";
    static const char holds[] = "a partition holds a bad stretch";
    static const char begins[] = "the disk begins badly, so its table may not lie in sector 0";
    DiskPartition page;
    const auto note = [&page] {
        QTest::qWait(1);
        EXPECT_EQ(page.plannote->text().isEmpty(), page.plannote->toolTip().isEmpty());
        return page.plannote->toolTip().toStdString();
    };
    const auto line = [](const QStringList &remarks) {
        return ("Note: " + remarks.join("; ") + ".").toStdString();
    };
    page.resize(760, 500);
    page.show();
    const auto now = [&](const char *plan) {
        makeplan(page, plan);
        return note();
    };
    EXPECT_EQ(now("p0-9 l10-19 l20-29 p30-39 b40-49"), "");
    EXPECT_EQ(now("b0-9 u10-19"), line({begins}));
    EXPECT_EQ(now("l0-9 p10-19 l20-29 b30-39 p40-49 u50-59"), line({spans}));
    page.treeview->setCurrentIndex(page.treemodel->index(1, 0));
    page.onupPartTreeNode();
    EXPECT_EQ(note(), line({spans, order}));
    selectblocks(page, {20, 30, 40});
    page.combineparts();
    EXPECT_EQ(note(), line({holds, spans}));
    page.clearall();
    EXPECT_EQ(note(), "");
}

TEST(HostileNames, StayPlainText)
{
    WizardBench bench;
    const auto disk = bench.adddisk(4, 2, 16);
    disk->identitymap = 1;
    disk->identity = platform::identitywithmodel("<b>&lt;x\r\n\x1b[2J../../etc/x:%1%n\x7f");
    bool plain = true;
    bench.dialogs.custom = [&plain](QWidget *widget) {
        const auto *box = qobject_cast<QMessageBox *>(widget);
        plain = plain && box && box->textFormat() == Qt::PlainText;
        return false;
    };
    bench.openscanpage();
    EXPECT_EQ(bench.selectpage()->diskgroup->button(0)->text(),
              "<b>&&lt;x???[2J../../etc/x:%1%n?,0.0G");
    EXPECT_STREQ(bench.scanpage()->filename, "_b_&lt;x___[2J.._.._etc_x_%1%n_");
    EXPECT_TRUE(bench.runscan());
    EXPECT_EQ(bench.dialogs.messages().size(), 1);
    EXPECT_TRUE(plain) << "a box that takes markup";
}

} // namespace
