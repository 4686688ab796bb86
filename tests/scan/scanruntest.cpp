#include "tests/support/wizardbench.h"

#include "platform/plainfile.h"
#include "scan/scanfile.h"

#include <QApplication>
#include <QCheckBox>
#include <QFile>
#include <QMessageBox>
#include <QProgressDialog>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/resource.h>

namespace
{

using Kind = platform::Operation::Kind;
using Words = std::vector<std::string>;

constexpr auto skipbutton = QWizard::CustomButton1;
constexpr auto prevbutton = QWizard::CustomButton2;
constexpr char changed[] = "Rough disk scan finds different bad sectors than the previous result. "
                           "You need to re-scan the disk.";
constexpr char goneandback[] = "The disk does not answer any more. Click \"Use prev. >\" to go on "
                               "from here once it is back.";

class ScanRun : public ::testing::Test
{
protected:
    void SetUp() override { QFile::remove("disk0"); }
    void TearDown() override { QFile::remove("disk0"); }

    /// The messages since the last call, and nothing else may have come up.
    Words said()
    {
        Words texts;
        for (const QString &text : bench.dialogs.messages())
            texts.push_back(text.toStdString());
        EXPECT_EQ(texts.size(), bench.dialogs.takeseen().size());
        return texts;
    }
    /// Starts a scan and aborts it once segment `count` is reached.
    void scanupto(int count)
    {
        ASSERT_TRUE(bench.click(QWizard::NextButton));
        ASSERT_TRUE(bench.wait([this, count] { return page()->curseg >= count; }));
        bench.abortscan();
    }
    DiskScanPage *page() { return bench.scanpage(); }
    bool onplanner() { return bench.current() == bench.wizard->partitionpageid; }
    bool waiting()
    {
        return bench.current() == bench.wizard->scanpageid && page()->diskhandle == invaliddisk &&
               !page()->datafile && bench.offered(QWizard::NextButton) &&
               bench.offered(QWizard::BackButton) && bench.offered(skipbutton) &&
               (!page()->scanprogress || !page()->scanprogress->isVisible());
    }
    std::string marks()
    {
        std::string text;
        for (int i = 0; i < page()->segnum; ++i)
            text += page()->segs[i].isbad ? 'B' : '.';
        return text;
    }
    /// A sound scan file of these marks for the disk on the page.
    QByteArray image(const std::string &wanted)
    {
        const auto head = encodegeom(page()->diskgeom);
        QByteArray bytes(reinterpret_cast<const char *>(head.data()), head.size());
        for (std::size_t i = 0; i < wanted.size(); ++i) {
            const auto record = encodeseg({i, i, wanted[i] == 'B'});
            bytes.append(reinterpret_cast<const char *>(record.data()), record.size());
        }
        return bytes;
    }

    WizardBench bench;
};

} // namespace

TEST_F(ScanRun, ReadsEverySectorOnceAndEndsADamagedSegmentAtItsFirstFailure)
{
    const auto disk = bench.adddisk(20);
    disk->faults->unreadable.add(5 * 50 + 27);
    bench.openscanpage();
    EXPECT_FALSE(bench.offered(prevbutton));
    disk->recording->clear();
    ASSERT_TRUE(bench.runscan());
    EXPECT_TRUE(onplanner());
    EXPECT_EQ(said(), Words({"Scan completed. The scan result is saved in file disk0. You "
                             "may backup the file to use in the future. The scan result "
                             "will also be saved in the scanned disk at the last step "
                             "automatically and used when the file is missing."}));

    std::vector<std::uint64_t> expected;
    for (int segment = 0; segment < 20; ++segment)
        expected.insert(expected.end(), {20, 20, 10});
    expected.erase(expected.begin() + 5 * 3 + 2);
    // The boundary behind the damage and its margin: one cylinder on either side, by sectors.
    expected.insert(expected.end(), 100, 1);
    EXPECT_EQ(disk->recording->transfers(Kind::read, 512), expected);
    std::uint64_t next = 0;
    int failed = 0;
    for (const platform::Operation &operation : disk->recording->operations) {
        if (operation.kind != Kind::read || operation.bytes == 512)
            continue;
        EXPECT_EQ(operation.offset, next);
        failed += !operation.status.ok();
        next = operation.status.ok() ? operation.offset + operation.bytes : 6 * 50 * 512;
    }
    EXPECT_EQ(failed, 1);
    EXPECT_EQ(next, 20U * 50 * 512);
    EXPECT_EQ(disk->recording->count(Kind::write), 0U);
    EXPECT_EQ(disk->recording->count(Kind::open), disk->recording->count(Kind::close));

    EXPECT_EQ(seglist(page()->intsegs), "good 0-3, bad 4-6, good 7-19");
    EXPECT_EQ(marks(), "....BBB.............");
    EXPECT_EQ(filecontent("disk0"), image(".....B.............."));

    // Back: nothing is done anew; a reused result has no margin, so the boundary is found bad.
    ASSERT_TRUE(bench.click(QWizard::BackButton));
    EXPECT_FALSE(bench.offered(skipbutton));
    EXPECT_FALSE(bench.offered(QWizard::CancelButton));
    ASSERT_TRUE(bench.click(prevbutton));
    EXPECT_TRUE(onplanner());
    EXPECT_EQ(said(), Words({"segs[7],0", "Find new bad sectors."}));
    EXPECT_EQ(seglist(page()->intsegs), "good 0-4, bad 5-6, good 7-19");
    EXPECT_EQ(filecontent("disk0"), image(".....B.B............"));
}

TEST_F(ScanRun, CancelsResumesAndStartsAnew)
{
    const auto disk = bench.adddisk(30);
    disk->faults->unreadable.add(1 * 50);
    bench.openscanpage();
    scanupto(3);
    EXPECT_TRUE(waiting());
    EXPECT_TRUE(bench.offered(prevbutton));
    const int done = page()->curseg;
    EXPECT_EQ(filecontent("disk0"), image("."
                                          "B" +
                                          std::string(done - 2, '.')));
    page()->scancanceled();
    EXPECT_TRUE(waiting());

    // Resumed at the first missing segment; the first ones aren't read again.
    disk->recording->clear();
    ASSERT_TRUE(bench.click(prevbutton));
    EXPECT_EQ(page()->curseg, done);
    ASSERT_TRUE(bench.waitrun());
    EXPECT_TRUE(onplanner());
    EXPECT_EQ(filecontent("disk0"), image(".B" + std::string(28, '.')));
    for (const platform::Operation &operation : disk->recording->operations) {
        if (operation.kind == Kind::read) {
            EXPECT_TRUE(operation.bytes == 512 || operation.offset >= done * 50U * 512);
        }
    }
    said();

    // Next begins a fresh run, which empties the file but keeps the marks that memory holds.
    disk->faults->unreadable.clear();
    ASSERT_TRUE(bench.click(QWizard::BackButton));
    page()->writetestbox->setChecked(true);
    disk->recording->clear();
    ASSERT_TRUE(bench.runscan());
    EXPECT_TRUE(onplanner());
    EXPECT_EQ(disk->recording->transfers(Kind::write, 512).size(), 90U);
    EXPECT_EQ(filecontent("disk0"), image("BBB" + std::string(27, '.')));
    // Skipping drops them.
    ASSERT_TRUE(bench.click(QWizard::BackButton));
    page()->skipscan();
    EXPECT_TRUE(onplanner());
    EXPECT_EQ(seglist(page()->intsegs), "good 0-29");
    EXPECT_EQ(marks(), std::string(30, '.'));

    // Entered anew from the first page, all is as at the first time.
    ASSERT_TRUE(bench.click(QWizard::BackButton) && bench.click(QWizard::BackButton));
    ASSERT_TRUE(bench.click(QWizard::NextButton));
    EXPECT_TRUE(waiting());
    EXPECT_EQ(page()->testfunc, write_test);
    said();
}

TEST_F(ScanRun, EveryLengthOfAFileResumesReusesOrIsRefusedWithWords)
{
    const auto disk = bench.adddisk(7);
    disk->faults->unreadable.add(6 * 50 + 49);
    bench.openscanpage();
    const QByteArray complete = image("......B");
    const geom found = page()->diskgeom;
    for (qsizetype length = 0; length <= complete.size() + 30; ++length) {
        SCOPED_TRACE(length);
        const QByteArray content = (complete + QByteArray(30, 'x')).first(length);
        ASSERT_TRUE(putfile("disk0", content));
        ASSERT_TRUE(bench.click(QWizard::BackButton) && bench.click(QWizard::NextButton));
        ASSERT_TRUE(bench.offered(prevbutton));
        page()->segs[2].isbad = 1;
        ASSERT_TRUE(bench.click(prevbutton));
        if (length < 56) {
            EXPECT_EQ(said(), Words({"The file disk0 with the previous scan result is "
                                     "damaged. Please scan the disk anew."}));
            EXPECT_TRUE(waiting());
            EXPECT_FALSE(bench.offered(prevbutton));
            EXPECT_EQ(filecontent("disk0"), content);
            EXPECT_TRUE(page()->diskgeom == found && g == found && marks() == "..B....");
            continue;
        }
        if (length < complete.size()) {
            EXPECT_EQ(page()->curseg, (length - 56) / 24);
            ASSERT_TRUE(bench.waitrun());
            EXPECT_EQ(filecontent("disk0"), complete);
        } else {
            EXPECT_EQ(filecontent("disk0"), content);
        }
        ASSERT_TRUE(onplanner());
        EXPECT_EQ(said().size(), length < complete.size() ? 1U : 0U);
        ASSERT_TRUE(bench.click(QWizard::BackButton));
    }
    // A refused resume leaves the file alone, also one that ends in part of a record.
    const QByteArray ragged = complete.first(100);
    ASSERT_TRUE(putfile("disk0", ragged));
    ASSERT_TRUE(bench.click(QWizard::BackButton) && bench.click(QWizard::NextButton));
    disk->opens = false;
    ASSERT_TRUE(bench.click(prevbutton));
    EXPECT_EQ(said(), Words({"Can not open the disk."}));
    EXPECT_TRUE(waiting());
    EXPECT_EQ(filecontent("disk0"), ragged);
    ASSERT_TRUE(QFile::remove("disk0") && bench.click(prevbutton));
    EXPECT_EQ(said(), Words({"Can not open bin data file to write."}));
    EXPECT_TRUE(waiting() && bench.offered(prevbutton) && !QFile::exists("disk0"));
}

TEST_F(ScanRun, AStoredGeometryReplacesTheDisksOwn)
{
    bench.adddisk(40);
    bench.openscanpage();
    const geom stored = withfactors(page()->diskgeom, 512, 50, 4);
    const auto head = encodegeom(stored);
    ASSERT_TRUE(
        putfile("disk0", QByteArray(reinterpret_cast<const char *>(head.data()), head.size())));
    ASSERT_TRUE(bench.click(QWizard::BackButton) && bench.click(QWizard::NextButton));
    EXPECT_EQ(page()->segnum, 40);
    ASSERT_TRUE(bench.click(prevbutton) && bench.waitrun());
    EXPECT_TRUE(onplanner());
    EXPECT_EQ(page()->segnum, 10);
    EXPECT_TRUE(page()->diskgeom == stored && g == stored);
    EXPECT_EQ(QFile("disk0").size(), 56 + 10 * 24);
    said();
}

TEST_F(ScanRun, AReusedResultIsProbed)
{
    const auto disk = bench.adddisk(20);
    bench.openscanpage();
    const QByteArray content = image("...B................");
    ASSERT_TRUE(putfile("disk0", content));
    ASSERT_TRUE(bench.click(QWizard::BackButton) && bench.click(QWizard::NextButton));
    // The known bad stretch may fail or not; one that was good may not.
    disk->faults->unreadable.add(3 * 50, 3 * 50);
    disk->faults->unreadable.add(0);
    ASSERT_TRUE(bench.click(prevbutton));
    EXPECT_EQ(said(), Words({"segs[5],0", "Find new bad sectors.", changed}));
    EXPECT_TRUE(waiting());
    EXPECT_FALSE(bench.offered(prevbutton));

    // Gone during the boundary check, then during the probe: nothing turns bad, the file stays.
    disk->faults->unreadable.clear();
    for (const std::uint64_t operations : {1, 130, 205, 211, 213}) {
        SCOPED_TRACE(operations);
        disk->faults->vanishafter.reset();
        ASSERT_TRUE(putfile("disk0", content));
        ASSERT_TRUE(bench.click(QWizard::BackButton) && bench.click(QWizard::NextButton));
        disk->faults->vanishafter = operations;
        ASSERT_TRUE(bench.click(prevbutton));
        const Words words = said();
        if (onplanner()) {
            // It had done all its work on the disk by then.
            EXPECT_GE(operations, 204U);
            EXPECT_TRUE(bench.click(QWizard::BackButton));
        } else {
            EXPECT_EQ(words, Words({goneandback}));
            EXPECT_TRUE(waiting() && bench.offered(prevbutton));
        }
        EXPECT_EQ(marks(), "...B................");
        EXPECT_EQ(filecontent("disk0"), content);
    }
}

TEST_F(ScanRun, ADiskThatWentAwayIsNotFullOfBadSectors)
{
    const auto disk = bench.adddisk(20);
    disk->faults->unreadable.add(2 * 50 + 1);
    bench.openscanpage();
    disk->faults->vanishafter = 40;
    ASSERT_TRUE(bench.runscan());
    EXPECT_EQ(said(), Words({goneandback}));
    EXPECT_TRUE(waiting() && bench.offered(prevbutton));
    const int done = page()->curseg;
    EXPECT_GT(done, 3);
    EXPECT_LT(done, 10);
    EXPECT_EQ(filecontent("disk0"), image("..B" + std::string(done - 3, '.')));
    EXPECT_EQ(marks(), "..B.................");
    disk->faults->vanishafter.reset();
    ASSERT_TRUE(bench.click(prevbutton) && bench.waitrun());
    EXPECT_TRUE(onplanner());
    EXPECT_EQ(filecontent("disk0"), image("..B................."));
    said();

    // Gone at the boundary check that ends a run: the complete file stays good for reuse.
    ASSERT_TRUE(bench.click(QWizard::BackButton) && bench.click(QWizard::BackButton));
    ASSERT_TRUE(bench.click(QWizard::NextButton));
    disk->faults->vanishafter = 20 * 3 * 2 + 10;
    ASSERT_TRUE(bench.runscan());
    EXPECT_EQ(said(), Words({goneandback}));
    EXPECT_TRUE(waiting() && bench.offered(prevbutton));
    EXPECT_EQ(filecontent("disk0"), image("..B................."));
    EXPECT_EQ(marks(), ".BBB................");
}

TEST_F(ScanRun, AFullFolderCostsTheFileAndNotTheRun)
{
    bench.adddisk(20);
    bench.openscanpage();
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto limited = [&before](rlim_t bytes, const std::function<void()> &work) {
        rlimit limit = before;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
        work();
        setrlimit(RLIMIT_FSIZE, &before);
    };
    limited(30, [this] { bench.runscan(); });
    EXPECT_EQ(said(), Words({"Can not open bin data file to write."}));
    EXPECT_TRUE(waiting() && !bench.offered(prevbutton));

    const std::string full =
        "Can not write the scan result to file disk0. The scan goes on, but its "
        "result will not be saved.";
    const rlim_t threeandabit = 56 + 3 * 24 + 5;
    limited(threeandabit, [this] { scanupto(6); });
    EXPECT_EQ(said(), Words({full}));
    EXPECT_TRUE(waiting() && !bench.offered(prevbutton));
    EXPECT_EQ(filecontent("disk0"), image("..."));

    limited(threeandabit, [this] { bench.runscan(); });
    EXPECT_EQ(said(), Words({full}));
    EXPECT_TRUE(onplanner());
    EXPECT_EQ(seglist(page()->intsegs), "good 0-19");
    EXPECT_EQ(page()->prevsource, 0);
    EXPECT_EQ(filecontent("disk0"), image("..."));
    ASSERT_TRUE(bench.click(QWizard::BackButton));
    EXPECT_FALSE(bench.offered(prevbutton));
}

TEST_F(ScanRun, ALinkInTheFilesPlaceIsNotFollowed)
{
    bench.adddisk(5);
    ASSERT_TRUE(putfile("precious", "my own"));
    ASSERT_TRUE(QFile::link("precious", "disk0"));
    bench.openscanpage();
    EXPECT_FALSE(bench.offered(prevbutton));
    bench.click(QWizard::NextButton);
    EXPECT_FALSE(page()->writedatafile());
    EXPECT_EQ(said(), Words({"Can not open bin data file to write.",
                             "Can not open bin data file to write."}));
    EXPECT_TRUE(waiting());
    EXPECT_EQ(filecontent("precious"), "my own");
}

TEST_F(ScanRun, TheRecordOnTheDiskStandsInForAMissingFile)
{
    const auto disk = bench.adddisk(20);
    bench.openscanpage();
    std::vector<std::uint8_t> record;
    {
        std::vector<SEG> segs(page()->segs, page()->segs + 20);
        segs[9].isbad = 1;
        record = encodescanrecord(segs.data(), 20, 512);
    }
    const auto enter = [&] {
        return bench.click(QWizard::BackButton) && bench.click(QWizard::NextButton);
    };
    const auto damaged = [&](std::size_t offset) {
        std::vector<std::uint8_t> bytes = record;
        bytes[offset] ^= 1;
        disk->store->save(512, bytes.data(), bytes.size());
        return enter() && page()->prevsource == 0 && !bench.offered(prevbutton);
    };
    for (const std::size_t offset : {0, 3, 4, 7, 8, 11})
        EXPECT_TRUE(damaged(offset)) << offset;

    disk->store->save(512, record.data(), record.size());
    disk->faults->unreadable.add(1);
    ASSERT_TRUE(enter());
    EXPECT_EQ(page()->prevsource, 0);
    disk->faults->unreadable.clear();
    ASSERT_TRUE(enter());
    EXPECT_EQ(page()->prevsource, 2);

    // A record that is gone by the time of the click is no disk without damage.
    disk->faults->unreadable.add(1);
    ASSERT_TRUE(bench.click(prevbutton));
    EXPECT_EQ(said(), Words({changed}));
    EXPECT_TRUE(waiting() && !bench.offered(prevbutton));
    disk->faults->unreadable.clear();
    ASSERT_TRUE(enter());
    ASSERT_TRUE(bench.click(prevbutton));
    EXPECT_TRUE(onplanner());
    EXPECT_EQ(seglist(page()->intsegs), "good 0-8, bad 9-9, good 10-19");
    EXPECT_FALSE(QFile::exists("disk0"));

    // The file comes into being only when a boundary moves, and then it goes first.
    disk->faults->unreadable.add(9 * 50);
    ASSERT_TRUE(bench.click(QWizard::BackButton) && bench.click(prevbutton));
    EXPECT_EQ(said(), Words({"segs[11],0", "Find new bad sectors."}));
    EXPECT_EQ(filecontent("disk0"), image(".........B.B........"));
    ASSERT_TRUE(bench.click(QWizard::BackButton) && enter());
    EXPECT_EQ(page()->prevsource, 1);
}

// However the window goes, the program leaves with the file whole and nothing running.
TEST_F(ScanRun, ClosingTheWindowEndsTheRunAndTheProgram)
{
    bench.adddisk(400);
    const std::function<void()> ways[] = {
        [this] { bench.wizard->close(); },
        [this] { QTest::keyClick(bench.wizard.get(), Qt::Key_Escape); },
        [this] { QApplication::quit(); },
    };
    for (const auto &way : ways) {
        SCOPED_TRACE(&way - ways);
        QFile::remove("disk0");
        bench.openscanpage();
        QTimer watch;
        QObject::connect(&watch, &QTimer::timeout, &watch, [&] {
            if (page()->curseg >= 5 && bench.wizard->isVisible())
                way();
        });
        watch.start(0);
        QTimer::singleShot(20000, &watch, [] { QApplication::exit(99); });
        ASSERT_TRUE(bench.click(QWizard::NextButton));
        EXPECT_EQ(QApplication::exec(), 0);
        EXPECT_FALSE(bench.wizard->isVisible());
        EXPECT_FALSE(page()->scanprogress->isVisible());
        EXPECT_FALSE(page()->scantimer->isActive());
        EXPECT_TRUE(page()->diskhandle == invaliddisk && !page()->datafile);
        const int done = page()->curseg;
        EXPECT_TRUE(done >= 5 && done < 400);
        EXPECT_EQ(filecontent("disk0").size(), 56 + 24 * done);
        EXPECT_EQ(said(), Words());
        bench.wizard.reset();
    }
}

// The window goes while a box stands over the end of a run: the file stays as the run left it.
TEST_F(ScanRun, ClosingTheWindowBehindABoxEndsTheWork)
{
    struct Closer : QObject {
        bool eventFilter(QObject *object, QEvent *event) override
        {
            const auto *shown = qobject_cast<QMessageBox *>(object);
            if (event->type() == QEvent::Show && shown && shown->text().startsWith(box))
                wizard->reject();
            return false;
        }
        const char *box = nullptr;
        QWizard *wizard = nullptr;
    } closer;
    qApp->installEventFilter(&closer);
    const auto disk = bench.adddisk(20);
    // Two segments, so that the margin grows to the left alone and one boundary has to move.
    disk->faults->unreadable.add(5 * 50, 6 * 50);
    const struct {
        const char *box;
        bool reuse;
        Words words;
    } cases[] = {{"segs[", false, {"segs[8],0"}},
                 {"segs[", true, {"segs[8],0"}},
                 {"Find new", true, {"segs[8],0", "Find new bad sectors."}},
                 {"Scan completed", false, {"segs[8],0", ""}}};
    for (const auto &row : cases) {
        SCOPED_TRACE(row.box);
        bench.openscanpage();
        closer.box = row.box;
        closer.wizard = bench.wizard.get();
        if (row.reuse) {
            ASSERT_TRUE(bench.click(prevbutton));
        } else {
            ASSERT_TRUE(bench.runscan());
        }
        EXPECT_NE(bench.current(), bench.wizard->partitionpageid);
        Words words = said();
        ASSERT_EQ(words.size(), row.words.size());
        EXPECT_TRUE(words[0] == row.words[0] && words.back().starts_with(row.box));
        EXPECT_FALSE(bench.wizard->isVisible());
        EXPECT_EQ(readscanfile("disk0").state, ScanFileState::complete);
    }
}

TEST_F(ScanRun, PagesWithoutAPlanRefuseWithWords)
{
    const auto disk = bench.adddisk(20);
    const auto small = bench.adddisk(1);
    small->geometry.reset(); // a guess has larger cylinders than this disk has bytes
    bench.dialogs.custom = [](QWidget *dialog) {
        dialog->close();
        return true;
    };
    bench.openscanpage(0);
    ASSERT_TRUE(bench.runscan() && onplanner());
    said();
    ASSERT_TRUE(bench.click(QWizard::BackButton) && bench.click(QWizard::BackButton));
    // Nothing of an earlier disk is left where the next one does not open.
    disk->opens = false;
    const auto refused = [this](const char *text) {
        bench.click(QWizard::NextButton);
        page()->skipscan();
        page()->useprev();
        EXPECT_EQ(said(), Words({text, text, text}));
        EXPECT_TRUE(waiting());
        EXPECT_FALSE(page()->segs);
        EXPECT_TRUE(page()->segnum == 0 && page()->intsegs.empty() && page()->prevsource == 0);
        EXPECT_FALSE(bench.offered(prevbutton));
        EXPECT_EQ(page()->getsegindex(5), 0);
        EXPECT_EQ(page()->getsegindexfromcyl(0), -1);
    };
    ASSERT_TRUE(bench.click(QWizard::NextButton));
    EXPECT_EQ(said(), Words({"Can not open the disk."}));
    refused("Can not open the disk.");
    ASSERT_TRUE(bench.click(QWizard::BackButton));
    bench.selectpage()->selectdisk(1);
    ASSERT_TRUE(bench.click(QWizard::NextButton));
    EXPECT_STREQ(page()->filename, "disk1");
    refused("The disk has not one whole cylinder. It can not be partitioned.");

    // A disk that opens no more when the run begins: the file is closed and holds its header.
    disk->opens = true;
    ASSERT_TRUE(bench.click(QWizard::BackButton));
    bench.selectpage()->selectdisk(0);
    ASSERT_TRUE(bench.click(QWizard::NextButton));
    disk->opens = false;
    ASSERT_TRUE(bench.click(QWizard::NextButton));
    EXPECT_EQ(said(), Words({"Can not open the disk."}));
    EXPECT_TRUE(waiting());
    EXPECT_EQ(filecontent("disk0"), image(""));
}
