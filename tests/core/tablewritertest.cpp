// Catches a byte of the tables in a wrong place, tables that reach over others, and faults of
// writing that pass for success.
#include "core/bytes.h"
#include "core/tables.h"
#include "tests/core/coretest.h"

#include <ctime>

namespace
{

using Bytes = std::vector<std::uint8_t>;
using Kind = platform::Operation::Kind;

class TableWriter : public CoreTest
{
protected:
    void use(std::uint32_t bytespersector, std::uint32_t sectorspertrack, std::uint32_t heads,
             std::uint64_t cylinders)
    {
        usegeometry(bytespersector, sectorspertrack, heads, cylinders);
        disk = add("disk", g.totalbytes, bytespersector);
        firstgoodsector = 0;
        secondgoodsector = 1;
    }

    int write(const std::string &text)
    {
        std::vector<PART> parts = partsof(text);
        return batch_partition(opened("disk"), parts);
    }

    /// Compares all of a sector with a table of these entries. Returns the clock in sector 0.
    std::uint64_t check(std::uint64_t number, const std::vector<Bytes> &slots)
    {
        Bytes bytes(g.bytespersector);
        EXPECT_TRUE(disk->store->load(number * g.bytespersector, bytes.data(), bytes.size()));
        const std::uint64_t clock = getlittle(&bytes[0x1B8], 4);
        if (number == 0)
            putlittle(&bytes[0x1B8], 0, 4);
        Bytes expected(g.bytespersector);
        auto place = expected.begin() + 0x1BE;
        for (const Bytes &slot : slots)
            place = std::copy(slot.begin(), slot.end(), place);
        expected[0x1FE] = 0x55;
        expected[0x1FF] = 0xAA;
        EXPECT_EQ(bytes, expected) << "sector " << number;
        return clock;
    }

    std::shared_ptr<platform::RecordedDisk> disk;
};

// 255 heads, 63 sectors: a cylinder has 16065 sectors. Cylinder 10 begins at 160650, 20 at 321300,
// 25 at 401625, 30 at 481950, 35 at 562275, 40 at 642600, 2000 at 32130000, 3000 at 48195000.
TEST_F(TableWriter, SectorsFollowTheFormat)
{
    use(512, 63, 255, 3000);
    const auto before = static_cast<std::uint32_t>(std::time(nullptr));
    ASSERT_EQ(write("p0-160649:7* e321300-642599:f p32130000-48194999:83 l321300-401624:b* "
                    "l481950-562274 l562275-642599"),
              0);
    const std::uint64_t clock = check(
        0,
        {// from the second track on: head 1, sector 1; 160587 sectors
         {0x80, 1, 1, 0, 0x07, 0xFE, 0x3F, 9, 63, 0, 0, 0, 0x4B, 0x73, 2, 0},
         {0, 0, 1, 20, 0x0F, 0xFE, 0x3F, 39, 0x14, 0xE7, 4, 0, 0x14, 0xE7, 4, 0},
         // behind cylinder 1023: the cylinder form of both ends is clamped, the numbers are exact
         {0, 0xFE, 0xFF, 0xFF, 0x83, 0xFE, 0xFF, 0xFF, 0xD0, 0x43, 0xEA, 1, 0xE8, 0x21, 0xF5, 0}});
    EXPECT_LE(clock - before, 60U);
    // a boot record: its logical disk counts from the record, the link from the extended partition
    check(321300, {{0x80, 1, 1, 20, 0x0B, 0xFE, 0x3F, 24, 63, 0, 0, 0, 0x86, 0x39, 1, 0},
                   {0, 0, 1, 30, 0x0F, 0xFE, 0x3F, 34, 0x8A, 0x73, 2, 0, 0xC5, 0x39, 1, 0}});
    check(481950, {{0, 1, 1, 30, 0x07, 0xFE, 0x3F, 34, 63, 0, 0, 0, 0x86, 0x39, 1, 0},
                   {0, 0, 1, 35, 0x0F, 0xFE, 0x3F, 39, 0x4F, 0xAD, 3, 0, 0xC5, 0x39, 1, 0}});
    check(562275, {{0, 1, 1, 35, 0x07, 0xFE, 0x3F, 39, 63, 0, 0, 0, 0x86, 0x39, 1, 0}});
    EXPECT_EQ(disk->recording->count(Kind::write), 4U);
}

// A drive that reports 300 heads and 100 sectors a track: 30000 sectors a cylinder. What fits the
// three bytes is exact, all else becomes the largest position that does fit.
TEST_F(TableWriter, PositionsThatTheShortFormCannotTellAreClamped)
{
    use(512, 100, 300, 600);
    const std::pair<std::uint64_t, Bytes> rows[] = {
        {30000, {0, 1, 1}},               // head 0, sector 1, cylinder 1
        {30062, {0, 63, 1}},              // the last sector that can be told
        {30063, {255, 0xFF, 0xFF}},       // the next one
        {25500, {255, 1, 0}},             // head 255
        {25600, {255, 0xFF, 0xFF}},       // head 256
        {15'390'000, {0, 0x81, 1}},       // cylinder 513: its upper bits are with the sector
        {30'690'000, {0, 0xC1, 0xFF}},    // cylinder 1023
        {30'720'000, {255, 0xFF, 0xFF}}}; // cylinder 1024
    for (const auto &[sector, bytes] : rows) {
        Bytes image(512);
        PARTSLOT slot = getpartslot(reinterpret_cast<char *>(image.data()), 0);
        writestophsctopartslot(&slot, sector);
        EXPECT_EQ(Bytes(image.begin() + 0x1C3, image.begin() + 0x1C6), bytes) << sector;
    }
}

TEST_F(TableWriter, MetadataTracksBelongToNoPartition)
{
    use(512, 63, 255, 100);
    // a logical disk from cylinder 0: record, extended entry and base of the links move together
    ASSERT_EQ(write("e0-321299:f l0-160649 l160650-321299"), 0);
    check(0, {{0, 1, 1, 0, 0x0F, 0xFE, 0x3F, 19, 63, 0, 0, 0, 0xD5, 0xE6, 4, 0}});
    check(63, {{0, 2, 1, 0, 0x07, 0xFE, 0x3F, 9, 63, 0, 0, 0, 0x0C, 0x73, 2, 0},
               {0, 0, 1, 10, 0x0F, 0xFE, 0x3F, 19, 0x4B, 0x73, 2, 0, 0x8A, 0x73, 2, 0}});

    // start of the partition, the two sectors, and where the partition starts when moved
    const std::array<std::uint64_t, 4> rows[] = {
        {160650, 160650, 160651, 160713},  {160650, 5, 160651, 160713},
        {160650, 62, 63, 160650},          {0, 62, 63, 126},
        {0, 160650, 160651, 160713},       {0, nosector, nosector, 63},
        {160650, nosector, 321299, 321300}}; // its last sector
    for (const auto &[start, first, second, moved] : rows) {
        std::vector<PART> parts = partsof("p" + std::to_string(start) + "-321299");
        for (int i = 0; i < 2; i++) { // the second time changes nothing
            keepofftracks(parts, std::array{first, second}, 63);
            EXPECT_EQ(parts[0].start, moved) << second;
            EXPECT_EQ(parts[0].size, 321300 - moved);
        }
    }
}

TEST_F(TableWriter, PartsThatTheFormatCannotHoldAreNotWritten)
{
    use(512, 63, 255, 300000);
    // partitions, those at fault, and why
    const std::tuple<std::string, std::vector<int>, const char *> rows[] = {
        {"p16065-4294967295", {}, ""},
        {"p16065-4294967296", {0}, "beyond sector 4294967295"},
        {"p1-2 p3-4 p5-6 p7-8 p9-10", {4}, "room for four"},
        {"e16065-321299 l160650-321299 l16065-160649", {}, ""},
        {"e160650-160649 l160650-321299", {0, 1}, "without a sector"},
        {"e16065-321299 l16064-160649", {1}, "outside the extended"},
        {"e16065-321299 l160650-321300", {1}, "outside the extended"},
        {"l16065-160649", {0}, "no extended"},
        {"e16065-321299 l16065-16127", {1}, "without a sector"},
        {"e16065-321299 l16065-16128", {}, ""},
        {"p0-62", {0}, "without a sector"},
        {"p63-99:0 e16065-321299 l16065-160649:0", {0, 2}, "type 0"},
        // one cause, one text: the extended partition follows its first and last row
        {"e160650-160649 l160650-321299 l16065-160649", {-1}, "not in disk order"}};
    for (const auto &[parts, expected, words] : rows) {
        const std::vector<PARTFAULT> faults = checkparts(partsof(parts), g, 0, 1);
        std::vector<int> faulty;
        for (const PARTFAULT &fault : faults)
            faulty.push_back(fault.part);
        EXPECT_EQ(faulty, expected) << parts;
        if (!faults.empty()) {
            EXPECT_NE(faults[0].text.find(words), std::string::npos) << parts;
            EXPECT_NE(write(parts), 0) << parts;
        }
    }
    // an extended boot record on the sector of the master boot sector or the scan record
    for (const std::uint64_t record : {16065, 16064})
        EXPECT_EQ(checkparts(partsof("e16065-321299 l16065-160649"), g, record, record + 1).size(),
                  1U);
    firstgoodsector = nosector;
    EXPECT_NE(write("p16065-321299"), 0);
    EXPECT_EQ(disk->recording->count(Kind::write) + disk->recording->count(Kind::request), 0U);
}

} // namespace
