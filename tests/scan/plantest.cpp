#include "scan/consolidation.h"
#include "scan/scanfile.h"
#include "scan/scanplan.h"
#include "tests/support/wizardbench.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <set>

namespace
{

geom geometryof(std::uint64_t cylinders, std::uint32_t heads = 1, std::uint32_t sectors = 4)
{
    geom geometry;
    geometry.totalbytes = cylinders * heads * sectors * 512;
    return withfactors(geometry, 512, sectors, heads);
}

std::vector<SEG> marked(std::uint64_t cylinders, const std::string &marks)
{
    // Longer segments than a real plan's, so that a few marks are enough to see a boundary move.
    std::vector<SEG> segs(marks.size());
    const double length = static_cast<double>(cylinders) / static_cast<double>(marks.size());
    for (std::size_t i = 0; i < marks.size(); ++i) {
        segs[i].start = static_cast<std::uint64_t>(static_cast<double>(i) * length);
        segs[i].stop = static_cast<std::uint64_t>(static_cast<double>(i + 1) * length - 1.0);
        segs[i].isbad = marks[i] == 'B';
    }
    return segs;
}

std::string marksof(const std::vector<SEG> &segs)
{
    std::string marks;
    for (const SEG &seg : segs)
        marks += seg.isbad ? 'B' : '.';
    return marks;
}

} // namespace

TEST(ScanPlan, CutsEveryDiskAlike)
{
    const struct {
        std::uint64_t cylinders;
        std::size_t segments;
        std::set<std::uint64_t> lengths;
        std::uint64_t last, stopsum;
    } disks[] = {{1, 1, {1}, 0, 0},
                 {499, 499, {1}, 498, 124251},
                 {500, 500, {1}, 499, 124750},
                 {501, 500, {1, 2}, 500, 124751},
                 {1000, 500, {2}, 999, 250000},
                 // The doubles leave the last cylinder out.
                 {1001, 500, {2}, 999, 250000},
                 {121601, 500, {243, 244}, 121600, 30460301}};
    for (const auto &disk : disks) {
        SCOPED_TRACE(disk.cylinders);
        const geom geometry = geometryof(disk.cylinders);
        const std::vector<SEG> plan = makeplan(geometry);
        ASSERT_EQ(plan.size(), disk.segments);
        std::uint64_t next = 0, stopsum = 0;
        std::set<std::uint64_t> lengths;
        for (const SEG &seg : plan) {
            EXPECT_EQ(seg.start, next);
            next = seg.stop + 1;
            lengths.insert(next - seg.start);
            stopsum += seg.stop;
            // The arithmetic index is at most one off.
            const int found = segindex(seg.stop, geometry, plansegments(geometry));
            EXPECT_NEAR(found, static_cast<double>(&seg - plan.data()), 1);
        }
        EXPECT_EQ(lengths, disk.lengths);
        EXPECT_EQ(plan.back().stop, disk.last);
        EXPECT_EQ(stopsum, disk.stopsum);
        EXPECT_EQ(segindex(disk.cylinders + 5, geometry, plansegments(geometry)),
                  static_cast<int>(disk.segments) - 1);
    }
    EXPECT_TRUE(makeplan(geometryof(0)).empty());
    EXPECT_EQ(segindex(3, geometryof(0), 0), 0);
}

TEST(Consolidation, ProtectsAndMerges)
{
    const char *const protection[][2] = {{"..B..", ".BBB."},
                                         {"..BB..", ".BBB.."},
                                         {"..BBB..", ".BBBBB."},
                                         {"..BBBB..", ".BBBBB.."},
                                         {"B.B..", "BBBB."},
                                         {"....B", "...BB"},
                                         {"B", "B"},
                                         {".....", "....."}};
    for (const auto &row : protection) {
        std::vector<SEG> segs = marked(strlen(row[0]), row[0]);
        addprotect(segs.data(), static_cast<int>(segs.size()));
        EXPECT_EQ(marksof(segs), row[1]) << row[0];
    }
    std::vector<SEG> segs = marked(9, "B...B...B");
    addprotect(segs.data() + 3, 3);
    EXPECT_EQ(marksof(segs), "B..BBB..B");

    segs[4].isbad = 7;
    std::vector<SEG> list = {{5, 6, 1}};
    integratesegs(segs.data(), 9, list);
    EXPECT_EQ(seglist(list), "bad 0-0, good 1-2, bad 3-5, good 6-7, bad 8-8");
    EXPECT_EQ(list[2].isbad, 1);
    EXPECT_TRUE(hasbad(list));
    integratesegs(marked(4, "....").data(), 4, list);
    EXPECT_EQ(seglist(list), "good 0-3");
    EXPECT_FALSE(hasbad(list));
}

TEST(Consolidation, MovesBoundariesToHealthyGround)
{
    const struct {
        std::uint64_t cylinders;
        const char *marks;
        std::set<std::uint64_t> failing; // cylinders
        const char *list, *marksafter, *moves;
    } cases[] = {
        {10, "...B......", {3}, "good 0-2, bad 3-4, good 5-9", "...B.B....", "5,0 "},
        {10, "..B..", {5}, "good 0-3, bad 4-7, good 8-9", "..BB.", "3,0 "},
        {10, "..B..", {0, 1, 4, 8, 9}, "good 0-3, bad 4-5, good 6-9", "..B..", ""},
        // A stretch that is used up leaves its last cylinder in no record.
        {10, "..B.B", {6}, "good 0-3, bad 4-6, bad 8-9", "..BBB", "3,0 "},
        {5, "B.", {1}, "bad 0-3", "BB", "1,0 "},
        // The index behind the last segment is kept inside.
        {10, "........B.", {8}, "good 0-7, bad 8-8", "........BB", "9,0 "},
        {10, "B....", {1, 3}, "bad 0-5, good 6-9", "BBB..", "1,0 2,0 "},
        {10, "BB.BB", {3, 4, 5}, "bad 0-4, bad 6-9", "BBBBB", "2,0 "},
        {10, "BBBBB", {0, 1, 2, 3, 4}, "bad 0-9", "BBBBB", ""},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.marks);
        const geom geometry = geometryof(row.cylinders);
        std::vector<SEG> segs = marked(row.cylinders, row.marks);
        const auto segnum = static_cast<int>(segs.size());
        std::vector<SEG> list;
        integratesegs(segs.data(), segnum, list);
        const std::vector<SEG> before = list;
        std::string moves;
        BoundaryCalls calls;
        calls.progress = [&list](int index) { EXPECT_LT(index, list.size()); };
        calls.rangereads = [&](std::uint64_t first, std::uint64_t last) {
            if (first > last)
                return true;
            EXPECT_EQ(first % 4, 0U);
            EXPECT_EQ(last - first, 7U);
            return !row.failing.contains(first / 4) && !row.failing.contains(last / 4);
        };
        calls.moved = [&moves](int raw, int isbad) {
            moves += std::to_string(raw) + "," + std::to_string(isbad) + " ";
        };
        const int count = fixboundaries(list, segs.data(), segnum, geometry, calls);
        EXPECT_EQ(count, std::count(moves.begin(), moves.end(), ' '));
        EXPECT_EQ(seglist(list), row.list);
        EXPECT_EQ(marksof(segs), row.marksafter);
        EXPECT_EQ(moves, row.moves);

        // Given up at the last failure, everything is as before.
        segs = marked(row.cylinders, row.marks);
        list = before;
        int left = count;
        calls.giveup = [&left] { return --left == 0; };
        EXPECT_EQ(fixboundaries(list, segs.data(), segnum, geometry, calls), count ? -1 : 0);
        EXPECT_EQ(list, before);
        EXPECT_EQ(marksof(segs), row.marks);
    }
}

TEST(ScanFileFormat, NamesAreAlwaysPlain)
{
    const char *const names[][2] = {{"ven_a-prod_b", "ven_a-prod_b"},
                                    {"", "_"},
                                    {".", "_"},
                                    {"..", "._"},
                                    {"../x", ".._x"},
                                    {"/etc/passwd", "_etc_passwd"},
                                    {"C:\\a|b<c>d\"e?f*", "C__a_b_c_d_e_f_"},
                                    {"nul", "_nul"},
                                    {"Com7.disk", "_Com7.disk"},
                                    {"com", "com"},
                                    {"x. ", "x._"},
                                    {"a\nb\x7f\xC3\xA9", "a_b___"}};
    for (const auto &row : names)
        EXPECT_EQ(scanfilename(row[0]), row[1]);
}

TEST(ScanFileFormat, TellsSoundFromDamaged)
{
    const geom geometry = geometryof(7);
    const auto imageof = [](const geom &header, const std::vector<SEG> &segs) {
        const auto head = encodegeom(header);
        std::vector<std::uint8_t> image(head.begin(), head.end());
        for (const SEG &seg : segs) {
            const auto record = encodeseg(seg);
            image.insert(image.end(), record.begin(), record.end());
        }
        return image;
    };
    std::vector<SEG> segs = makeplan(geometry);
    segs[3].isbad = 1;
    std::vector<std::uint8_t> image = imageof(geometry, segs);
    ASSERT_EQ(image.size(), 224U);
    // Padding means nothing, and neither does what follows a complete plan.
    image[12] = image[15] = image[56 + 20] = image[56 + 23] = 0xFF;
    image.resize(300, 0xEE);
    ScanFile file = parsescanfile(image);
    EXPECT_EQ(file.state, ScanFileState::complete);
    EXPECT_EQ(file.geometry, geometry);
    EXPECT_EQ(file.segs, segs);
    EXPECT_EQ(file.wholebytes, 224U);
    EXPECT_FALSE(file.ragged);

    file = parsescanfile(std::span(image).first(56 + 4 * 24 + 23));
    EXPECT_EQ(file.state, ScanFileState::partial);
    EXPECT_EQ(file.records, 4);
    EXPECT_EQ(file.segs, segs);
    EXPECT_EQ(file.wholebytes, 56U + 4 * 24);
    EXPECT_TRUE(file.ragged);

    const std::function<void(geom &)> headers[] = {
        [](geom &bad) { bad.heads = 0; },
        [](geom &bad) { bad.sectorspertrack = 0; },
        [](geom &bad) { bad.bytespersector = 0; },
        [](geom &bad) { bad.cylinders = 0; },
        [](geom &bad) { ++bad.cylinders; },
        [](geom &bad) { ++bad.sectorspercyl; },
        [](geom &bad) { --bad.bytespercyl; },
        [](geom &bad) { bad.totalbytes = 0; },
        [](geom &bad) { bad.cylinders = ~0ULL; },
        [](geom &bad) { // agrees with itself, but no device has such sectors
            bad.bytespersector = 3;
            bad.bytespercyl = 12;
        },
        [](geom &bad) { // more cylinders than the plan can tell apart
            bad = {1, 1, 512, 1ULL << 54, 1, 512, 1ULL << 63, 1ULL << 54};
        }};
    for (const auto &damage : headers) {
        geom bad = geometry;
        damage(bad);
        EXPECT_EQ(parsescanfile(imageof(bad, {})).state, ScanFileState::damaged)
            << &damage - headers;
    }
    const struct {
        std::size_t record;
        SEG value;
    } records[] = {{0, {1, 1, 0}}, {3, {3, 4, 0}},     {3, {2, 3, 0}}, {3, {4, 3, 0}},
                   {6, {6, 7, 0}}, {6, {6, ~0ULL, 0}}, {2, {2, 1, 0}}, {5, {~0ULL, 5, 0}}};
    for (const auto &damage : records) {
        std::vector<SEG> bad = makeplan(geometry);
        bad[damage.record] = damage.value;
        EXPECT_EQ(parsescanfile(imageof(geometry, bad)).state, ScanFileState::damaged);
        // Cut behind the record, it is the rest of the plan that does not follow.
        bad.resize(damage.record + 1);
        EXPECT_EQ(parsescanfile(imageof(geometry, bad)).state, ScanFileState::damaged);
    }
    EXPECT_EQ(readscanfile("nothere").state, ScanFileState::unreadable);
}
