// Catches a page whose diagram, list, history and note tell of another plan than the one that Next
// would write.
#include "tests/support/dialogs.h"
#include "tests/support/planchecker.h"
#include "views/graphicsview.h"

#include <QSignalSpy>

static const char *const plan = "p0-9 u10-19 p20-29 l30-39 b40-41 l42-49";

TEST(PlannerPage, SelectionGoesBothWays)
{
    DiskPartition page;
    makeplan(page, plan);
    const auto current = [&page] { return partof(page.treeview->currentIndex()).start; };
    const auto selected = [&page] { return blocktext(page.selectedparts()); };

    // later blocks first: the tree follows the first on the disk, and the diagram keeps them all
    page.extparts[2]->item->setSelected(true);
    EXPECT_EQ(current(), 20u);
    page.extparts[0]->item->setSelected(true);
    EXPECT_EQ(current(), 0u);
    EXPECT_EQ(selected(), "p0-9 p20-29");
    // a free block leaves the tree where it was
    selectblocks(page, {10});
    EXPECT_EQ(current(), 0u);

    EXPECT_TRUE(page.treeview->isExpanded(page.treemodel->extendindex()));
    const QModelIndex cell = page.treemodel->findpart(page.extparts[5]).siblingAtColumn(3);
    page.treeview->setCurrentIndex(cell);
    EXPECT_EQ(selected(), "l42-49");
    EXPECT_EQ(page.treeview->currentIndex(), cell);
    page.treeview->setCurrentIndex(page.treemodel->extendindex());
    EXPECT_EQ(selected(), "");

    // a deleted row hands the cursor on, and the diagram goes along
    page.treeview->setCurrentIndex(page.treemodel->findpart(page.extparts[3]));
    page.deletebutton->click();
    const PartItem *item = partof(page.treeview->currentIndex()).item;
    EXPECT_EQ(page.selectedparts(), item ? QList{item->part} : QList<EXTPART *>());
    // an operation in the diagram leaves the diagram's selection alone
    selectblocks(page, {0, 10});
    page.addld();
    EXPECT_EQ(selected(), "l0-9 u10-19");
    // and its row becomes the list's, or none: the list's buttons act on what the user looks at
    EXPECT_EQ(page.treeview->currentIndex(), page.treemodel->findpart(page.extparts[0]));
    EXPECT_EQ(page.treeview->selectionModel()->selectedIndexes().size(), 6);
    page.delpart();
    const std::string before = planstate(page);
    for (QPushButton *button : {page.deletebutton, page.upbutton, page.downbutton})
        button->click();
    EXPECT_EQ(planstate(page), before);
    // what is split stays selected by its first part
    page.splitpart();
    EXPECT_EQ(selected(), "u0-4");
}

TEST(PlannerPage, HistoryForgives)
{
    DiskPartition page;
    page.show();
    DialogAnswers dialogs;
    makeplan(page, "u0-9 b10-10 u11-30");
    page.undostack->clear();
    page.strategybox->setCurrentIndex(1);
    selectblocks(page, {11});
    page.addld();
    page.treemodel->setData(page.treemodel->findpart(page.extparts[2]).siblingAtColumn(1), "2.5",
                            Qt::EditRole);
    EXPECT_EQ(page.undoaction->text(), "Undo Start(GB) of Logical Disk 1");
    // a strategy with its dialogs is one step, cancelled or not, and the box goes along
    dialogs.answers = {0.5, QVariant()};
    page.strategybox->setCurrentIndex(5);
    EXPECT_EQ(blocktext(page.extparts), "u0-9 b10-10 u11-30");
    // what is pressed; the line, the rows, the selection and the strategy then
    const std::tuple<const char *, const char *, const char *, const char *, int> steps[] = {
        {"Ctrl+Z", "Undone: create", "p0-9 e25-30[l25-30]", "", 1},
        {"Ctrl+Z", "Undone: Start(GB)", "p0-9 e11-30[l11-30]", "l11-30", 1},
        {"Ctrl+Z", "Undone: assign to a Logical", "p0-9 p11-30", "p11-30", 1},
        {"Ctrl+Y", "Done again: assign", "p0-9 e11-30[l11-30]", "l11-30", 1},
        {"Ctrl+Shift+Z", "Done again: Start", "p0-9 e25-30[l25-30]", "l25-30", 1},
        {"Ctrl+Y", "Done again: create", "", "", 5},
        {"Ctrl+Y", "Done again: create", "", "", 5}};
    page.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&page));
    page.diagramview->setFocus();
    const QSignalSpy paints(page.diagramview, &GraphicsView::painted);
    for (const auto &[keys, line, rows, selected, strategy] : steps) {
        QTest::qWait(1);
        const qsizetype painted = paints.size();
        const int index = page.undostack->index();
        QTest::keySequence(page.diagramview, QKeySequence(keys));
        EXPECT_TRUE(index == page.undostack->index() ||
                    QTest::qWaitFor([&] { return paints.size() > painted; }));
        EXPECT_TRUE(page.historyline->text().startsWith(line)) << line;
        EXPECT_EQ(rowtext(*page.treemodel), rows) << line;
        EXPECT_EQ(blocktext(page.selectedparts()), selected) << line;
        EXPECT_EQ(page.strategybox->currentIndex(), strategy) << line;
    }
    // what was undone does not change where the next one's row comes
    makeplan(page, "l0-9 u10-19 l20-29");
    selectblocks(page, {10});
    page.addld();
    page.undo();
    page.addld();
    EXPECT_EQ(rowtext(*page.treemodel), "e0-29[l0-9 l10-19 l20-29]");
    // the wheel over the closed box leaves the plan alone
    const auto center = QPointF(page.strategybox->rect().center());
    QWheelEvent wheel(center, page.strategybox->mapToGlobal(center), {}, {0, -120}, Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(page.strategybox, &wheel);
    EXPECT_EQ(page.strategybox->currentIndex(), 5);
}

TEST(PlannerPage, NoteFollowsThePlan)
{
    DiskPartition page;
    page.resize(760, 500);
    page.show();
    const auto note = [&page](const char *plan = nullptr) {
        if (plan)
            makeplan(page, plan);
        QTest::qWait(1);
        return page.plannote->toolTip();
    };
    // what stands behind the figures
    const auto remarks = [&note](const char *plan = nullptr) {
        return note(plan).section("margins.", 1).remove(" Note: ");
    };
    const QString figures =
        "4 partitions on 4.0 of 5.0 GB; 0.0 GB lost to damage, 1.0 GB to margins.";
    EXPECT_EQ(note("p0-9 l10-19 l20-29 p30-39 b40-49"), figures);
    page.onstrategychanged(0);
    EXPECT_EQ(note(), "Next would create this: " + figures);
    const std::pair<int, const char *> counts[] = {
        {15, ""}, {16, " More than 15 partitions: some systems give no names to the rest."}};
    for (const auto &[parts, warning] : counts) {
        makeplan(page, "l0-39");
        selectblocks(page, {0});
        page.splitpart(parts);
        EXPECT_EQ(remarks(), warning);
    }
    EXPECT_EQ(plansummary({}, {{0, 9, 1}}, 4, g),
              "0 partitions on 0.0 of 1.0 GB; 0.4 GB lost to damage, 0.6 GB to margins.");
    g.totalsectors = maxmbrsectors + 1;
    EXPECT_TRUE(plansummary(std::vector<EXTPART>(128), {}, 0, g).endsWith("margins."));
    EXPECT_TRUE(plansummary(std::vector<EXTPART>(129), {}, 0, g).endsWith("has no room for them."));
    EXPECT_EQ(remarks("b0-9 u10-19"),
              "the disk begins badly, so its table may not lie in sector 0.");
    const QString spans = "the extended range spans a primary partition (some tools refuse that)";
    EXPECT_EQ(remarks("l0-9 p10-19 l20-29 b30-39 p40-49 u50-59"), spans + ".");
    page.treeview->setCurrentIndex(page.treemodel->index(1, 0));
    page.onupPartTreeNode();
    EXPECT_EQ(remarks(), spans + "; rows are out of disk order.");
    EXPECT_EQ(page.undoaction->text(), "Undo move Primary Partition 1 up");
    selectblocks(page, {20, 30, 40});
    page.combineparts();
    EXPECT_EQ(remarks(), "a partition holds a bad stretch; " + spans + ".");
    page.clearall();
    EXPECT_EQ(remarks(), "");
}

TEST(CommitPlan, PartsAndReport)
{
    DiskPartition page;
    makeplan(page, "p0-999* l1000-1099 b1100-1100 l1101-1199 p1200-1299");
    page.extparts[4]->systype = 0x1B;
    const auto entries = [&page] { return page.treemodel->getallparts(); };
    const std::vector<PART> parts = buildparts(entries(), 63);
    ASSERT_EQ(parts.size(), 5u);
    EXPECT_EQ(parts[0].bootflag, 0x80);
    // the number counts rows of one kind
    EXPECT_EQ(page.treemodel->rowname(page.treemodel->findpart(page.extparts[4])),
              "Primary Partition 2");
    EXPECT_EQ(parts[2].systype, 0x1B);
    // the extended entry covers the gap between its logical disks
    EXPECT_EQ(parts[1].start, 63000u);
    EXPECT_EQ(parts[1].stop, 75599u);
    EXPECT_EQ(parts[1].size, 12600u);
    const PARTRESULT result = buildresult(entries(), g);
    EXPECT_EQ(result.report,
              R"(Primary Partition,start=0.0GB,stop=100.0GB,size=100.0GB,type=NTFS,Active
Primary Extended,start=100.0GB,stop=120.0GB,size=19.9GB,type=Extended(BIG),Inactive
Primary Partition,start=120.0GB,stop=130.0GB,size=10.0GB,type=,Inactive
Logical Disk,start=100.0GB,stop=110.0GB,size=10.0GB,type=NTFS,Inactive
Logical Disk,start=110.1GB,stop=120.0GB,size=9.9GB,type=NTFS,Inactive
)");
    EXPECT_EQ(result.primarycount, 2);
    EXPECT_EQ(result.extendedcount, 1);
    EXPECT_EQ(result.logicalcount, 2);
    EXPECT_TRUE(result.indiskorder);
    const auto numbers = [&entries](const geom &geometry) {
        std::string text;
        for (const platform::NewPartition &one : buildresult(entries(), geometry).created)
            text += std::to_string(one.number) + " ";
        return text;
    };
    geom large = g;
    large.totalsectors = maxmbrsectors + 1;
    EXPECT_EQ(numbers(g) + "| " + numbers(large), "1 3 5 6 | 1 2 3 4 ");

    // rows out of order among the logical disks, and no size below nothing for the extended entry
    page.treemodel->downRow(page.treemodel->findpart(page.extparts[1]));
    EXPECT_FALSE(buildresult(entries(), g).indiskorder);
    EXPECT_EQ(buildparts(entries(), 63)[1].size, 0u);
}
