// Catches a re-test or a commit that marks or writes what it must not, or tells success where the
// disk holds something else, and tables that can't be brought back.
#include "plan/tablebackup.h"
#include "platform/signatures.h"
#include "tests/support/planchecker.h"
#include "tests/support/wizardbench.h"
#include "views/graphicsview.h"

#include <QUndoStack>

#include <span>

using Kind = platform::Operation::Kind;

// A wizard that stands on its planner page, over a simulated disk of 40 cylinders with a raw
// segment and 32 sectors each, scan skipped, planned in four blocks of ten cylinders.
class PlannerOnDisk : public testing::Test, protected WizardBench
{
protected:
    static constexpr std::uint64_t cylinder = 32; // sectors

    void SetUp() override
    {
        openscanpage();
        scan = scanpage();
        page = planner();
        ASSERT_TRUE(click(skip));
        ASSERT_EQ(blocktext(page->extparts), "u0-39");
        plan("l0-9 p10-19 l20-29 u30-39");
        selectblocks(*page, {10});
        disk->recording->clear();
    }
    void TearDown() override { EXPECT_EQ(count(Kind::open), count(Kind::close)); }

    void plan(const char *text) { makeplan(*page, text, 512, 16, 2); }
    std::size_t count(Kind kind) { return disk->recording->count(kind); }
    // The messages since last asked, errors marked.
    QString told()
    {
        QString text;
        for (const DialogAnswers::Seen &one : dialogs.takeseen())
            text += (one.title == "error" ? "!" : "") + one.text;
        return text;
    }
    // Clicks Next: what was told if the page stays, else nothing.
    QString commits()
    {
        click(next);
        const QString text = told();
        return current() == wizard->lastpageid ? "" : "stays " + text;
    }
    std::span<SEG> raw() { return {scan->segs, std::size_t(scan->segnum)}; }

    std::shared_ptr<platform::RecordedDisk> disk = adddisk(40, 2, 16);
    DiskScanPage *scan = nullptr;
    DiskPartition *page = nullptr;
};

TEST_F(PlannerOnDisk, RetestStartsAfreshOnNewBadSectors)
{
    scan->segs[19].isbad = 1;
    for (const unsigned segment : {9, 19}) // one beside the block
        disk->faults->unreadable.add(segment * cylinder);
    const std::string before = planstate(*page), blocks = blocktext(page->extparts);
    page->actions[9]->trigger();
    EXPECT_EQ(planstate(*page), before);
    EXPECT_EQ(told(), "");
    // nine segments, the marked one passed over
    EXPECT_EQ(disk->recording->course(),
              "r320+20 r340+12 r352+20 r372+12 r384+20 r404+12 r416+20 r436+12 r448+20 r468+12 "
              "r480+20 r500+12 r512+20 r532+12 r544+20 r564+12 r576+20 r596+12");
    disk->opens = false;
    page->rescan();
    EXPECT_EQ(planstate(*page), before);
    EXPECT_EQ(told(), "!Can not open the disk.\nNo rights.");
    disk->opens = true;

    scan->segs[19].isbad = 0;
    for (const unsigned sector : {10 * 32 + 31, 15 * 32, 30 * 32})
        disk->faults->unreadable.add(sector);
    page->rescan();
    EXPECT_EQ(count(Kind::write), 0u);
    EXPECT_EQ(told(), "New bad sectors found!");
    // the margin ends with the range that was tested
    EXPECT_EQ(blocktext(page->extparts), "u0-9 b10-11 u12-13 b14-16 u17-17 b18-19 u20-39");
    EXPECT_EQ(planfaults(*page), "");
    EXPECT_EQ(page->segs, scan->intsegs);
    // undone, the plan is as it was, and what was found stays known
    page->undo();
    EXPECT_TRUE(blocktext(page->extparts) == blocks && page->segs == scan->intsegs);
    page->redo();
    EXPECT_EQ(blocktext(page->extparts), "u0-9 b10-11 u12-13 b14-16 u17-17 b18-19 u20-39");

    scan->writetestbox->setChecked(true);
    selectblocks(*page, {12});
    page->rescan();
    EXPECT_EQ(count(Kind::write), 4u);
}

TEST_F(PlannerOnDisk, RetestOfADiskThatWentAwayMarksNothing)
{
    disk->faults->unreadable.add(10 * cylinder);
    const std::string before = planstate(*page);
    const std::vector<SEG> marks(raw().begin(), raw().end());
    int gone = 0;
    for (; gone < 60; gone++) {
        disk->faults->vanishafter = gone + 1;
        page->rescan();
        const QString text = told();
        if (text.startsWith("New bad")) // it went when all was done
            break;
        EXPECT_TRUE(text.startsWith("!The disk does not answer any more.")) << gone;
        EXPECT_EQ(planstate(*page), before) << gone;
        EXPECT_TRUE(std::ranges::equal(marks, raw())) << gone;
    }
    EXPECT_GT(gone, 15);
}

TEST_F(PlannerOnDisk, RefusedCommitWritesNothing)
{
    const auto refused = [this](const char *text) {
        const std::string before = planstate(*page);
        EXPECT_TRUE(commits().contains(text)) << text;
        EXPECT_EQ(planstate(*page), before) << text;
    };
    disk->opens = false;
    refused("Can not open the disk.");
    disk->opens = true;
    const QModelIndex extended = page->treemodel->extendindex();
    page->treemodel->downRow(page->treemodel->index(0, 0, extended));
    // the search for good sectors would already write
    scan->segs[0].isbad = 1;
    refused("The logical disks are not in disk order");
    page->treemodel->upRow(page->treemodel->index(1, 0, extended));
    for (SEG &seg : raw())
        seg.isbad = 1;
    refused("Can not find a good disk block.");
    for (SEG &seg : raw())
        seg.isbad = 0;
    EXPECT_EQ(count(Kind::write), 0u);

    // written, but not taken by the system: Next tries again
    disk->updatefails = true;
    refused("partition failed!");
    EXPECT_EQ(count(Kind::write), 4u);
    disk->updatefails = false;
    EXPECT_EQ(commits(), "");
    EXPECT_EQ(count(Kind::write), 8u);
    // scan record, master boot sector, boot records
    EXPECT_NE(disk->recording->course().find("w1+1 w0+1 w16+1 w640+1"), std::string::npos);
    EXPECT_EQ(page->partresult.logicalcount, 2);

    // entering again starts again
    EXPECT_TRUE(click(back));
    page->strategybox->setCurrentIndex(1);
    EXPECT_TRUE(click(back, skip));
    EXPECT_EQ(blocktext(page->extparts), "u0-39");
    EXPECT_EQ(page->strategybox->currentIndex(), 0);
}

TEST_F(PlannerOnDisk, BadFirstSegment)
{
    // Only with the two sectors chosen it shows that their track leaves a logical disk nothing.
    scan->segs[0].isbad = 1;
    disk->faults->unreadable.add(0, cylinder - 1);
    plan("b0-0 l1-1 u2-39");
    EXPECT_TRUE(commits().contains("Logical disk 1"));
    // A search that may still find the first track asks before it writes.
    disk->faults->unreadable.remove(5, 5);
    EXPECT_TRUE(commits().contains("Logical disk 1"));
    EXPECT_EQ(count(Kind::write), 0u);

    // One sector of the two tracks is good. An empty plan is planned by itself.
    plan("b0-0 u1-39");
    EXPECT_EQ(commits(), "");
    EXPECT_EQ(rowtext(*page->treemodel), "p1-10 p11-20 p21-30 p31-39");
    EXPECT_EQ(firstgoodsector, 5u);
    EXPECT_EQ(secondgoodsector, cylinder + 1);
    // test pattern, scan record, tables; the first partition makes room for the record's track
    EXPECT_EQ(count(Kind::write), 3u);
    char sector[512] = {};
    EXPECT_TRUE(disk->store->load(5 * 512, sector, sizeof sector));
    EXPECT_EQ(sector[0x1BE + 8], 48);
}

TEST_F(PlannerOnDisk, ReportNamesWhatDidNotReachTheDisk)
{
    plan("l0-9 l10-19 l20-29 l30-39");
    QString ordinary;
    // Head line, closing line, and what stands behind the ordinary report.
    const auto commit = [this, &ordinary] {
        EXPECT_EQ(commits(), "");
        const QString text = lastpage()->reportedit->toPlainText();
        const QString head = lastpage()->headlabel->text(), end = lastpage()->closinglabel->text();
        EXPECT_TRUE(click(back));
        EXPECT_TRUE(text.startsWith(ordinary));
        return (head.left(41) + "|" + end.left(30) + "|" + text.mid(ordinary.size())).toStdString();
    };
    const std::string good =
        "Created 0 primary partitions,1 primary ex|Partition data has been writte|";
    ordinary = QString::fromStdString(commit()).section('|', 2);
    EXPECT_EQ(ordinary.count('\n'), 5);
    EXPECT_EQ(commit(), good);
    // Sectors 2 and 7 belong to no table, so that swap on the whole disk is still there.
    QByteArray page(4096, '\0');
    page[1024] = page[1028] = 1; // version and last page
    page.replace(4086, 10, "SWAPSPACE2");
    ASSERT_TRUE(disk->store->save(1024, page.constData() + 1024, 3072));
    const std::string withsign = commit();
    if (!platform::signatures({{0, {page.begin(), page.end()}}}, disk->bytes, 512).empty()) {
        EXPECT_TRUE(withsign.starts_with(good + "The disk still has signatures")) << withsign;
        EXPECT_TRUE(withsign.ends_with("\nwipefs --all --types swap sim0\n")) << withsign;
        disk->faults->unreadable.add(1000); // wipefs would not get past it
        EXPECT_TRUE(commit().ends_with("=sim0 bs=512 seek=7 count=1 oflag=direct\n"));
        *disk->faults = {};
    }
    ASSERT_TRUE(disk->store->save(1024, QByteArray(3072, '\0').constData(), 3072));
    // The first record lies behind the track of the master boot sector. Sector 1 still holds the
    // record of the first commit, and that is the same.
    disk->faults->lying.add(20 * 32);
    disk->faults->unwritable.add(1);
    disk->faults->unreadable.add(30 * 32);
    const QString record =
        "The boot record of logical disk %1 in sector %2 is not on the disk as written: this "
        "logical disk and those listed behind it can not be used. Go Back, give its block up, and "
        "write again.\n";
    EXPECT_EQ(commit(),
              "The partition table is on the disk, with |Only a part of the partition d|" +
                  (record.arg(3).arg(640) + record.arg(4).arg(960)).toStdString());
    EXPECT_TRUE(lastpage()->headlabel->text().contains("Of 4 logical disks only the first 2 can"));
    *disk->faults = {};
    disk->faults->lying.add(0, 1);
    EXPECT_EQ(commit(),
              "The partition table is not on the disk, a|Go Back and press Next to writ|"
              "The partition table in sector 0 is not on the disk as written: none of the "
              "partitions can be used. Go Back and write again; another sector is then "
              "searched for it.\nThe scan result in sector 1 is not on the disk as "
              "written. The partitions are not affected, but a later run can not fall "
              "back on it.\n");
    // The advice leads somewhere: a search, once the user agrees to it.
    EXPECT_NE(commits(), "");
    dialogs.consent = true;
    EXPECT_EQ(commit(), good);
    EXPECT_EQ(firstgoodsector, 2u);
    EXPECT_EQ(secondgoodsector, 3u);
    // Where no sector takes the table, the plan is refused in words.
    disk->faults->unwritable.add(0, 31);
    EXPECT_TRUE(commits().contains("!No sector of the disk's first two tracks takes"));
    // A disk that went away is no disk with seven bad sectors.
    *disk->faults = {};
    disk->recording->clear();
    commit();
    const std::size_t calls = disk->recording->operations.size();
    bool gone = false;
    for (std::size_t i = 1; i < calls && !gone; i++) {
        disk->faults->vanishafter = i;
        const QString refusal = commits();
        disk->faults->vanishafter.reset();
        EXPECT_TRUE(refusal.isEmpty() || refusal.contains("The disk does not answer any more."));
        gone = refusal.isEmpty();
    }
    EXPECT_TRUE(gone);
    EXPECT_TRUE(lastpage()->headlabel->text().startsWith("The disk does not answer any more."));
    EXPECT_EQ(lastpage()->reportedit->toPlainText(), ordinary);
}

// A table with a chain of three records, in front of data; the first segment is bad, so that the
// search overwrites more than the new tables do.
TEST_F(PlannerOnDisk, TheOldTablesComeBack)
{
    const auto image = [this](bool fill) {
        QByteArray bytes(static_cast<int>(disk->bytes), '\0');
        EXPECT_TRUE(fill ||
                    disk->store->load(0, bytes.data(), static_cast<std::size_t>(bytes.size())));
        return bytes;
    };
    QByteArray old = image(true);
    for (int i = 0; i < old.size(); i++)
        old[i] = static_cast<char>(i * 7 + i / 512);
    const auto table = [&old](int sector, int entry, int type, int start) {
        if (entry == 0)
            old.replace(sector * 512 + 0x1BE, 66, QByteArray(64, '\0') + "\x55\xAA");
        char *slot = old.data() + sector * 512 + 0x1BE + 16 * entry;
        slot[4] = static_cast<char>(type);
        qToLittleEndian(start, slot + 8);
    };
    table(0, 0, 7, 64);
    table(0, 1, 0x05, 900);
    table(900, 0, 7, 16);
    table(900, 1, 0x05, 100);
    table(1000, 0, 7, 16);
    table(1000, 1, 0x05, 150); // from the first record on, as all links
    table(1050, 0, 7, 16);
    disk->faults->lying.add(1);
    for (const QString &name : QDir().entryList({"disk0.tables-*"}))
        QFile::remove(name);
    ASSERT_TRUE(disk->store->save(0, old.constData(), static_cast<std::size_t>(old.size())));
    scan->segs[0].isbad = 1;
    plan("b0-0 p1-9 l10-19 l20-29 u30-39");
    ASSERT_EQ(commits(), "");
    EXPECT_EQ(firstgoodsector, 0U);
    EXPECT_EQ(secondgoodsector, 2U);
    ASSERT_TRUE(click(back, back, back));
    // what was done to the disk since
    for (const int sector : {1000, 1050})
        ASSERT_TRUE(disk->store->save(sector * 512, QByteArray(512, 'n').constData(), 512));

    QAbstractButton *row = selectpage()->diskgroup->button(0);
    const auto offers = [row] {
        qDeleteAll(row->findChildren<QMenu *>());
        emit row->customContextMenuRequested({});
        QList<QAction *> actions = row->findChild<QMenu *>()->actions();
        actions.removeIf([](const QAction *one) { return !one->isEnabled(); });
        return actions;
    };
    const auto restore = [&](int offer) {
        offers().at(offer)->trigger();
        QCoreApplication::processEvents();
        return told();
    };
    told();
    ASSERT_EQ(offers().size(), 1);
    disk->recording->clear();
    dialogs.consent = false;
    restore(0);
    EXPECT_EQ(count(Kind::open), 0U); // asked, and left alone
    dialogs.consent = true;
    disk->faults->unwritable.add(1000);
    const QString partly = restore(0);
    EXPECT_TRUE(partly.contains("!These sectors are not on the disk as they were: 1, 1000."))
        << partly.toStdString();
    *disk->faults = {};
    EXPECT_EQ(offers().size(), 2); // of what the first one overwrote
    EXPECT_TRUE(restore(1).contains("are on the disk again."));
    EXPECT_TRUE(image(false) == old);

    // a file of a twin, and damaged ones
    TableBackup twin = readbackup(backupfiles("disk0").front()).value();
    twin.serial = "OTHER";
    ASSERT_EQ(twin.save("disk1"), "");
    QFile::rename(backupfiles("disk1").front(), "disk0.tables-twin");
    EXPECT_TRUE(readbackup("disk0.tables-twin").has_value());
    EXPECT_EQ(offers().size(), 3);
    twin.model += " %1%3";
    const auto decoded = TableBackup::decode(twin.encode());
    ASSERT_TRUE(decoded.has_value());
    EXPECT_TRUE(decoded->isof(twin));
    EXPECT_EQ(decoded->sectors, twin.sectors);
    QFile::remove("disk0.tables-twin");
    const QStringList files = QDir().entryList({"disk0.tables-*"});
    ASSERT_EQ(files.size(), 3);
    for (const QString &name : files) {
        QFile file(name);
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        QByteArray bytes = file.readAll();
        bytes[bytes.size() - 5] = static_cast<char>(bytes[bytes.size() - 5] + 1);
        file.seek(0);
        file.write(bytes);
    }
    EXPECT_TRUE(offers().isEmpty());
}

TEST_F(PlannerOnDisk, TheDiagramIsPaintedAnewAfterEachChange)
{
    int paints = 0;
    QObject::connect(page->diagramview, &GraphicsView::painted, page, [&paints] { paints++; });
    const std::function<void()> changes[] = {[this] { page->strategybox->setCurrentIndex(1); },
                                             [this] { page->undostack->undo(); },
                                             [this] { page->extparts[0]->item->setSelected(true); },
                                             [this] { page->actions[0]->trigger(); }};
    for (const auto &change : changes) {
        QTest::qWait(20);
        paints = 0;
        change();
        EXPECT_TRUE(wait([&paints] { return paints > 0; }, 2000));
    }
}
