// Catches a run that marks, keeps or reuses what was not read from this disk, or loses what was,
// and clicks whose outcome is not told.
#include "core/bytes.h"
#include "platform/decorator.h"
#include "scan/scanfile.h"
#include "scan/scanplan.h"
#include "scan/surfaceview.h"
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
    {"CHANGED", "Rough disk scan finds different bad sectors than the previous result. You need"},
    {"GONE", "The disk does not answer any more. Click \"Use prev. >\" to go on from here once"},
    {"DAMAGED", "The file disk0 with the previous scan result is damaged. Please scan the disk"},
    {"FULL", "Can not write the scan result to file disk0. The scan goes on, but its result will"},
    {"SMALL", "The disk has not one whole cylinder. It can not be partitioned."},
    {"NODISK", "Can not open the disk."},
    {"NOFILE", "Can not open bin data file to write."},
    {"STRANGER", "The scan result in file disk0 seems to be that of another disk:"},
    {"NEW", "Find new bad sectors."},
    {"MISFIT",
     "The previous scan result in file disk0 does not fit this disk. It is that of a disk"},
    {"REFUSED", "The disk refuses the test, which says nothing about its sectors."},
    {"EARLIER", "The last scan was interrupted, and a complete result of an earlier one is there"}};

/// Fails every read after the first `left` ones.
class LockingDevice : public platform::Decorator
{
public:
    LockingDevice(std::unique_ptr<platform::Device> device, int &healthy)
        : Decorator(std::move(device)), left(healthy)
    {
    }

protected:
    platform::Transfer doread(std::uint64_t offset, void *buffer, std::size_t bytes) override
    {
        return left-- > 0 ? inner->read(offset, buffer, bytes)
                          : platform::Transfer{{platform::Fault::medium, 0}, 0};
    }

private:
    int &left;
};

class ScanRun : public ::testing::Test
{
protected:
    void SetUp() override { QFile::remove("disk0"); }

    /// Writes a sound scan file with these marks, one cylinder each.
    bool putmarks(const std::string &marks)
    {
        List segs;
        for (const char mark : marks)
            segs.push_back({segs.size(), segs.size(), mark == 'B'});
        return replacescanfile("disk0", page()->diskgeom, segs);
    }
    /// Each step is a letter: 'b', 'n', 'p' click Back, Next, Use prev.; 'w' waits for the end of a
    /// run; 'a' aborts it at segment 3. Returns the messages since the last call, the wizard's
    /// state, "prev" if Use prev. is enabled, the marks of the scan file, and those in memory if
    /// they differ.
    std::string after(const std::string &steps)
    {
        std::string text;
        for (const char which : steps) {
            if (which == 'a' && bench.wait([this] { return page()->curseg >= 3; }))
                bench.abortscan();
            const bool waits = which == 'a' || which == 'w';
            const auto button = which == 'b' ? back : which == 'n' ? next : prev;
            text += (waits ? bench.waitrun() : bench.click(button)) ? "" : "not done ";
        }
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
        const auto marksof = [](const SEG *segs, int count) {
            std::string marks;
            for (int i = 0; i < count; ++i)
                marks += segs[i].isbad ? 'B' : '.';
            return marks;
        };
        const ScanFile file = readscanfile("disk0");
        const std::string states[] = {"none", "damaged", "", ""},
                          stored = marksof(file.segs.data(), file.records),
                          memory = marksof(page()->segs, page()->segnum);
        text += (bench.offered(prev) ? " prev " : " ") + stored +
                states[static_cast<int>(file.state)] + (file.ragged ? "?" : "");
        return memory == stored ? text : text + " " + memory;
    }
    /// The state of each cell: untested, good, slow, bad, margin, in work; `times` in milliseconds.
    std::string surface(std::string *times = nullptr)
    {
        std::string states;
        for (const SurfaceCell &cell : page()->surface()) {
            states += "?.sBmw"[static_cast<int>(cell.state)];
            if (times)
                *times += std::to_string(static_cast<int>(cell.slowest)) + " ";
        }
        return states;
    }
    bool onplanner() { return bench.current() == bench.wizard->partitionpageid; }
    DiskScanPage *page() { return bench.scanpage(); }

    WizardBench bench;
};

} // namespace

TEST_F(ScanRun, ReadsEverySectorOnceAndEndsADamagedSegmentAtItsFirstFailure)
{
    const auto disk = bench.adddisk(20);
    disk->faults->unreadable.add(5 * 50 + 27);
    bench.openscanpage();
    disk->recording->clear();
    EXPECT_EQ(after("nw"), "SAVED planner .....B.............. ....BBB.............");
    EXPECT_EQ(page()->intsegs, (List{{0, 3, 0}, {4, 6, 1}, {7, 19, 0}}));
    std::string reads;
    for (std::uint64_t sector = 0; sector < 1000; sector += sector % 50 < 40 ? 20 : 10) {
        if (sector != 5 * 50 + 40) // behind the failure
            reads += "r" + std::to_string(sector) + (sector % 50 < 40 ? "+20 " : "+10 ");
        else // a sector that was good is read again: the disk may be gone
            reads += "r249+1 ";
    }
    // The boundary behind the margin: one cylinder on either side, sector by sector.
    for (std::uint64_t sector = 300; sector < 400; ++sector)
        reads += "r" + std::to_string(sector) + "+1 ";
    EXPECT_EQ(disk->recording->count(Kind::open), disk->recording->count(Kind::close));
    EXPECT_EQ(disk->recording->course() + " ", reads);
}

TEST_F(ScanRun, CancelsResumesAndStartsAnew)
{
    const auto disk = bench.adddisk(12);
    const std::string marks = ".B..........";
    disk->faults->unreadable.add(1 * 50);
    bench.openscanpage();
    bench.click(next);
    const auto title = [this] { return page()->scanprogress->windowTitle(); };
    EXPECT_EQ(title(), "0 % done, 0 bad segments");
    // whenever it is killed, the file holds every segment that was tested
    EXPECT_TRUE(bench.wait([this] {
        EXPECT_EQ(readscanfile("disk0").records, page()->curseg);
        return page()->curseg >= 3;
    }));
    const std::string aborted = after("a");
    EXPECT_TRUE(title().contains(" % done, 1 bad segment, ")) << title().toStdString();
    const int done = page()->curseg;
    EXPECT_EQ(aborted, "waiting prev " + marks.substr(0, done) + " " + marks);
    // Resumed at the first missing segment: three reads for each, and the boundary. The title does
    // not count the bad segments of the first run.
    disk->recording->clear();
    bench.click(prev);
    EXPECT_TRUE(title().endsWith(" % done, 0 bad segments") && !title().startsWith("0 "));
    EXPECT_EQ(after("w"), "SAVED planner " + marks + " BBB.........");
    EXPECT_EQ(disk->recording->count(Kind::read), (12U - done) * 3 + 100);
    // Next begins a fresh run, which empties the file but keeps the marks in memory.
    disk->faults->unreadable.clear();
    page()->writetestbox->setChecked(true);
    EXPECT_EQ(after("bnw"), "SAVED planner BBB......... BBBB........");
    EXPECT_EQ(disk->recording->count(Kind::write), 12U * 3);
    // Skipping clears them, and so does entering from the first page.
    after("b");
    page()->skipscan();
    EXPECT_EQ(page()->intsegs, (List{{0, 11, 0}}));
    EXPECT_EQ(after("bbn"), "waiting prev BBB......... ............");
    EXPECT_EQ(page()->testfunc, write_test);
}

TEST_F(ScanRun, EveryLengthOfAFileResumesReusesOrIsRefusedWithWords)
{
    const auto disk = bench.adddisk(7);
    disk->faults->unreadable.add(6 * 50 + 49);
    bench.openscanpage();
    const geom found = page()->diskgeom;
    const qsizetype whole = 56 + 7 * 24;
    for (qsizetype length = 0; length <= whole + 30; ++length) {
        SCOPED_TRACE(length);
        ASSERT_TRUE(putmarks("......B"));
        const QByteArray complete = filecontent("disk0");
        ASSERT_TRUE(QFile::resize("disk0", length));
        const QByteArray content = filecontent("disk0");
        after("bn");
        page()->segs[2].isbad = 1;
        bench.click(prev);
        // A header alone holds no result.
        const bool damaged = length < 56 + 24;
        const bool resumed = !damaged && length < whole;
        EXPECT_EQ(page()->curseg, resumed ? (length - 56) / 24 : 0);
        EXPECT_EQ(after("w"), damaged   ? "DAMAGED waiting damaged ..B...."
                              : resumed ? "SAVED planner ......B .....BB"
                                        : "planner ......B");
        EXPECT_EQ(filecontent("disk0"), resumed ? complete : content);
        EXPECT_EQ(page()->diskgeom, found);
        EXPECT_EQ(g, found);
        ASSERT_TRUE(damaged || bench.click(back));
    }
    // A refused resume does not change the file, also if it ends in part of a record.
    disk->opens = false;
    EXPECT_TRUE(QFile::resize("disk0", 100));
    EXPECT_EQ(after("p"), "NODISK waiting prev .? ......B");
    EXPECT_EQ(QFile("disk0").size(), 100);
    EXPECT_TRUE(QFile::remove("disk0"));
    EXPECT_EQ(after("p"), "NOFILE waiting prev none ......B");
    // The geometry of a file replaces the disk's own.
    disk->opens = true;
    const geom stored = withfactors(found, 512, 25, 1);
    List segs;
    for (std::uint64_t i = 0; i < 13; ++i)
        segs.push_back({i, i, 0});
    EXPECT_TRUE(replacescanfile("disk0", stored, segs));
    EXPECT_EQ(after("pw"), "SAVED planner .............B ............BB");
    EXPECT_EQ(page()->diskgeom, stored);
    EXPECT_EQ(g, stored);
}

TEST_F(ScanRun, ADiskThatWentAwayIsNotFullOfBadSectors)
{
    const auto disk = bench.adddisk(10);
    const std::string marks = "..B.......";
    disk->faults->unreadable.add(2 * 50 + 1);
    bench.openscanpage();
    disk->faults->vanishafter = 20;
    const std::string vanished = after("nw");
    const int done = page()->curseg;
    EXPECT_GT(done, 3);
    EXPECT_EQ(vanished, "GONE waiting prev " + marks.substr(0, done) + " " + marks);
    disk->faults->vanishafter.reset();
    EXPECT_EQ(after("pw"), "SAVED planner " + marks + " .BBB......");
    // Gone during the boundary check that ends a run: the complete file can be reused.
    after("bbn");
    disk->faults->vanishafter = 10 * 3 + 5;
    EXPECT_EQ(after("nw"), "GONE waiting prev " + marks + " .BBB......");
    // During the boundary check of a reused result, during its rough check, and never.
    disk->faults->unreadable.clear();
    for (const std::uint64_t operations : {1, 65, 100, 101, 450}) {
        disk->faults->vanishafter.reset();
        EXPECT_TRUE(putmarks("...B......"));
        after("bn");
        disk->faults->vanishafter = operations;
        const char *const expected =
            operations < 450 ? "GONE waiting prev ...B...... .........." : "planner ...B......";
        EXPECT_EQ(after("p"), expected) << operations;
    }
    // The rough check may fail in a known bad stretch, not in a good one.
    disk->faults->unreadable.add(3 * 50, 3 * 50);
    EXPECT_EQ(after("bp"), "segs[5],0 NEW planner ...B.B....");
    disk->faults->unreadable.add(0);
    EXPECT_EQ(after("bp"), "segs[5],1 NEW CHANGED waiting ...B.B....");
}

TEST_F(ScanRun, AFileThatCanNotBeWrittenCostsTheFileAndNotTheRun)
{
    bench.adddisk(9);
    bench.openscanpage();
    EXPECT_TRUE(putmarks("BBB"));
    EXPECT_TRUE(QFile::rename("disk0", "precious"));
    EXPECT_TRUE(QFile::link("precious", "disk0"));
    after("bnn");
    EXPECT_FALSE(page()->writedatafile());
    EXPECT_EQ(after(""), "NOFILE waiting none .........");
    EXPECT_EQ(QFile("precious").size(), 56 + 3 * 24);
    EXPECT_TRUE(QFile::remove("disk0"));
    // Like a full medium: no file can grow beyond that many bytes.
    std::signal(SIGXFSZ, SIG_IGN);
    const auto limited = [this](rlim_t bytes, const char *steps) {
        rlimit before;
        EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
        const rlimit limit = {bytes, before.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        const std::string text = after(steps);
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
        return text;
    };
    EXPECT_EQ(limited(30, "nw"), "NOFILE waiting damaged .........");
    EXPECT_EQ(limited(56 + 24 + 5, "na"), "FULL waiting . .........");
    EXPECT_EQ(limited(56 + 24 + 5, "nw"), "FULL planner . .........");
    // A finished run leaves Skip scan locked, and an incomplete file is not offered.
    EXPECT_EQ(after("b"), "locked . .........");
}

// Two disks of one model in turn at one node: each keeps its own file.
TEST_F(ScanRun, TwinsDoNotTakeEachOthersResults)
{
    const auto disk = bench.adddisk(7);
    disk->description.emplace();
    disk->description->serial = "AA-00001111";
    bench.openscanpage();
    EXPECT_EQ(after("nw"), "SAVED planner .......");
    const QByteArray first = filecontent("disk0");
    std::uint8_t checksum[4];
    putlittle(checksum, serialchecksum("AA00001111"), 4);
    EXPECT_EQ(first.mid(12, 4), QByteArray(reinterpret_cast<char *>(checksum), 4));

    for (const char *serial : {"AA-00002222", ""}) {
        const std::string own = std::string("disk0-") + (*serial != 0 ? "00002222" : "no-serial");
        QFile::remove(own.c_str());
        disk->description->serial = serial;
        disk->faults->unreadable.add(2 * 50);
        bench.dialogs.consent = false;
        bench.openscanpage();
        EXPECT_EQ(after("p"), "STRANGER waiting prev .......");
        EXPECT_EQ(after("nw").substr(0, 26), "Scan completed. The scan r");
        EXPECT_EQ(page()->filename, own);
        EXPECT_EQ(filecontent("disk0"), first);
        EXPECT_EQ(filecontent(own.c_str()).mid(56 + 2 * 24 + 16, 1), QByteArray(1, 1));
        bench.openscanpage();
        EXPECT_EQ(page()->filename, own);
        EXPECT_EQ(after("p"), "segs[4],0 NEW planner ....... ..B.B..");
        EXPECT_TRUE(QFile::remove(own.c_str()));
        disk->faults->unreadable.clear();
        // An adapter with a number of its own: the user knows better.
        bench.dialogs.consent = true;
        bench.openscanpage();
        EXPECT_EQ(after("p"), "STRANGER planner .......");
    }
    // The disk itself, and an old file without a checksum, by whatever disk.
    disk->description->serial = "0aa00001111 ";
    bench.openscanpage();
    EXPECT_EQ(after("p"), "planner .......");
    EXPECT_TRUE(putmarks("......."));
    bench.openscanpage();
    EXPECT_EQ(after("p"), "planner .......");
}

TEST_F(ScanRun, TheRecordOnTheDiskStandsInForAMissingFile)
{
    const auto disk = bench.adddisk(20);
    bench.openscanpage();
    page()->segs[9].isbad = 1;
    std::vector<std::uint8_t> record = encodescanrecord(page()->segs, 20, 512);
    const auto enter = [&](std::size_t damaged) {
        record[damaged] ^= 1;
        disk->store->save(512, record.data(), 512);
        record[damaged] ^= 1;
        return after("bn").substr(0, 17);
    };
    // Wrong magic words or a wrong count. What follows the marks is ignored.
    for (const std::size_t damaged : {0, 3, 4, 7, 8, 11})
        EXPECT_EQ(enter(damaged), "waiting none ....") << damaged;
    EXPECT_EQ(enter(511), "waiting prev none");
    // A record that can't be read any more does not pass for a disk without damage.
    disk->faults->unreadable.add(1);
    EXPECT_EQ(after("p"), "CHANGED waiting none ....................");
    EXPECT_EQ(enter(511), "waiting none ....");
    disk->faults->unreadable.clear();
    // It is judged again at the click: something else may have been written there meanwhile.
    enter(511);
    disk->store->save(512, std::string(512, 'x').data(), 512);
    EXPECT_EQ(after("p"), "CHANGED waiting none ....................");
    enter(511);
    EXPECT_EQ(after("p"), "planner none .........B..........");
    EXPECT_EQ(page()->intsegs, (List{{0, 8, 0}, {9, 9, 1}, {10, 19, 0}}));
    // The file is created only when a boundary moves, and is then preferred.
    disk->faults->unreadable.add(9 * 50);
    EXPECT_EQ(after("bp"), "segs[11],0 NEW planner .........B.B........");
    after("bbn");
    EXPECT_EQ(page()->prevsource, 1);
}

// However the window is closed, the run ends, the file is whole and the program ends.
TEST_F(ScanRun, ClosingTheWindowEndsTheRunAndTheProgram)
{
    bench.adddisk(400);
    const std::function<void()> ways[] = {[this] { bench.wizard->close(); }, &QApplication::quit};
    for (const auto &way : ways) {
        bench.openscanpage();
        bench.click(next);
        EXPECT_TRUE(bench.wait([this] { return page()->curseg >= 5; }));
        QTimer watch;
        watch.callOnTimeout([&] {
            QTest::keyClick(bench.wizard.get(), Qt::Key_Escape); // ends nothing
            if (bench.wizard->isVisible() && page()->curseg >= 8)
                way();
        });
        watch.start(0);
        QTimer::singleShot(20000, bench.wizard.get(), [] { QApplication::exit(99); });
        EXPECT_EQ(QApplication::exec(), 0);
        const int done = page()->curseg;
        EXPECT_FALSE(page()->scantimer->isActive());
        EXPECT_LT(done, 400);
        EXPECT_EQ(after(""), "closed " + std::string(done, '.') + " " + std::string(400, '.'));
    }
}

// The window is closed behind a message box at the end of a run: the file stays as the run left
// it.
TEST_F(ScanRun, ClosingTheWindowBehindABoxEndsTheWork)
{
    const auto disk = bench.adddisk(9);
    // Two segments: the margin then grows only to the left, and one boundary has to move.
    disk->faults->unreadable.add(2 * 50, 3 * 50);
    const struct {
        const char *box, *steps, *outcome;
    } cases[] = {{"segs[", "nw", "segs[5],0 closed ..BB..... .BBB....."},
                 {"segs[", "p", "segs[5],0 closed ..BB..... ........."},
                 {"Find new", "p", "segs[5],0 NEW closed ..BB.B... ........."},
                 {"Scan completed", "nw", "segs[5],0 SAVED closed .BBB.B..."}};
    for (const auto &row : cases) {
        bench.openscanpage();
        bench.dialogs.custom = [&](QWidget *widget) {
            const auto *box = qobject_cast<QMessageBox *>(widget);
            if (box && box->text().startsWith(row.box))
                bench.wizard->reject();
            return false;
        };
        EXPECT_EQ(after(row.steps), row.outcome);
    }
}

TEST_F(ScanRun, PagesWithoutAPlanRefuseWithWords)
{
    const auto disk = bench.adddisk(2);
    bench.adddisk(1)->geometry.reset(); // a guess has larger cylinders than this disk has bytes
    bench.openscanpage();
    EXPECT_EQ(after("nwbb"), "SAVED locked ..");
    // Nothing of an earlier disk is left if the next one does not open or has no whole cylinder.
    disk->opens = false;
    for (int row = 0; row < 2; ++row) {
        bench.selectpage()->selectdisk(row);
        bench.click(next, next);
        page()->skipscan();
        page()->useprev();
        EXPECT_EQ(after("b"),
                  row ? " SMALL SMALL SMALL locked .. " : "NODISK NODISK NODISK NODISK locked .. ");
        EXPECT_EQ(page()->segnum, 0);
        EXPECT_EQ(page()->prevsource, 0);
        EXPECT_TRUE(page()->intsegs.empty());
        EXPECT_STREQ(page()->filename, row ? "disk1" : "disk0");
    }
    // The disk can't be opened when the run begins: the former result is back.
    disk->opens = true;
    bench.selectpage()->selectdisk(0);
    after("n");
    disk->opens = false;
    EXPECT_EQ(after("n"), "NODISK waiting prev ..");
}

// What a file or an answer says about this program or another disk is never taken for the medium's.
TEST_F(ScanRun, OnlyWhatWasReadFromThisDiskCounts)
{
    const auto disk = bench.adddisk(10);
    bench.openscanpage();
    const geom found = page()->diskgeom;
    // The file of a larger disk, of one with other sectors, and one that claims more than there is:
    // geometry, plan and marks stay, and the scan that is asked for is that of this disk.
    geom larger = found, huge = found;
    larger = withfactors({.totalbytes = found.totalbytes * 4}, 512, 25, 2);
    const geom longer = withfactors({.totalbytes = found.totalbytes}, 1024, 25, 1);
    huge.totalbytes = huge.bytespercyl << 40;
    huge.cylinders = 1ULL << 40;
    huge.totalsectors = huge.totalbytes / 512;
    for (const geom &stored : {larger, longer, huge}) {
        ASSERT_TRUE(replacescanfile("disk0", stored, makeplan(stored)));
        after("bn");
        page()->segs[7].isbad = 1;
        EXPECT_EQ(after("p").substr(0, 15), "MISFIT waiting ");
        EXPECT_EQ(page()->diskgeom, found);
        EXPECT_EQ(g, found);
        ASSERT_EQ(page()->segnum, 10);
        EXPECT_EQ(page()->segs[7].isbad, 1);
    }
    QFile::remove("disk0");
    after("bn");
    EXPECT_EQ(after("nw"), "SAVED planner ..........");
    after("bbn");
    // A bridge that locks up after so many reads and fails every one, its length unchanged: the
    // failures up to there are taken back, and a resumed run ends as if nothing had happened.
    int reads = 0;
    disk->wrap = [&reads, inner = disk->wrap](std::unique_ptr<platform::Device> device) {
        return std::make_unique<LockingDevice>(inner(std::move(device)), reads);
    };
    for (const int healthy : {0, 10, 11}) {
        QFile::remove("disk0");
        reads = healthy;
        const std::string expected =
            healthy < 3 ? "waiting damaged .........." : "waiting prev ... ..........";
        EXPECT_EQ(after("nw").substr(healthy < 3 ? 35 : 5), expected) << healthy;
        reads = 1 << 20;
    }
    // What failed just before that is taken back too, with its record.
    QFile::remove("disk0");
    disk->faults->unreadable.add(1 * 50);
    reads = 5;
    EXPECT_EQ(after("nw"), "GONE waiting prev . ..........");
    disk->faults->unreadable.clear();
    reads = 1 << 20;
    EXPECT_EQ(after("pw"), "SAVED planner ..........");
    after("bbn");
    // A mistaken Next: the former result comes back, also in front of an interrupted scan.
    EXPECT_TRUE(putmarks("....B....."));
    disk->opens = true;
    after("bn");
    disk->opens = false;
    EXPECT_EQ(after("n"), "NODISK waiting prev ....B..... ..........");
    disk->opens = true;
    disk->faults->vanishafter = 8;
    EXPECT_EQ(after("nw").substr(0, 4), "GONE");
    disk->faults->vanishafter.reset();
    EXPECT_TRUE(QFile::exists("disk0.previous"));
    EXPECT_EQ(after("bnpw"), "EARLIER SAVED planner ..........");
    EXPECT_FALSE(QFile::exists("disk0.previous"));
}

// Segment 2 fails, 5 is slow at its end, 7 a little slow; the neighbours are not.
TEST_F(ScanRun, ASlowSegmentIsShownAndMarkedOnlyIfTheUserSaysSo)
{
    const auto disk = bench.adddisk(12);
    const auto slow = [](std::uint64_t first, std::uint64_t last, int time) {
        return platform::FaultPlan::Slow{first, last, std::chrono::milliseconds(time)};
    };
    disk->faults->clock.emplace();
    disk->faults->faildelay = std::chrono::milliseconds(3000);
    disk->faults->unreadable.add(2 * 50 + 30);
    disk->faults->slow = {slow(299, 299, 500), slow(350, 399, 120)};
    const struct {
        bool marks;
        int limit;
        const char *outcome, *surface;
    } cases[] = {{false, 500, "..B......... .BBB........", ".mBm.s......"},
                 {false, 120, "..B......... .BBB........", ".mBm.s.s...."},
                 {true, 501, "..B......... .BBB........", ".mBm........"},
                 {true, 500, "..B..B...... .BBBBBB.....", ".mBmmBm....."},
                 {true, 120, "..B..B.B.... .BBBBBBBB...", ".mBmmBmBm..."}};
    for (const auto &row : cases) {
        QFile::remove("disk0");
        bench.openscanpage();
        page()->slowbox->setChecked(row.marks);
        page()->limitbox->setValue(row.limit);
        QTest::keyClick(page()->limitbox, Qt::Key_Return); // begins no run
        EXPECT_FALSE(page()->scantimer);
        EXPECT_EQ(after("nw"), "SAVED planner " + std::string(row.outcome));
        std::string times;
        EXPECT_EQ(surface(&times), row.surface);
        EXPECT_EQ(times, "0 0 3000 0 0 500 0 120 0 0 0 0 ");
        for (const SEG &seg : page()->intsegs)
            EXPECT_EQ(seg.isbad != 0, page()->segs[seg.start].isbad != 0);
        after("b");
        EXPECT_EQ(surface(), row.surface); // still there behind the planner
    }
    // Resumed: what was tested before has no times. Then a result of the file alone, and none.
    EXPECT_TRUE(putmarks("..B"));
    bench.openscanpage();
    EXPECT_EQ(surface(), "????????????");
    bench.click(prev);
    EXPECT_EQ(surface(), "..Bw????????");
    // The run's dialog covers neither the map nor the figures.
    const SurfaceView *view = page()->surfaceview;
    const QRect covered = page()->scanprogress->geometry();
    EXPECT_FALSE(covered.intersects({view->mapToGlobal(QPoint()), view->size()}));
    EXPECT_GE(view->height(), view->minimumSizeHint().height());
    EXPECT_TRUE(view->figures->text().startsWith("Done: 25 %\nElapsed: 0:00:"));
    EXPECT_EQ(after("w"), "SAVED planner ..B......... .BBB........");
    EXPECT_EQ(surface(), ".mBm.s......");
    EXPECT_TRUE(view->figures->text().startsWith("Done: 100 %\nElapsed: 0:00:"));
    EXPECT_TRUE(view->figures->text().endsWith(
        "\nBad segments: 1\nSlow segments: 1\nSlowest transfer: 500 ms"));
    EXPECT_EQ(view->map->cells().size(), 12U);
    EXPECT_EQ(view->map->cells()[5].slowest, 500);
    after("bb");
    disk->faults->slow.clear();
    EXPECT_EQ(after("np"), "segs[4],0 NEW planner ..B.B.......");
    EXPECT_EQ(surface(), "..B.B.......");
    after("b");
    page()->skipscan();
    EXPECT_EQ(surface(), "????????????");

    // A disk that locks up: a slow segment is not taken back for that, and behind a failure it does
    // not say that the disk was still there.
    int reads = 0;
    disk->wrap = [&reads, inner = disk->wrap](std::unique_ptr<platform::Device> device) {
        return std::make_unique<LockingDevice>(inner(std::move(device)), reads);
    };
    const struct {
        bool marks;
        std::uint64_t slowat;
        int healthy;
        const char *outcome;
    } locking[] = {{true, 1, 6, "GONE waiting prev .B .B.........."},
                   {true, 3, 2 * 3 + 4 + 1, "GONE waiting prev .. ............"},
                   {false, 3, 2 * 3 + 4 + 2, "GONE waiting prev ..B. ..B........."}};
    for (const auto &row : locking) {
        QFile::remove("disk0");
        reads = 1 << 20;
        bench.openscanpage();
        page()->slowbox->setChecked(row.marks);
        disk->faults->slow = {slow(row.slowat * 50 + 25, row.slowat * 50 + 25, 700)};
        reads = row.healthy;
        EXPECT_EQ(after("nw"), row.outcome);
    }
}
