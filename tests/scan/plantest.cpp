// Catches a disk that is cut otherwise than before, marks that grow or move wrongly, and scan files
// that are taken for whole, or written without reaching their medium.
#include "scan/consolidation.h"
#include "scan/scanfigures.h"
#include "scan/scanfile.h"
#include "scan/scanplan.h"
#include "scan/scanspeed.h"
#include "tests/scan/marks.h"
#include "tests/support/wizardbench.h"

#include <set>
#include <sstream>

#include <sys/syscall.h>
#include <unistd.h>

// Stands in front of the system's own.
static int syncs = 0;
static bool syncsfail = false;
extern "C" int fsync(int descriptor)
{
    ++syncs;
    errno = EIO;
    return syncsfail ? -1 : static_cast<int>(::syscall(SYS_fsync, descriptor));
}

namespace
{

using List = std::vector<SEG>;

geom geometryof(std::uint64_t cylinders)
{
    return withfactors({.totalbytes = cylinders * 4 * 512}, 512, 4, 1);
}

} // namespace

TEST(ScanPlan, CutsEveryDiskAlike)
{
    // Cylinders, segments, the last one's end, and the sum of all ends. With 1001 cylinders
    // rounding leaves the last one out.
    std::istringstream disks("0 0 0 0  1 1 0 0  499 499 498 124251  500 500 499 124750  "
                             "501 500 500 124751  1000 500 999 250000  1001 500 999 250000  "
                             "121601 500 121600 30460301");
    for (std::uint64_t cylinders, segments, last, expected;
         disks >> cylinders >> segments >> last >> expected;) {
        const geom geometry = geometryof(cylinders);
        const List plan = makeplan(geometry);
        ASSERT_EQ(plan.size(), segments);
        std::uint64_t next = 0, sum = 0;
        for (const SEG &seg : plan) {
            EXPECT_EQ(seg.start, next);
            next = seg.stop + 1;
            sum += seg.stop;
            // The arithmetic index is at most one off.
            const auto index = static_cast<double>(&seg - plan.data());
            EXPECT_NEAR(segindex(seg.stop, geometry, static_cast<int>(segments)), index, 1);
        }
        EXPECT_EQ(next, segments == 0 ? 0 : last + 1);
        EXPECT_EQ(sum, expected);
    }
    EXPECT_EQ(segindex(3, geometryof(0), 0), 0);
}

TEST(Consolidation, ProtectsAndMerges)
{
    std::istringstream rows("B B  ..B.. .BBB.  ..BB.. .BBB..  ..BBB.. .BBBBB.  "
                            "..BBBB.. .BBBBB..  B.B.. BBBB.  ....B ...BB");
    for (std::string before, after; rows >> before >> after;) {
        // Records outside the range stay as they are.
        List segs = marked("." + before + ".");
        addprotect(segs.data() + 1, static_cast<int>(before.size()));
        EXPECT_EQ(segs, marked("." + after + ".")) << before;
    }
    List segs = marked("B..BBB..B"), list = {{5, 6, 1}};
    segs[4].isbad = segs[3].isbad = 7;
    integratesegs(segs.data(), 9, list);
    EXPECT_EQ(list, (List{{0, 0, 1}, {1, 2, 0}, {3, 5, 1}, {6, 7, 0}, {8, 8, 1}}));
}

TEST(Consolidation, MovesBoundariesToHealthyGround)
{
    // marks over ten cylinders, those that fail, the list and the marks then, and the moves
    const std::tuple<std::string, std::set<std::uint64_t>, List, const char *, const char *>
        cases[] = {{"..B..", {5}, {{0, 3, 0}, {4, 7, 1}, {8, 9, 0}}, "..BB.", "3,0 "},
                   {"..B..", {0, 1, 4, 8, 9}, {{0, 3, 0}, {4, 5, 1}, {6, 9, 0}}, "..B..", ""},
                   // An erased stretch leaves its last cylinder in no record.
                   {"..B.B", {6}, {{0, 3, 0}, {4, 6, 1}, {8, 9, 1}}, "..BBB", "3,0 "},
                   // The index behind the last segment is clamped.
                   {"........B.", {8}, {{0, 7, 0}, {8, 8, 1}}, "........BB", "9,0 "},
                   {"B....", {1, 3}, {{0, 5, 1}, {6, 9, 0}}, "BBB..", "1,0 2,0 "}};
    for (const auto &[marks, failing, expected, marksafter, moved] : cases) {
        SCOPED_TRACE(marks);
        const auto segnum = static_cast<int>(marks.size());
        const std::uint64_t length = 10 / marks.size();
        List segs = marked(marks, length), list;
        integratesegs(segs.data(), segnum, list);
        std::string moves;
        BoundaryCheck check(list, segs.data(), segnum, geometryof(10));
        Reading reading = Reading::good;
        using Action = BoundaryCheck::Action;
        for (auto step = check.next(); step.action != Action::done; step = check.next(reading)) {
            reading = Reading::good;
            if (step.action == Action::moved)
                moves += std::to_string(step.rawindex) + "," + std::to_string(step.isbad) + " ";
            else if (step.first < step.last &&
                     failing.lower_bound(step.first / 4) != failing.upper_bound(step.last / 4))
                reading = Reading::bad;
        }
        EXPECT_EQ(list, expected);
        EXPECT_EQ(segs, marked(marksafter, length));
        EXPECT_EQ(moves, moved);
    }
}

TEST(ScanFileFormat, NamesAreAlwaysPlain)
{
    std::string names;
    for (const char *model : {"ven_a-prod_b", "", "..", "nul", "Com7.disk", "com",
                              "../C:\\a|b<c>d\"e?f*g\nh\x7F\xC3\xA9 "})
        names += scanfilename(model) + ' ';
    EXPECT_EQ(names, "ven_a-prod_b _ ._ _nul _Com7.disk com .._C__a_b_c_d_e_f_g_h____ ");
}

TEST(ScanFileFormat, TellsSoundFromDamaged)
{
    const geom geometry = geometryof(7);
    const List segs = marked("...B...");
    ASSERT_TRUE(replacescanfile("sound", geometry, segs));
    const QByteArray content = filecontent("sound");
    const std::vector<std::uint8_t> sound(content.begin(), content.end());
    // Padding is ignored, and so is what follows a complete plan.
    std::vector<std::uint8_t> image = sound;
    image[12] = image[15] = image[56 + 20] = image[56 + 23] = 0xFF;
    image.resize(300, 0xEE);
    const ScanFile file = parsescanfile(image);
    EXPECT_EQ(file.state, ScanFileState::complete);
    EXPECT_EQ(file.wholebytes, sound.size());
    EXPECT_EQ(file.geometry, geometry);
    EXPECT_EQ(file.segs, segs);
    // Offset and new value of one byte: in the header, then in records 0, 2, 3, 5 and 6.
    const std::pair<std::size_t, std::uint8_t> bytes[] = {
        {0, 0},   {4, 0},   {9, 0},   {16, 0},  {16, 8},  {24, 5},  {33, 7},
        {41, 0},  {23, 99}, {56, 1},  {64, 1},  {112, 1}, {128, 2}, {128, 4},
        {136, 2}, {136, 4}, {183, 9}, {208, 7}, {215, 9}};
    for (const auto &[offset, value] : bytes) {
        image = sound;
        image[offset] = value;
        EXPECT_EQ(parsescanfile(image).state, ScanFileState::damaged) << offset;
        // Cut behind that record, the rest of the plan does not continue it.
        if (offset >= 56)
            image.resize(offset - (offset - 56) % 24 + 24);
        EXPECT_EQ(parsescanfile(image).state, ScanFileState::damaged) << offset;
    }
    // Consistent, but with a sector length that no device has, or too many cylinders for a double.
    for (const geom &header : {geom{1, 4, 3, 7, 4, 12, 14336, 4778},
                               geom{1, 1, 512, 1ULL << 54, 1, 512, 1ULL << 63, 1ULL << 54}}) {
        EXPECT_TRUE(replacescanfile("sound", header, {}));
        EXPECT_EQ(readscanfile("sound").state, ScanFileState::damaged);
    }
}

// Whoever unplugs the computer loses the records of a second at most, and a medium that takes none
// costs no more than those.
TEST(ScanFileFormat, RecordsReachTheirMedium)
{
    ScanFileWriter writer;
    syncs = 0;
    ASSERT_TRUE(writer.open("synced", "wb", 0));
    EXPECT_TRUE(writer.writeheader(geometryof(9), 0));
    EXPECT_EQ(syncs, 1);
    for (const auto &[last, pause, count] :
         {std::tuple(false, 0, 1), {false, 1100, 2}, {true, 0, 3}}) {
        QTest::qSleep(pause);
        EXPECT_TRUE(writer.append({0, 0, 0}, last));
        EXPECT_EQ(syncs, count);
    }
    EXPECT_TRUE(writer.append({3, 3, 0}, false));
    syncsfail = true;
    EXPECT_FALSE(writer.append({4, 4, 0}, true));
    syncsfail = false;
    EXPECT_EQ(filecontent("synced").size(), 56 + 3 * 24);
}

TEST(ScanSpeed, TellsWhatTheRunItselfHasSeen)
{
    // Megabytes in all and done before; segments with the megabytes and seconds of each, "!" bad.
    const std::tuple<double, double, const char *, const char *> cases[] = {
        // A rate at once, an estimate after some seconds.
        {1000, 0, "2x10/2", "2 % done, 0 bad segments, 5.0 MB/s"},
        {1000, 0, "3x10/2", "3 % done, 0 bad segments, 5.0 MB/s, about 3 min left"},
        // Neither without a healthy segment, however long it took.
        {1000, 0, "1x10/60!", "1 % done, 1 bad segment"},
        // Damage does not lower the rate: 600 of the 800 MB left take 120 s, 20 segments 30 s each.
        {1000, 0, "15x10/2 5x10/30!", "20 % done, 5 bad segments, 5.0 MB/s, about 12 min left"},
        // An earlier run counts for the progress, not for the rate.
        {1000, 900, "6x10/1", "96 % done, 0 bad segments, 10.0 MB/s, less than 1 min left"},
        // A disk that got slower has its present rate.
        {4e6, 0, "100x4000/20 200x4000/40",
         "30 % done, 0 bad segments, 100.0 MB/s, about 7 h 47 min left"},
        {2e7, 0, "1x40000/4000", "0 % done, 0 bad segments, 10.0 MB/s, about 23 d 2 h left"},
        // 100 % means all of it.
        {3e6, 2999999, "1x0.5/60!", "99 % done, 1 bad segment"},
        {1000, 990, "1x10/1!", "100 % done, 1 bad segment"}};
    const auto bytes = [](double megabytes) { return static_cast<std::uint64_t>(megabytes * 1e6); };
    for (const auto &[total, done, stretches, expected] : cases) {
        ScanSpeed speed(bytes(total), bytes(done));
        std::istringstream words(stretches);
        for (std::string word; words >> word;) {
            int segments = 0;
            double megabytes = 0, seconds = 0;
            std::sscanf(word.c_str(), "%dx%lf/%lf", &segments, &megabytes, &seconds);
            for (int i = 0; i < segments; ++i)
                speed.add(bytes(megabytes), seconds, word.back() == '!');
        }
        EXPECT_EQ(speed.text(), expected);
    }
}

TEST(ScanFigures, AreAsManyLinesAsIsKnown)
{
    using State = SurfaceCell::State;
    const geom disk = withfactors({.totalbytes = 4'000'000}, 500, 1, 2000);
    ScanSpeed speed(4'000'000'000, 0);
    for (const double seconds : {10.0, 90.0, 40.0})
        speed.add(1'000'000'000, seconds, seconds > 50);
    const std::vector<SurfaceCell> cells = {{0, 0, State::good, 20, 100},
                                            {1, 1, State::bad, 3000, -1},
                                            {2, 2, State::slow, 512.4, 25},
                                            {3, 3, State::untested}};
    const SurfaceCell untimed{0, 0, State::bad};
    ScanFigures figures{SurfaceSum(cells, disk), speed, 3661, true, 25, 12};
    EXPECT_EQ(figures.text(),
              "Done: 75 %\nElapsed: 1:01:01\nLeft: less than 1 min\nSpeed: 25.0 MB/s, mean 40.0\n"
              "Bad segments: 1\nSlow segments: 1\nSlowest transfer: 3000 ms\n"
              "Last good read: 12 s ago");
    figures.ison = false;
    EXPECT_NE(figures.text().find("1:01\nSpeed: mean 40.0 MB/s\nBad"), std::string::npos);
    EXPECT_EQ((ScanFigures{.sum = SurfaceSum({&untimed, 1}, disk)}.text()), "Bad segments: 1");
    EXPECT_EQ((ScanFigures{.sum = SurfaceSum({}, disk)}.text()), "");
}
