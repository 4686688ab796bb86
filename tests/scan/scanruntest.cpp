// Catches a run that marks, keeps or reuses what was not read from this disk, or loses what was,
// and clicks whose outcome is not told.
#include "core/bytes.h"
#include "scan/scanfile.h"
#include "scan/scanplan.h"
#include "scan/surfaceview.h"
#include "tests/scan/marks.h"
#include "tests/support/wizardbench.h"
#include "views/surfacemap.h"

#include <csignal>
#include <sys/resource.h>

namespace
{

using Kind = platform::Operation::Kind;
using List = std::vector<SEG>;
constexpr auto back = WizardBench::back, next = WizardBench::next, prev = WizardBench::prev;

// Short names of messages in an outcome, and how the messages begin.
const std::pair<const char *, const char *> messages[] = {
    {"SAVED", "Scan completed. The scan result is saved in file disk0. You may backup the file"},
    {"CHANGED", "Rough disk scan finds different bad sectors than the previous result. You"},
    {"GONE", "The disk does not answer any more. Click \"Use prev. >\" to go on from here"},
    {"DAMAGED", "The file disk0 with the previous scan result is damaged. Please scan"},
    {"FULL", "Can not write the scan result to file disk0. The scan goes on, but its"},
    {"SMALL", "The disk has not one whole cylinder. It can not be partitioned."},
    {"NODISK", "Can not open the disk."},
    {"NOFILE", "Can not open bin data file to write."},
    {"STRANGER", "The scan result in file disk0 seems to be that of another disk:"},
    {"NEW", "Find new bad sectors."},
    {"MISFIT", "The previous scan result in file disk0 does not fit this disk. It is that"},
    {"EARLIER", "The last scan was interrupted, and a complete result of an earlier one is"}};

class ScanRun : public ::testing::Test
{
protected:
    void SetUp() override { QFile::remove("disk0"); }
    /// Enters the scan page of a disk with so many cylinders of 50 sectors.
    void enter(std::uint64_t cylinders)
    {
        disk = bench.adddisk(cylinders);
        bench.openscanpage();
    }
    /// A word of a script. "bad=N" has sector N fail, and "healthy" none; "gone=N" is after so many
    /// operations, and "gone=" never; "reads=N" locks the disk up after so many; "slow=N" has that
    /// sector take a second, and "marks" has slow segments marked; "denied" and "opens" are opens
    /// of the disk; "file=MARKS" writes a sound scan file, "cut=N" cuts it to as many bytes, and
    /// "file=" removes it; "again" comes to the page in a new wizard; "row=N" chooses another disk;
    /// "skipscan" and "useprev" call the slots. Other words are clicks. Returns whether it could be
    /// done.
    bool step(const QString &word)
    {
        const QString name = word.section('=', 0, 0), value = word.section('=', 1);
        std::optional<std::uint64_t> &gone = disk->faults->vanishafter;
        if (name == "bad")
            disk->faults->unreadable.add(value.toULongLong());
        else if (name == "healthy")
            disk->faults->unreadable.clear();
        else if (name == "gone")
            gone = value.isEmpty() ? std::nullopt : std::optional(value.toULongLong());
        else if (name == "reads")
            disk->faults->locksafter = value.toULongLong();
        else if (name == "slow")
            disk->faults->slow = {
                {value.toULongLong(), value.toULongLong(), std::chrono::seconds(1)}};
        else if (name == "marks")
            page()->slowbox->setChecked(true);
        else if (name == "denied" || name == "opens")
            disk->opens = name == "opens";
        else if (name == "file")
            return value.isEmpty() ? QFile::remove("disk0")
                                   : replacescanfile("disk0", g, marked(value.toStdString()));
        else if (name == "cut")
            return QFile::resize("disk0", value.toInt());
        else if (name == "again")
            bench.openscanpage();
        else if (name == "row")
            bench.selectpage()->selectdisk(value.toInt());
        else if (name == "skipscan")
            page()->skipscan();
        else if (name == "useprev")
            page()->useprev();
        else
            return bench.clicks(name);
        return true;
    }
    /// Plays a script. Returns the messages since the last one, the wizard's state, "prev" if Use
    /// prev. is enabled, the marks of the scan file, and those in memory if they differ.
    std::string after(const std::string &script)
    {
        std::string text;
        for (const QString &word : QString::fromStdString(script).split(' ', Qt::SkipEmptyParts))
            text += step(word) ? "" : "not done ";
        for (const DialogAnswers::Seen &one : bench.dialogs.takeseen()) {
            // what is given; the lines behind it say where or why
            std::string name = one.text.section('\n', 0, 0).toStdString();
            for (const auto &[shortname, begin] : messages)
                name = one.text.startsWith(begin) ? shortname : name;
            text += name + " ";
        }
        if (page()->diskhandle != invaliddisk || page()->datafile ||
            (page()->scanprogress && page()->scanprogress->isVisible()))
            text += "busy ";
        const bool waits = bench.offered(next) && bench.offered(back) && bench.offered(bench.skip);
        const char *const locks = waits ? "waiting" : "locked";
        text += bench.wizard->isHidden() ? "closed" : onplanner() ? "planner" : locks;
        EXPECT_EQ(page()->diskgeom, g);
        const ScanFile file = readscanfile("disk0");
        const std::string states[] = {"none", "damaged", "", ""},
                          stored = marksof(
                              std::span(file.segs).first(static_cast<std::size_t>(file.records))),
                          memory = marksof(page()->result().plan);
        text += (bench.offered(prev) ? " prev " : " ") + stored +
                states[static_cast<int>(file.state)] + (file.ragged ? "?" : "");
        return memory == stored ? text : text + " " + memory;
    }
    /// Plays scripts in turn.
    void play(std::initializer_list<std::pair<const char *, std::string>> rows)
    {
        for (const auto &[script, expected] : rows)
            EXPECT_EQ(after(script), expected) << script;
    }
    /// The state of each cell: untested, good, slow, bad, margin, in work.
    std::string surface()
    {
        std::string states;
        for (const SurfaceCell &cell : page()->surfaceview->map->cells())
            states += "?.sBmw"[static_cast<int>(cell.state)];
        return states;
    }
    bool onplanner() { return bench.current() == bench.wizard->partitionpageid; }
    DiskScanPage *page() { return bench.scanpage(); }

    WizardBench bench;
    std::shared_ptr<platform::RecordedDisk> disk;
};

} // namespace

TEST_F(ScanRun, ReadsEverySectorOnceAndEndsADamagedSegmentAtItsFirstFailure)
{
    enter(20);
    disk->recording->clear();
    play({{"bad=277 nw", "SAVED planner .....B.............. ....BBB............."}});
    EXPECT_EQ(page()->intsegs, (List{{0, 3, 0}, {4, 6, 1}, {7, 19, 0}}));
    std::string reads;
    for (int sector = 0; sector < 1000; sector += sector % 50 < 40 ? 20 : 10) {
        if (sector != 5 * 50 + 40) // behind the failure
            reads += "r" + std::to_string(sector) + (sector % 50 < 40 ? "+20 " : "+10 ");
        else // a sector that was good is read again: the disk may be gone
            reads += "r249+1 ";
    }
    // The boundary behind the margin: one cylinder on either side, sector by sector.
    for (int sector = 300; sector < 400; ++sector)
        reads += "r" + std::to_string(sector) + "+1 ";
    EXPECT_EQ(disk->recording->count(Kind::open), disk->recording->count(Kind::close));
    EXPECT_EQ(disk->recording->course() + " ", reads);
}

TEST_F(ScanRun, CancelsResumesAndStartsAnew)
{
    enter(12);
    const auto title = [this] { return page()->scanprogress->windowTitle().toStdString(); };
    ASSERT_TRUE(step("bad=50") && step("n"));
    EXPECT_EQ(title(), "0 % done, 0 bad segments");
    // whenever it is killed, the file holds every segment that was tested
    EXPECT_TRUE(bench.wait([this] {
        EXPECT_EQ(readscanfile("disk0").records, page()->curseg);
        return page()->curseg >= 3;
    }));
    const std::string marks = ".B..........", aborted = after("a");
    EXPECT_NE(title().find(" % done, 1 bad segment, "), std::string::npos) << title();
    const int done = page()->curseg;
    EXPECT_EQ(aborted, "waiting prev " + marks.substr(0, done) + " " + marks);
    // Resumed at the first missing segment: three reads for each, and the boundary. The title does
    // not count the bad segments of the first run.
    disk->recording->clear();
    bench.click(prev);
    EXPECT_TRUE(title().ends_with(" % done, 0 bad segments")) << title();
    EXPECT_FALSE(title().starts_with("0 ")) << title();
    EXPECT_EQ(after("w"), "SAVED planner " + marks + " BBB.........");
    EXPECT_EQ(disk->recording->count(Kind::read), (12U - done) * 3 + 100);
    // Next begins a fresh run, which empties the file but keeps the marks in memory.
    page()->writetestbox->setChecked(true);
    play({{"healthy bnw", "SAVED planner BBB......... BBBB........"}});
    EXPECT_EQ(disk->recording->count(Kind::write), 12U * 3);
    // Skipping clears them, and so does entering from the first page.
    after("b skipscan");
    EXPECT_EQ(page()->intsegs, (List{{0, 11, 0}}));
    play({{"bbn", "waiting prev BBB......... ............"}});
    EXPECT_EQ(page()->testfunc, write_test);
}

TEST_F(ScanRun, AFileIsResumedReusedOrRefusedWithWordsByItsLength)
{
    enter(7);
    step("bad=349");
    const geom found = page()->diskgeom;
    const int whole = 56 + 7 * 24;
    for (const int length : {0, 55, 56, 79, 80, 81, 103, 104, 105, whole - 1, whole, whole + 30}) {
        // A header alone holds no result.
        const bool damaged = length < 56 + 24, resumed = !damaged && length < whole;
        EXPECT_TRUE(step("file=......B") && step("cut=" + QString::number(length)));
        EXPECT_TRUE(step("again") && step("p"));
        EXPECT_EQ(page()->curseg, resumed ? (length - 56) / 24 : 0) << length;
        EXPECT_EQ(after("w"), damaged   ? "DAMAGED waiting damaged ......."
                              : resumed ? "SAVED planner ......B .....BB"
                                        : "planner ......B")
            << length;
        EXPECT_EQ(page()->diskgeom, found);
    }
    // A refused resume does not change the file, also if it ends in part of a record.
    after("again cut=100 denied");
    page()->segs[6].isbad = 1;
    play({{"p", "NODISK waiting prev .? ......B"}});
    EXPECT_EQ(QFile("disk0").size(), 100);
    play({{"file= p", "NOFILE waiting prev none ......B"}});
    // The geometry of a file replaces the disk's own.
    const geom stored = withfactors(found, 512, 25, 1);
    List segs = makeplan(stored);
    segs.pop_back();
    EXPECT_TRUE(replacescanfile("disk0", stored, segs));
    play({{"opens pw", "SAVED planner .............B ............BB"}});
    EXPECT_EQ(page()->diskgeom, stored);
}

TEST_F(ScanRun, ADiskThatWentAwayIsNotFullOfBadSectors)
{
    enter(10);
    // Gone in a run, and during the boundary check that ends one: a complete file can be reused.
    play({{"bad=101 gone=20 nw", "GONE waiting prev ..B.. ..B......."},
          {"gone= pw", "SAVED planner ..B....... .BBB......"},
          {"bbn gone=35 nw", "GONE waiting prev ..B....... .BBB......"}});
    // During the boundary check of a reused result, during its rough check, and never.
    step("healthy");
    for (const int operations : {1, 65, 100, 101, 450}) {
        EXPECT_EQ(after("gone= file=...B...... bn gone=" + std::to_string(operations) + " p"),
                  operations < 450 ? "GONE waiting prev ...B...... .........."
                                   : "planner ...B......")
            << operations;
    }
    // The rough check may fail in a known bad stretch, not in a good one.
    play({{"bad=150 bp", "segs[5],0 NEW planner ...B.B...."},
          {"bad=0 bp", "segs[5],1 NEW CHANGED waiting ...B.B...."}});
}

TEST_F(ScanRun, AFileThatCanNotBeWrittenCostsTheFileAndNotTheRun)
{
    enter(9);
    EXPECT_TRUE(step("file=BBB"));
    EXPECT_TRUE(QFile::rename("disk0", "precious"));
    EXPECT_TRUE(QFile::link("precious", "disk0"));
    after("bnn");
    EXPECT_FALSE(page()->writedatafile());
    EXPECT_EQ(after(""), "NOFILE waiting none .........");
    EXPECT_EQ(QFile("precious").size(), 56 + 3 * 24);
    EXPECT_TRUE(step("file="));
    // Like a full medium: no file can grow beyond that many bytes.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const std::tuple<rlim_t, const char *, const char *> cases[] = {
        {30, "nw", "NOFILE waiting damaged ........."},
        {56 + 24 + 5, "na", "FULL waiting . ........."},
        // The boundaries' check has the file replaced: it stays as it was.
        {56 + 24 + 5, "bad=100 bad=150 nw", "FULL segs[5],0 planner . .BBB.B..."},
        // A finished run leaves Skip scan locked, and an incomplete file is not offered.
        {before.rlim_cur, "b", "locked . .BBB.B..."}};
    for (const auto &[bytes, script, expected] : cases) {
        const rlimit limit = {bytes, before.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        EXPECT_EQ(after(script), expected);
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    }
    EXPECT_TRUE(QFile::exists("disk0.previous")); // a run that was not saved replaces nothing
}

// Two disks of one model in turn at one node: each keeps its own file.
TEST_F(ScanRun, TwinsDoNotTakeEachOthersResults)
{
    enter(7);
    const auto serial = [this](const char *number) {
        disk->description.emplace().serial = number;
        bench.openscanpage();
    };
    serial("AA-00001111");
    play({{"nw", "SAVED planner ......."}});
    const QByteArray first = filecontent("disk0");
    std::uint8_t checksum[4];
    putlittle(checksum, serialchecksum("AA00001111"), 4);
    EXPECT_EQ(first.mid(12, 4), QByteArray(reinterpret_cast<char *>(checksum), 4));

    for (const char *number : {"AA-00002222", ""}) {
        const std::string own = *number ? "disk0-00002222" : "disk0-no-serial";
        serial(number);
        bench.dialogs.consent = false;
        play({{"p", "STRANGER waiting prev ......."}});
        EXPECT_TRUE(after("bad=100 nw").starts_with("Scan completed. "));
        EXPECT_EQ(filecontent("disk0"), first);
        EXPECT_EQ(filecontent(own.c_str()).mid(56 + 2 * 24 + 16, 1), QByteArray(1, 1));
        play({{"again p", "segs[4],0 NEW planner ....... ..B.B.."}});
        EXPECT_EQ(page()->filename, own);
        EXPECT_TRUE(QFile::remove(own.c_str()));
        // An adapter with a number of its own: the user knows better.
        bench.dialogs.consent = true;
        play({{"healthy again p", "STRANGER planner ......."}});
    }
    // The disk itself, and an old file without a checksum, by whatever disk.
    serial("0aa00001111 ");
    play({{"p", "planner ......."}, {"file=....... again p", "planner ......."}});
}

TEST_F(ScanRun, TheRecordOnTheDiskStandsInForAMissingFile)
{
    enter(20);
    page()->segs[9].isbad = 1;
    std::vector<std::uint8_t> record = encodescanrecord(page()->segs, 20, 512);
    const auto reenter = [&](std::size_t damaged) {
        record[damaged] ^= 1;
        disk->store->save(512, record.data(), 512);
        record[damaged] ^= 1;
        return after("bn").substr(0, 17);
    };
    // Wrong magic words or a wrong count. What follows the marks is ignored.
    for (const std::size_t damaged : {0, 3, 4, 7, 8, 11})
        EXPECT_EQ(reenter(damaged), "waiting none ....") << damaged;
    EXPECT_EQ(reenter(511), "waiting prev none");
    play({{"gone=2 p", "GONE waiting prev none ...................."}});
    disk->faults->vanishafter.reset();
    // A record that can't be read any more does not pass for a disk without damage.
    const std::string changed = "CHANGED waiting none ....................";
    play({{"bad=1 p", changed}});
    EXPECT_EQ(reenter(511), "waiting none ....");
    // It is judged again at the click: something else may have been written there meanwhile.
    step("healthy");
    reenter(511);
    disk->store->save(512, std::string(512, 'x').data(), 512);
    play({{"p", changed}});
    // A file without a result does not hide it.
    EXPECT_TRUE(replacescanfile("disk0", page()->diskgeom, {}));
    EXPECT_EQ(reenter(511), "waiting prev dama");
    play({{"file= p", "planner none .........B.........."}});
    EXPECT_EQ(page()->intsegs, (List{{0, 8, 0}, {9, 9, 1}, {10, 19, 0}}));
    // The file is created only when a boundary moves, and is then preferred.
    play({{"bad=450 bp", "segs[11],0 NEW planner .........B.B........"},
          {"bbn", "waiting prev .........B.B........ ...................."}});
    EXPECT_EQ(page()->prevsource, 1);
}

// However the window is closed, the run ends, the file is whole and the program ends.
TEST_F(ScanRun, ClosingTheWindowEndsTheRunAndTheProgram)
{
    enter(400);
    for (int i = 0; i < 16; ++i) { // at another moment of the disk's work each time
        step("again");
        bench.click(next);
        EXPECT_TRUE(bench.wait([this] { return page()->curseg >= 5; }));
        for (QWidget *window :
             std::initializer_list<QWidget *>{bench.wizard.get(), page()->scanprogress})
            QTest::keyClick(window, Qt::Key_Escape); // ends and hides nothing
        EXPECT_TRUE(page()->scanprogress->isVisible());
        QTimer watch; // the first time may only end the run
        watch.callOnTimeout([&] {
            if (i % 2 == 0)
                bench.wizard->close();
            else if (bench.wizard->isVisible())
                QApplication::quit();
        });
        watch.start(0);
        QTimer::singleShot(9000, bench.wizard.get(), [] { QApplication::exit(99); });
        EXPECT_EQ(QApplication::exec(), 0);
        const int done = page()->curseg;
        EXPECT_LT(done, 400);
        EXPECT_EQ(after(""), "closed " + std::string(done, '.') + " " + std::string(400, '.'));
    }
}

// The window is closed behind a message box at the end of a run: the file stays as the run left
// it.
TEST_F(ScanRun, ClosingTheWindowBehindABoxEndsTheWork)
{
    enter(9);
    const char *box = "segs[";
    bench.dialogs.custom = [&](QWidget *widget) {
        const auto *shown = qobject_cast<QMessageBox *>(widget);
        if (shown && shown->text().startsWith(box))
            bench.wizard->reject();
        return false;
    };
    // Two segments: the margin then grows only to the left, and one boundary has to move.
    play({{"bad=100 bad=150 nw", "segs[5],0 closed ..BB..... .BBB....."},
          {"again p", "segs[5],0 closed ..BB..... ........."}});
    box = "Find new";
    play({{"again p", "segs[5],0 NEW closed ..BB.B... ........."}});
    box = "Scan completed";
    play({{"again nw", "segs[5],0 SAVED closed .BBB.B..."}});
}

TEST_F(ScanRun, PagesWithoutAPlanRefuseWithWords)
{
    enter(2);
    bench.adddisk(1)->geometry.reset(); // a guess has larger cylinders than this disk has bytes
    step("again");
    play({{"nwbb denied", "SAVED locked .."}});
    // Nothing of an earlier disk is left if the next one does not open or has no whole cylinder.
    play({{"row=0 nn skipscan useprev b", "NODISK NODISK NODISK NODISK locked .. "},
          {"row=1 nn skipscan useprev b", " SMALL SMALL SMALL locked .. "}});
    EXPECT_TRUE(page()->intsegs.empty());
    EXPECT_STREQ(page()->filename, "disk1");
    // The disk can't be opened when the run begins: the former result is back.
    play({{"row=0 opens n denied n", "NODISK waiting prev .."}});
}

// What a file or an answer says about this program or another disk is never taken for the medium's.
TEST_F(ScanRun, OnlyWhatWasReadFromThisDiskCounts)
{
    enter(10);
    const geom found = page()->diskgeom;
    // The file of a longer disk, of one with other sectors, and one that claims more than there is:
    // geometry, plan and marks stay, and the scan that is asked for is that of this disk.
    geom huge = found;
    huge.totalbytes = huge.bytespercyl << 40;
    huge.cylinders = 1ULL << 40;
    huge.totalsectors = huge.totalbytes / 512;
    for (const geom &stored : {withfactors({.totalbytes = found.totalbytes + 512}, 512, 25, 2),
                               withfactors({.totalbytes = found.totalbytes}, 1024, 25, 1), huge}) {
        ASSERT_TRUE(replacescanfile("disk0", stored, makeplan(stored)));
        after("bn");
        page()->segs[7].isbad = 1;
        EXPECT_TRUE(after("p").starts_with("MISFIT waiting "));
        EXPECT_EQ(page()->diskgeom, found);
        ASSERT_EQ(page()->segnum, 10);
        EXPECT_EQ(page()->segs[7].isbad, 1);
    }
    // A bridge that locks up after so many reads and fails every one, its length unchanged: the
    // failures up to there are taken back, and a resumed run ends as if nothing had happened.
    play({{"file= bn nw", "SAVED planner .........."},
          {"bbn file= reads=0 nw", "The disk does not answer any more. waiting damaged .........."},
          {"file= reads=10 nw", "GONE waiting prev ... .........."},
          {"file= reads=11 nw", "GONE waiting prev ... .........."},
          // What failed just before that is taken back too, with its record.
          {"file= bad=50 bad=100 reads=7 nw", "GONE waiting prev . .........."},
          {"healthy reads=1000000 pw", "SAVED planner .........."},
          {"bbn", "waiting prev .........."}});
    // Gone at its start too, where nothing but the end of the failed segment can be read.
    disk->faults->unreadable.add(0, 48);
    disk->faults->unreadable.add(50, 499);
    EXPECT_TRUE(after("file= nw").starts_with("The disk does not answer any more. waiting"));
    play({// A mistaken Next: the former result comes back, also in front of an interrupted scan.
          {"healthy file=....B..... bn denied n", "NODISK waiting prev ....B..... .........."},
          {"opens gone=8 nw", "GONE waiting prev . .........."}});
    play({{"gone= bn gone=8 nw", "GONE waiting prev . .........."}});
    EXPECT_TRUE(QFile::exists("disk0.previous"));
    play({{"gone= bnpw", "EARLIER SAVED planner .........."}});
    EXPECT_FALSE(QFile::exists("disk0.previous"));
    play({{"file=....B..... again gone=8 nw", "GONE waiting prev . .........."}});
    bench.dialogs.consent = true;
    play({{"gone= p", "EARLIER planner ....B....."}});
}

// Segment 2 fails, 5 is slow at its end, 7 a little slow; the neighbours are not.
TEST_F(ScanRun, ASlowSegmentIsShownAndMarkedOnlyIfTheUserSaysSo)
{
    enter(12);
    const auto slow = [](std::uint64_t first, std::uint64_t last, int time) {
        return platform::FaultPlan::Slow{first, last, std::chrono::milliseconds(time)};
    };
    disk->faults->clock.emplace();
    disk->faults->faildelay = std::chrono::milliseconds(3000);
    disk->faults->slow = {slow(299, 299, 500), slow(350, 399, 120)};
    step("bad=130");
    const auto shows = [this](const char *states) { EXPECT_EQ(surface(), states); };
    const std::tuple<bool, int, std::string, const char *> cases[] = {
        {false, 500, "..B......... .BBB........", ".mBm.s......"},
        {false, 120, "..B......... .BBB........", ".mBm.s.s...."},
        {true, 501, "..B......... .BBB........", ".mBm........"},
        {true, 500, "..B..B...... .BBBBBB.....", ".mBmmBm....."},
        {true, 120, "..B..B.B.... .BBBBBBBB...", ".mBmmBmBm..."}};
    for (const auto &[marks, limit, outcome, states] : cases) {
        step("again");
        page()->slowbox->setChecked(marks);
        page()->limitbox->setValue(limit);
        QTest::keyClick(page()->limitbox, Qt::Key_Return); // begins no run
        EXPECT_FALSE(page()->scantimer);
        EXPECT_EQ(after("nw"), "SAVED planner " + outcome);
        std::string times;
        for (const SurfaceCell &cell : page()->surface())
            times += std::to_string(static_cast<int>(cell.slowest)) + " ";
        EXPECT_EQ(times, "0 0 3000 0 0 500 0 120 0 0 0 0 ");
        // still there behind the planner and what is refused
        EXPECT_TRUE(after("b denied p opens").starts_with("NODISK locked prev "));
        shows(states);
    }
    EXPECT_TRUE(after("na").starts_with("waiting prev ."));
    EXPECT_TRUE(surface().ends_with("????")) << surface();
    // Resumed: what was tested before has no times. Then a result of the file alone, and none.
    after("file=..B again");
    shows("????????????");
    step("p");
    shows("..Bw????????");
    // The run's dialog covers neither the map nor the figures.
    const SurfaceView *view = page()->surfaceview;
    const QRect covered = page()->scanprogress->geometry();
    EXPECT_FALSE(covered.intersects({view->mapToGlobal(QPoint()), view->size()}));
    EXPECT_GE(view->height(), view->minimumSizeHint().height());
    EXPECT_TRUE(view->figures->text().startsWith("Done: 25 %\nElapsed: 0:00:"));
    play({{"w", "EARLIER SAVED planner ..B......... .BBB........"}});
    shows(".mBm.s......");
    page()->limitbox->setValue(120);
    shows(".mBm.s.s....");
    page()->limitbox->setValue(500);
    EXPECT_TRUE(view->figures->text().startsWith("Done: 100 %\nElapsed: 0:00:"));
    EXPECT_TRUE(view->figures->text().endsWith(
        "\nBad segments: 1\nSlow segments: 1\nSlowest transfer: 500 ms"));
    EXPECT_EQ(view->map->cells()[5].slowest, 500);
    disk->faults->slow.clear();
    play({{"bbnp", "segs[4],0 NEW planner ..B.B......."}});
    shows("..B.B.......");
    EXPECT_FALSE(view->figures->text().contains("Elapsed"));
    EXPECT_TRUE(view->verdictline->text().startsWith("2 segments bad, 0 slow."));
    after("b skipscan");
    shows("????????????");

    // A disk that locks up: a slow segment is not taken back for that, and behind a failure it does
    // not say that the disk was still there.
    play({{"file= again marks slow=75 reads=6 nw", "GONE waiting prev .B .B.........."},
          {"file= again marks slow=175 reads=11 nw", "GONE waiting prev .. ............"},
          {"file= again slow=175 reads=12 nw", "GONE waiting prev ..B. ..B........."}});
}
