#include "planner/diskpartition.h"
#include "platform/simulated/simulated.h"
#include "scan/diskscanpage.h"
#include "tests/support/dialogs.h"
#include "tests/support/planchecker.h"
#include "views/partitem.h"
#include "views/parttreemodel.h"
#include "wizard/dpwizard.h"
#include "wizard/selectdiskpage.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QComboBox>

#include <gtest/gtest.h>

using platform::Operation;

namespace
{
// A wizard that stands on its planner page, over a simulated disk of 40 cylinders with a raw
// segment and 32 sectors each, scan skipped.
class PlannerOnDisk : public testing::Test
{
protected:
    static constexpr std::uint64_t cylinder = 32; // sectors

    void SetUp() override
    {
        disk = platform::simulateddisk("disk0#disk&ven_a&prod_b&rev_1#1#{c}",
                                       platform::DriveGeometry{40, 2, 16, 512});
        backend.disks.push_back(disk);
        platform::setbackend(&backend);
        wizard = std::make_unique<DpWizard>();
        scan = qobject_cast<DiskScanPage *>(wizard->page(wizard->scanpageid));
        page = qobject_cast<DiskPartition *>(wizard->page(wizard->partitionpageid));
        qobject_cast<SelectDiskPage *>(wizard->page(wizard->selectdiskid))->selectdisk(0);
        wizard->restart();
        wizard->next();
        scan->skipscan();
        ASSERT_EQ(wizard->currentPage(), page);
        ASSERT_EQ(blocktext(*page), "u0-39");
        disk->recording->clear();
    }

    void TearDown() override
    {
        EXPECT_EQ(count(Operation::Kind::open), count(Operation::Kind::close)) << "open handles";
        wizard.reset();
        platform::setbackend(nullptr);
    }

    [[nodiscard]] std::size_t count(Operation::Kind kind) const
    {
        return disk->recording->count(kind);
    }

    // The raw marks, a letter each, and the consolidated list's length.
    [[nodiscard]] std::string marks() const
    {
        std::string text;
        for (int i = 0; i < scan->segnum; i++)
            text += scan->segs[i].isbad ? 'B' : '.';
        return text + std::to_string(scan->intsegs.size());
    }

    // A plan of four blocks of ten cylinders: a logical disk, a primary, a logical disk, free.
    void planfour()
    {
        selectblocks(*page, {0});
        page->split4part();
        for (const std::uint64_t start : {0, 20}) {
            selectblocks(*page, {start});
            page->addld();
        }
        selectblocks(*page, {10});
        page->addpp();
    }

    void pressnext() { wizard->button(QWizard::NextButton)->click(); }

    platform::SimulatedBackend backend;
    std::shared_ptr<platform::SimulatedDisk> disk;
    std::unique_ptr<DpWizard> wizard;
    DiskScanPage *scan = nullptr;
    DiskPartition *page = nullptr;
    DialogAnswers dialogs;
};
} // namespace

TEST_F(PlannerOnDisk, RetestWithoutFindingChangesNothing)
{
    planfour();
    scan->segs[12].isbad = 1;
    disk->faults->unreadable.add(12 * cylinder);
    disk->faults->unreadable.add(9 * cylinder); // beside the block
    const std::string before = planstate(*page);
    page->rescan();
    EXPECT_EQ(planstate(*page), before);
    EXPECT_EQ(dialogs.messages(), QStringList());
    EXPECT_EQ(count(Operation::Kind::write), 0u);
    // nine segments, the marked one passed over
    std::vector<std::uint64_t> wanted;
    for (int i = 0; i < 9; i++)
        wanted.insert(wanted.end(), {20, 12});
    EXPECT_EQ(disk->recording->transfers(Operation::Kind::read, 512), wanted);

    disk->opens = false;
    page->rescan();
    EXPECT_EQ(planstate(*page), before);
    EXPECT_EQ(dialogs.messages(), QStringList("Can not open the disk."));
    selectblocks(*page, {});
    page->rescan();
    EXPECT_EQ(dialogs.messages().size(), 1);
}

TEST_F(PlannerOnDisk, RetestStartsAfreshOnNewBadSectors)
{
    planfour();
    disk->faults->unreadable.add(10 * cylinder + 31);
    disk->faults->unreadable.add(15 * cylinder);
    disk->faults->unreadable.add(30 * cylinder);
    page->rescan();
    ASSERT_EQ(dialogs.seen.size(), 1);
    EXPECT_EQ(dialogs.seen[0].title, "ok");
    EXPECT_EQ(dialogs.messages(), QStringList("New bad sectors found!"));
    // the margin ends with the range that was tested
    EXPECT_EQ(marks(), "..........BB..BBB.......................5");
    EXPECT_EQ(blocktext(*page), "u0-9 b10-11 u12-13 b14-16 u17-39");
    EXPECT_EQ(planfaults(*page), "");
    EXPECT_EQ(page->segs, scan->intsegs);

    scan->writetestbox->setChecked(true);
    disk->recording->clear();
    selectblocks(*page, {12});
    page->rescan();
    EXPECT_EQ(count(Operation::Kind::write), 4u);
    EXPECT_EQ(blocktext(*page), "u0-9 b10-11 u12-13 b14-16 u17-39");
}

TEST_F(PlannerOnDisk, RetestOfADiskThatWentAwayMarksNothing)
{
    planfour();
    disk->faults->unreadable.add(10 * cylinder);
    const std::string before = planstate(*page);
    const std::string oldmarks = marks();
    int gone = 0;
    for (std::uint64_t operations = 1; operations < 60; operations++) {
        disk->faults->vanishafter = operations;
        page->rescan();
        const QString told = dialogs.takeseen().value(0).text;
        if (told.startsWith("New bad")) // it went when all was done
            break;
        EXPECT_TRUE(told.startsWith("The disk does not answer any more.")) << told.toStdString();
        EXPECT_EQ(planstate(*page), before);
        EXPECT_EQ(marks(), oldmarks);
        gone++;
    }
    EXPECT_GT(gone, 30);
}

TEST_F(PlannerOnDisk, RefusedCommitWritesNothing)
{
    planfour();
    const auto refused = [this](const QString &text) {
        dialogs.takeseen();
        const std::string before = planstate(*page);
        pressnext();
        EXPECT_EQ(wizard->currentPage(), page);
        EXPECT_EQ(planstate(*page), before);
        ASSERT_EQ(dialogs.seen.size(), 1);
        EXPECT_EQ(dialogs.seen[0].title, "error");
        EXPECT_TRUE(dialogs.seen[0].text.contains(text)) << dialogs.seen[0].text.toStdString();
        EXPECT_EQ(count(Operation::Kind::write), 0u);
    };
    disk->opens = false;
    refused("Can not open the disk.");
    disk->opens = true;

    const QModelIndex extended = page->treemodel->extendindex();
    page->treemodel->downRow(page->treemodel->index(0, 0, extended));
    // the search for good sectors would already write
    scan->segs[0].isbad = 1;
    refused("Logical disk 1");
    scan->segs[0].isbad = 0;
    page->treemodel->upRow(page->treemodel->index(1, 0, extended));

    for (int i = 0; i < scan->segnum; i++)
        scan->segs[i].isbad = 1;
    refused("Can not find a good disk block.");
    for (int i = 0; i < scan->segnum; i++)
        scan->segs[i].isbad = 0;

    // written, but not taken by the system: Next tries again
    disk->updatefails = true;
    dialogs.takeseen();
    pressnext();
    EXPECT_EQ(dialogs.messages(), QStringList("partition failed!"));
    EXPECT_EQ(wizard->currentPage(), page);
    EXPECT_EQ(count(Operation::Kind::write), 4u);

    disk->updatefails = false;
    pressnext();
    EXPECT_EQ(wizard->currentId(), wizard->lastpageid);
    EXPECT_EQ(count(Operation::Kind::write), 8u);
    EXPECT_EQ(page->partresult.logicalcount, 2);
    EXPECT_TRUE(page->partresult.indiskorder);
}

TEST_F(PlannerOnDisk, EmptyPlanIsPlannedByItself)
{
    // the first segment is bad, and of its two tracks one sector alone is good
    scan->segs[0].isbad = 1;
    disk->faults->unreadable.add(0, 4);
    disk->faults->unreadable.add(6, 31);
    page->segs = {{0, 0, 1}, {1, 39, 0}};
    pressnext();
    EXPECT_EQ(wizard->currentId(), wizard->lastpageid);
    EXPECT_EQ(rowtext(*page), "p1-10 p11-20 p21-30 p31-39");
    EXPECT_EQ(firstgoodsector, 5u);
    EXPECT_EQ(secondgoodsector, cylinder + 1);
    // test pattern, scan record, tables
    EXPECT_EQ(count(Operation::Kind::write), 3u);

    // the first partition makes room for the record's track
    char sector[512];
    ASSERT_TRUE(disk->store->load(5 * 512, sector, sizeof sector));
    EXPECT_EQ(sector[0x1BE + 8], 48);
}

// Only with the two sectors chosen it shows that their track leaves a logical disk nothing.
TEST_F(PlannerOnDisk, ChosenSectorsMayLeaveAPartitionNothing)
{
    scan->segs[0].isbad = 1;
    disk->faults->unreadable.add(0, cylinder - 1);
    page->segs = {{0, 0, 1}, {1, 1, 0}, {2, 39, 0}};
    page->onstrategychanged(0);
    selectblocks(*page, {1});
    page->addld();
    pressnext();
    EXPECT_EQ(wizard->currentPage(), page);
    EXPECT_EQ(count(Operation::Kind::write), 0u);
    ASSERT_EQ(dialogs.messages().size(), 1);
    EXPECT_TRUE(dialogs.messages()[0].contains("Logical disk 1"));
}

TEST_F(PlannerOnDisk, EnteringAgainStartsAgain)
{
    planfour();
    page->strategybox->setCurrentIndex(1);
    wizard->back();
    EXPECT_EQ(wizard->currentPage(), scan);
    scan->skipscan();
    EXPECT_EQ(wizard->currentPage(), page);
    EXPECT_EQ(blocktext(*page), "u0-39");
    EXPECT_EQ(rowtext(*page), "");
    EXPECT_EQ(page->strategybox->currentIndex(), 0);
    EXPECT_EQ(planfaults(*page), "");
}
