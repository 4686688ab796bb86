// Catches a map of another tool that is read or written otherwise than that tool means it.
#include "scan/badblocks.h"
#include "scan/mapfile.h"
#include "scan/surfaceview.h"
#include "tests/scan/marks.h"
#include "tests/support/loopdisk.h"
#include "tests/support/wizardbench.h"
#include "views/surfacemap.h"

#include <cstring>

namespace
{

// Ten segments of one cylinder, 3 x 512 bytes each, and 512 bytes behind the last one.
MapTarget smalldisk()
{
    const geom geometry = withfactors({.totalbytes = 31 * 512}, 512, 3, 1);
    return {geometry, makeplan(geometry), 31 * 512};
}

// A cell for each letter: '?' not tested, '.' good, 's' slow, 'B' bad, 'm' margin.
std::vector<SurfaceCell> cellsof(const char *letters)
{
    std::vector<SurfaceCell> cells;
    for (std::uint64_t i = 0; letters[i] != 0; ++i)
        cells.push_back({i, i, SurfaceCell::State(std::strchr("?.sBm", letters[i]) - "?.sBm")});
    return cells;
}

// The marks that a map leaves on the plan, or why it is refused. A block size of 0: a mapfile.
std::string read(const MapTarget &disk, std::uint32_t blocksize, const std::string &text)
{
    MapfileReader mapfile(disk);
    BadBlocksReader list(disk, std::max(blocksize, 1U));
    MapReader &reader = blocksize == 0 ? static_cast<MapReader &>(mapfile) : list;
    for (std::size_t i = 0; i < text.size(); i += 7) // by pieces, as a file comes
        reader.feed(std::string_view(text).substr(i, 7));
    return reader.finish().empty() ? marksof(reader.plan()) : reader.finish();
}

} // namespace

TEST(TakeAlong, ReadsWhatOtherToolsWriteAndRefusesTheRest)
{
    const std::string head = "# by hand\n0x0 + 1\n", unfinished = "not finished: 0.000 GB ";
    const struct {
        std::uint32_t blocksize;
        std::string text, expected; ///< all of the marks, or words of the refusal
    } cases[] = {
        // Hexadecimal, decimal and octal; comments; CR LF; no pass; no end of the last line.
        {0, head + "0 0x600 +\n0x600 01000 -\n2048 13824 +", ".B........"},
        {0, "0\t?\r\n\r\n# c\r\n0 1535 + # -\r\n1535 2 /\r\n1537 14335 *", "BBBBBBBBBB"},
        {0, head + "0 15359 +\n15359 1 -\n15360 0 -\n15360 512 ?\n", ".........B"},
        {0, head + "0 1536 +\n1536 3072 ?\n4608 11264 +\n", unfinished + "(3072 bytes)"},
        {0, head + "512 15360 +\n", unfinished + "(512 bytes)"},
        {0, head + "0 15000 +\n", "of a disk with 15000 bytes; this disk has 15872 bytes."},
        {0, head + "0 15873 +\n", "Line 3: the block ends at byte 15873, behind the end"},
        {0, head + "0 512 +\n256 512 +\n", "Line 4: the block does not begin where"},
        {0, head + "0 0x10000000000000000 +\n", "Line 3: \"0x10000000000000000\" is not"},
        {0, head + "1 0xFFFFFFFFFFFFFFFF +\n", "Line 3: \"0xFFFFFFFFFFFFFFFF\" is not"},
        {0, head + "0 15872 x\n", "Line 3: \"x\" is not a block's status."},
        {0, head, "There is no block in the mapfile."},
        {0, "0 15872 +\n", "Line 1: a mapfile begins with"},
        {0, "\n" + std::string(300, '\1'), "Line 2: it is too long for a map."},
        {512, "3\n", ".B........"},
        {1024, "# c\r\n\r\n 1 \r\n", "BB........"},
        {4096, "3", "........BB"},
        {512, "29\n30\n0\n0", "B........B"},
        {512, "3\n31\n", "Line 2: block 31 lies behind the end of this disk, which has 31 blocks"},
        {512, "18446744073709551616\n", "Line 1: a list of bad blocks has one number"},
        {512, "\n#\n", "There is no block in the list."}};
    for (const auto &[blocksize, text, expected] : cases) {
        const std::string found = read(smalldisk(), blocksize, text);
        EXPECT_NE(found.find(expected), std::string::npos) << text << found;
    }
}

TEST(TakeAlong, WritesWhatOtherToolsRead)
{
    const auto [geometry, plan, bytes] = smalldisk();
    std::string map = encodemapfile(cellsof("smBBm....B"), geometry, bytes, "a\nb 1 + 3");
    EXPECT_EQ(read(smalldisk(), 0, map), "..BB.....B");
    map = encodemapfile(cellsof("smBBm..?.B"), geometry, bytes, "a");
    EXPECT_NE(read(smalldisk(), 0, map).find("(1536 bytes)"), std::string::npos);
    const std::string told = outputof("ddrescuelog -t - <<'END'\n" + map + "END");
    for (const char *line : {"non-tried:     2048 B,  in      2", "bad-sector:     4608 B,  in   "})
        EXPECT_TRUE(told.empty() || told.find(line) != std::string::npos) << told;
    const auto bad = bytesof(cellsof("s.BBmB.?.B"), geometry, {SurfaceCell::State::bad});
    for (const auto &[blocksize, expected] :
         {std::pair{512U, "6\n7\n8\n9\n10\n11\n15\n16\n17\n27\n28\n29\n"},
          {1024U, "3\n4\n5\n7\n8\n13\n14\n"},
          {4096U, "0\n1\n2\n3\n"}}) {
        std::string text;
        writebadblocks(bad, blocksize, [&text](auto piece) { return !(text += piece).empty(); });
        EXPECT_EQ(text, expected);
        EXPECT_EQ(badblockssize(bad, blocksize).bytes, text.size());
    }
    EXPECT_EQ(badblockssize({{512ULL * 7, 512 * 123456789012}}, 512).bytes, 1493827146032U);
}

TEST(TakeAlong, TheVerdictTellsWhatGrewAndWhenToGiveUp)
{
    // Twenty segments of 1 GB; former marks of as many, or else of cylinders with 2 GB.
    const std::tuple<const char *, const char *, const char *> cases[] = {
        {"B?..................", "", ""},
        {"...................s", "", "0 segments bad, 1 slow. Nothing is lost."},
        {"mBm.................", "",
         "1 segment bad, 0 slow. Lost: 1.0 GB to damage, 2.0 GB to the margin."},
        {"mBm.................", "....................",
         " 1 bad segment more than on 2026-11-01. Do not use this disk: its damage grew by more "
         "than half."},
        {"mBm.................", "BBB.................",
         " No more bad segments than on 2026-11-01."},
        {"B...................", ".BB.................",
         " 1 bad segment fewer than on 2026-11-01."},
        {"B.B.................", "BB..................",
         " Do not use this disk: a tenth of it is bad."},
        {"....................", "....................",
         " No more bad segments than on 2026-11-01."},
        {"B...................", ".B", " 1.0 GB of damage less than on 2026-11-01."}};
    for (const auto &[now, former, expected] : cases) {
        FormerResult before{{.bytespercyl = 2'000'000'000}, marked(former), {2026, 11, 1}};
        if (before.segs.size() == 20)
            before.geometry.bytespercyl /= 2;
        const QString found = verdict(cellsof(now), {.bytespercyl = 1'000'000'000}, before);
        EXPECT_TRUE(*expected ? found.endsWith(expected) : found.isEmpty()) << found.toStdString();
    }
}

// What fits becomes the result and turns the page, with the former one beside it; all else leaves
// plan and files as they were.
TEST(TakeAlong, TheMapsMenuSavesAndLoads)
{
    QFile::remove("disk0");
    WizardBench bench;
    const auto disk = bench.adddisk(20);
    disk->faults->unreadable.add(5 * 50 + 27);
    bench.adddisk(20);
    bench.openscanpage();
    QString typed = "along.txt";
    bench.dialogs.custom = [&](QWidget *widget) {
        auto *dialog = qobject_cast<QFileDialog *>(widget);
        if (dialog == nullptr)
            return false;
        dialog->setOption(QFileDialog::DontConfirmOverwrite);
        dialog->findChild<QLineEdit *>()->setText(typed);
        static_cast<QDialog *>(dialog)->accept();
        return true;
    };
    // The messages, the marks in memory and in the scan file, and whether the page was turned.
    const auto choose = [&](int entry, int blocksize) {
        bench.dialogs.answers = {blocksize};
        emit bench.scanpage()->surfaceview->map->customContextMenuRequested({5, 5});
        auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
        menu->close();
        menu->actions()[entry]->trigger(); // nothing if it is disabled
        QCoreApplication::processEvents();
        const std::string told = bench.dialogs.messages().join("; ").toStdString();
        bench.dialogs.takeseen();
        return told + ' ' + marksof(bench.scanpage()->result().plan) + ' ' +
               marksof(readscanfile("disk0").segs) +
               (bench.current() == bench.wizard->partitionpageid ? " planner"
                : bench.offered(WizardBench::prev)               ? " prev"
                                                                 : "");
    };
    choose(0, 0);
    EXPECT_FALSE(QFile::exists("along.txt"));
    ASSERT_TRUE(bench.runscan() && bench.click(WizardBench::back));
    bench.dialogs.takeseen();
    const std::string scanned = "....BBB............. .....B.............. prev";
    QByteArray list;
    for (int block = 250; block < 300; ++block)
        list += QByteArray::number(block) + '\n';
    const std::pair<const char *, QByteArray> files[] = {
        {"along.txt",
         "stretch                 sectors 250 to 299, 0.000 GB to 0.000 GB: 0.000 GB\n"},
        {"along.json", "\"first_sector\": 250,\n            \"last_sector\": 299\n"},
        {"along.map", "0x0001F400  0x00006400  -\n"},
        {"along.badblocks", list}};
    for (const auto &[name, content] : files) {
        typed = name;
        EXPECT_EQ(choose(0, 0), " " + scanned);
        EXPECT_TRUE(filecontent(name).contains(content)) << filecontent(name).toStdString();
    }
    EXPECT_TRUE(QFile::remove("along.txt") && QFile::link("disk0", "along.txt"));
    typed = "along.txt";
    EXPECT_TRUE(choose(0, 0).starts_with("Can not write the report.\n"));
    const QByteArray mapfile = filecontent("along.map");
    // A map, its blocks' length, the sectors that fail from then on, the messages, and the outcome.
    const std::tuple<QByteArray, int, std::vector<std::uint64_t>, const char *, std::string>
        loads[] = {
            {"hello", 0, {277}, "The map ", scanned},
            {"1000\n", 0, {277}, "The map ", scanned},
            {mapfile, 0, {0}, "Rough disk scan finds different bad", scanned},
            {"225\n", 1, {0, 550}, "segs[", scanned},
            {mapfile, 0, {277}, " ....BBB", "....BBB............. .....B.............. planner"},
            {"225\n",
             1,
             {277},
             " ........BBB",
             "........BBB......... .........B.......... planner"},
            {"225\n", 1, {550}, "segs[", "........BBB.BB...... ........BBB.BB...... planner"}};
    for (const auto &[map, blocksize, unreadable, messages, after] : loads) {
        QFile file(typed = "along");
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(map);
        file.close();
        disk->faults->unreadable.clear();
        for (const std::uint64_t sector : unreadable)
            disk->faults->unreadable.add(sector);
        const std::string found = choose(1, blocksize);
        EXPECT_TRUE(found.starts_with(messages)) << found;
        EXPECT_TRUE(found.ends_with(after)) << found;
        EXPECT_EQ(QFile::exists("disk0.previous"), found.ends_with("planner"));
        EXPECT_TRUE(!found.ends_with("planner") || bench.click(WizardBench::back));
    }
    typed = "disk0.previous";
    EXPECT_TRUE(choose(0, 0).starts_with("Can not write the report.\n"));
    QFile::remove("disk0.previous");
    // another disk has not grown since
    EXPECT_TRUE(bench.scanpage()->report().verdict.contains(" than on "));
    ASSERT_TRUE(replacescanfile("disk1", g, marked("....................")));
    ASSERT_TRUE(bench.click(WizardBench::back));
    bench.selectpage()->diskgroup->button(1)->click();
    ASSERT_TRUE(bench.click(WizardBench::next, WizardBench::prev));
    EXPECT_EQ(bench.scanpage()->report().verdict, "0 segments bad, 0 slow. Nothing is lost.");
    QFile::remove("disk1");
}
