// Catches a re-test or a commit that marks or writes what it must not, or tells success where the
// disk holds something else, and tables that can't be brought back.
#include "plan/tablebackup.h"
#include "platform/signatures.h"
#include "tests/support/planchecker.h"
#include "tests/support/wizardbench.h"

#include <QUndoStack>

using Kind = platform::Operation::Kind;

// A wizard that stands on its planner page, over a simulated disk of 40 cylinders with a raw
// segment and 32 sectors each, scan skipped, planned in four blocks of ten cylinders.
class PlannerOnDisk : public testing::Test, protected WizardBench
{
protected:
    static constexpr std::uint64_t cylinder = 32; // sectors

    void SetUp() override
    {
        disk->description.emplace().serial = "S1";
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
    // Next tells these words, and all is as before.
    void refused(const char *words)
    {
        const std::string before = planstate(*page);
        const QString text = commits();
        EXPECT_TRUE(text.contains(words)) << words << " in " << text.toStdString();
        EXPECT_EQ(planstate(*page), before) << words;
    }
    void save(int sector, const QByteArray &bytes)
    {
        EXPECT_TRUE(disk->store->save(static_cast<std::uint64_t>(sector) * 512, bytes.constData(),
                                      static_cast<std::size_t>(bytes.size())));
    }
    QByteArray load(std::uint64_t sector, std::size_t sectors)
    {
        std::vector<char> bytes(sectors * 512);
        EXPECT_TRUE(disk->store->load(sector * 512, bytes.data(), bytes.size()));
        return {bytes.data(), static_cast<qsizetype>(bytes.size())};
    }

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
    // nine segments, the marked one passed over
    EXPECT_EQ(disk->recording->course(),
              "r320+20 r340+12 r352+20 r372+12 r384+20 r404+12 r416+20 r436+12 r448+20 r468+12 "
              "r480+20 r500+12 r512+20 r532+12 r544+20 r564+12 r576+20 r596+12");
    disk->opens = false;
    page->rescan();
    EXPECT_EQ(planstate(*page), before);
    EXPECT_EQ(told(), "!Can not open the disk.\nNo rights."); // the first one told nothing
    disk->opens = true;

    scan->segs[19].isbad = 0;
    for (const unsigned sector : {10 * 32 + 31, 15 * 32, 30 * 32})
        disk->faults->unreadable.add(sector);
    page->rescan();
    EXPECT_EQ(count(Kind::write), 0u);
    EXPECT_EQ(told(), "New bad sectors found!");
    // the margin ends with the range that was tested
    const std::string found = "u0-9 b10-11 u12-13 b14-16 u17-17 b18-19 u20-39";
    EXPECT_EQ(blocktext(page->extparts), found);
    EXPECT_EQ(planfaults(*page), "");
    // undone, the plan is as it was, what was found stays known, and Next asks
    page->undo();
    EXPECT_EQ(blocktext(page->extparts), blocks);
    EXPECT_EQ(page->segs, scan->intsegs);
    refused("They lie in: Primary Partition, 0.0");
    page->redo();
    EXPECT_EQ(blocktext(page->extparts), found);

    scan->writetestbox->setChecked(true);
    selectblocks(*page, {12});
    page->rescan();
    EXPECT_EQ(count(Kind::write), 4u);
    EXPECT_FALSE(scan->report().manner); // some was read, some written
    // what a later re-test finds in front of that is known too
    selectblocks(*page, {0});
    disk->faults->unreadable.add(5 * cylinder);
    page->rescan();
    page->undo();
    page->undo();
    refused("; Logical Disk, 0.0");
    // a plan of a scan that the user trusts again knows nothing of it
    EXPECT_TRUE(click(back, skip));
    EXPECT_EQ(commits(), "");
    EXPECT_TRUE(click(back));
    selectblocks(*page, {0});
    page->rescan();
    EXPECT_TRUE(scan->report().manner.value_or(ScanManner()).writetest);
}

TEST_F(PlannerOnDisk, RetestOfADiskThatWentAwayMarksNothing)
{
    disk->faults->unreadable.add(10 * cylinder);
    const std::string before = planstate(*page);
    const std::vector<SEG> marks(scan->segs, scan->segs + scan->segnum);
    int gone = 0;
    for (; gone < 60; gone++) {
        disk->faults->vanishafter = gone + 1;
        page->rescan();
        const QString text = told();
        if (text.startsWith("New bad")) // it went when all was done
            break;
        EXPECT_TRUE(text.startsWith("!The disk does not answer any more.")) << gone;
        EXPECT_EQ(planstate(*page), before) << gone;
        EXPECT_TRUE(std::equal(marks.begin(), marks.end(), scan->segs)) << gone;
    }
    EXPECT_GT(gone, 15);
}

TEST_F(PlannerOnDisk, RefusedCommitWritesNothing)
{
    disk->opens = false;
    refused("Can not open the disk.");
    disk->opens = true;
    const QModelIndex extended = page->treemodel->extendindex();
    page->treemodel->downRow(page->treemodel->index(0, 0, extended));
    // the search for good sectors would already write
    scan->segs[0].isbad = 1;
    refused("The logical disks are not in disk order");
    page->treemodel->upRow(page->treemodel->index(1, 0, extended));
    for (int i = 0; i < scan->segnum; i++)
        scan->segs[i].isbad = 1;
    refused("Can not find a good disk block.");
    for (int i = 0; i < scan->segnum; i++)
        scan->segs[i].isbad = 0;
    const QByteArray file = scan->filename;
    qstrcpy(scan->filename, "nowhere/disk0");
    refused("Write without a way back?");
    qstrcpy(scan->filename, file);
    EXPECT_EQ(count(Kind::write), 0u);

    // written, but not taken by the system: Next tries again
    disk->updatefails = true;
    refused("partition failed!");
    EXPECT_EQ(count(Kind::write), 4u);
    disk->updatefails = false;
    disk->path = "sim9"; // it came back
    EXPECT_EQ(commits(), "");
    EXPECT_EQ(count(Kind::write), 8u);
    // scan record, master boot sector, boot records
    EXPECT_NE(disk->recording->course().find("w1+1 w0+1 w16+1 w640+1"), std::string::npos);
    EXPECT_EQ(page->partresult.devicepath, "sim9");

    // entering again starts again
    EXPECT_TRUE(click(back));
    page->strategybox->setCurrentIndex(1);
    EXPECT_TRUE(click(back, skip));
    EXPECT_EQ(blocktext(page->extparts), "u0-39");
    EXPECT_EQ(page->strategybox->currentIndex(), 0);
    EXPECT_FALSE(page->undostack->canUndo());
}

TEST_F(PlannerOnDisk, BadFirstSegment)
{
    // Only with the two sectors chosen it shows that their track leaves a logical disk nothing.
    scan->segs[0].isbad = 1;
    disk->faults->unreadable.add(0, cylinder - 1);
    plan("b0-0 l1-1 u2-39");
    refused("Logical disk 1");
    // A search that may still find the first track asks before it writes.
    disk->faults->unreadable.remove(5, 5);
    refused("Logical disk 1");
    EXPECT_EQ(count(Kind::write), 0u);

    // One sector of the two tracks is good. An empty plan is planned by itself.
    plan("b0-0 u1-39");
    EXPECT_EQ(commits(), "");
    EXPECT_EQ(rowtext(*page->treemodel), "p1-10 p11-20 p21-30 p31-39");
    EXPECT_EQ(firstgoodsector, 5u);
    EXPECT_EQ(secondgoodsector, cylinder + 1);
    // test pattern, scan record, tables; the first partition makes room for the record's track
    EXPECT_EQ(count(Kind::write), 3u);
    EXPECT_EQ(load(5, 1)[0x1BE + 8], 48);
}

TEST_F(PlannerOnDisk, ReportNamesWhatDidNotReachTheDisk)
{
    plan("l0-9 l10-19 l20-29 l30-39");
    QString ordinary;
    // How the head line, the closing line and those behind the ordinary report begin.
    const auto commit = [this, &ordinary] {
        EXPECT_EQ(commits(), "");
        QString text = lastpage()->headlabel->text().left(34) + "|" +
                       lastpage()->closinglabel->text().left(20);
        for (const QString &line :
             lastpage()->reportedit->toPlainText().mid(ordinary.size()).split('\n'))
            text += "|" + line.left(47);
        EXPECT_TRUE(click(back));
        return text.toStdString();
    };
    const std::string good = "Created 0 primary partitions,1 pri|Partition data has b|";
    commit();
    ordinary = lastpage()->reportedit->toPlainText();
    EXPECT_EQ(ordinary.count('\n'), 5);
    EXPECT_EQ(commit(), good);
    // Sectors 2 and 7 belong to no table, so that swap on the whole disk is still there.
    QByteArray swap(3072, '\0');
    swap[0] = swap[4] = 1; // version and last page
    save(2, swap.replace(3062, 10, "SWAPSPACE2"));
    const std::string withsign = commit();
    const QByteArray unit = load(0, 8);
    if (!platform::signatures({{0, {unit.begin(), unit.end()}}}, disk->bytes, 512).empty()) {
        EXPECT_TRUE(withsign.starts_with(good + "The disk still has signatures")) << withsign;
        EXPECT_TRUE(withsign.ends_with("|wipefs --all --types swap sim0|")) << withsign;
        disk->faults->unreadable.add(1000); // wipefs would not get past it
        commit();
        EXPECT_TRUE(lastpage()->reportedit->toPlainText().endsWith(
            "=sim0 bs=512 seek=7 count=1 oflag=direct\n"));
        EXPECT_TRUE(platform::removalcommands("a#b", {{"swap", 9000}}, true, 4096)
                        .ends_with("=a bs=4096 seek=2 count=1 oflag=direct\n"));
        *disk->faults = {};
    }
    save(2, QByteArray(3072, '\0'));
    // The first record lies behind the track of the master boot sector. Sector 1 still holds the
    // record of the first commit, and that is the same.
    disk->faults->lying.add(20 * 32);
    disk->faults->unwritable.add(1);
    disk->faults->unreadable.add(30 * 32);
    EXPECT_EQ(commit(), "The partition table is on the disk|Only a part of the p|"
                        "The boot record of logical disk 3 in sector 640|"
                        "The boot record of logical disk 4 in sector 960|");
    EXPECT_TRUE(lastpage()->headlabel->text().contains("Of 4 logical disks only the first 2 can"));
    *disk->faults = {};
    disk->faults->lying.add(0, 1);
    EXPECT_EQ(commit(), "The partition table is not on the |Go Back and press Ne|"
                        "The partition table in sector 0 is not on the d|"
                        "The scan result in sector 1 is not on the disk |");
    // The advice leads somewhere: a search, once the user agrees to it.
    refused("Search?");
    dialogs.consent = true;
    EXPECT_EQ(commit(), good);
    EXPECT_EQ(firstgoodsector, 2u);
    EXPECT_EQ(secondgoodsector, 3u);
    // Where no sector takes the table, the plan is refused in words.
    disk->faults->unwritable.add(0, 31);
    refused("!No sector of the disk's first two tracks takes");
    // A disk that went away is no disk with seven bad sectors.
    *disk->faults = {};
    QString refusal = "stays";
    for (int i = 1; i < 500 && !refusal.isEmpty(); i++) {
        disk->faults->vanishafter = i;
        refusal = commits();
        EXPECT_NE(refusal.isEmpty(), refusal.contains("The disk does not answer any more."));
    }
    EXPECT_EQ(lastpage()->reportedit->toPlainText(), ordinary);
    EXPECT_TRUE(lastpage()->headlabel->text().startsWith("The disk does not answer any more."));
}

// A table with a chain of three records, in front of data; the first segment is bad, so that the
// search overwrites more than the new tables do.
TEST_F(PlannerOnDisk, TheOldTablesComeBack)
{
    QByteArray old = load(0, 1280);
    for (int i = 0; i < old.size(); i++)
        old[i] = static_cast<char>(i * 7 + i / 512);
    // Sector, entry, type, start. Links count from the first record; the last one leads back, and
    // another one to data.
    const std::array<int, 4> entries[] = {
        {0, 0, 7, 64},    {0, 1, 5, 900},    {0, 2, 5, 1100},  {900, 0, 7, 16},   {900, 1, 5, 100},
        {1000, 0, 7, 16}, {1000, 1, 5, 150}, {1050, 0, 7, 16}, {1050, 1, 5, 100}, {420, 0, 7, 16}};
    for (const auto &[sector, entry, type, start] : entries) {
        if (entry == 0)
            old.replace(sector * 512 + 0x1BE, 66, "\x80" + QByteArray(63, '\0') + "\x55\xAA");
        char *slot = old.data() + sector * 512 + 0x1BE + 16 * entry;
        slot[4] = static_cast<char>(type);
        qToLittleEndian(start, slot + 8);
    }
    old.replace(1101 * 512 - 2, 2, "\x55\xAA"); // the data ends like a table
    disk->faults->lying.add(1);
    for (const QString &name : QDir().entryList({"disk0.tables-*"}))
        QFile::remove(name);
    save(0, old);
    scan->segs[0].isbad = 1;
    plan("b0-0 p1-9 l10-19 l20-29 u30-39");
    ASSERT_EQ(commits(), "");
    EXPECT_EQ(firstgoodsector, 0U);
    EXPECT_EQ(secondgoodsector, 2U);
    ASSERT_TRUE(click(back, back, back));
    // what was done to the disk since
    for (const int sector : {1000, 1050})
        save(sector, QByteArray(512, 'n'));
    save(320, old.mid(900 * 512, 512)); // leads to 420

    ASSERT_EQ(offers().size(), 1);
    disk->recording->clear();
    restore();
    EXPECT_EQ(count(Kind::open), 0U); // asked, and left alone
    dialogs.consent = true;
    disk->faults->unwritable.add(1000);
    EXPECT_TRUE(restore().contains("These sectors are not on the disk as they were: 1, 1000."));
    *disk->faults = {};
    EXPECT_EQ(offers().size(), 2); // of what the first one overwrote
    EXPECT_TRUE(readbackup(backupfiles("disk0").front())->sectors.contains(420));
    EXPECT_TRUE(restore(1).contains("are on the disk again."));
    EXPECT_TRUE(load(0, 1280) == old);

    // a file of a twin, and damaged ones
    TableBackup twin = readbackup(backupfiles("disk0").back()).value();
    EXPECT_FALSE(twin.sectors.contains(1100));
    twin.serial = "OTHER";
    ASSERT_EQ(twin.save("disk1"), "");
    QFile::rename(backupfiles("disk1").front(), "disk0.tables-twin");
    EXPECT_EQ(offers().size(), 3);
    twin.model += " %1%3";
    EXPECT_EQ(TableBackup::decode(twin.encode()).value().encode(), twin.encode());
    // of another disk, which shows only in the length of its sectors, once the disk is open
    const TableBackup other{"disk0", "", 0, 1024, twin.date, {{0, std::vector<std::uint8_t>(1024)}},
                            {}};
    ASSERT_EQ(other.save("disk1"), "");
    QFile::rename(backupfiles("disk1").front(), "disk0.tables-other");
    disk->recording->clear();
    EXPECT_TRUE(restore().contains("kept from another disk. Nothing was written."));
    EXPECT_EQ(count(Kind::write), 0U);
    QFile::remove("disk0.tables-other");
    QFile::remove("disk0.tables-twin");
    const QStringList files = QDir().entryList({"disk0.tables-*"});
    ASSERT_EQ(files.size(), 3);
    for (const QString &name : files) {
        QByteArray bytes = filecontent(qPrintable(name));
        if (name == files.first()) // sectors far behind its end
            bytes.replace("skip=", "skip=999999999");
        else
            bytes[bytes.size() - 5] = static_cast<char>(bytes[bytes.size() - 5] + 1);
        QFile file(name);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    EXPECT_TRUE(offers().isEmpty());
}
