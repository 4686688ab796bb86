#include "tests/core/coretest.h"

namespace
{

using Sectors = std::vector<std::uint64_t>;
using Kind = platform::Operation::Kind;

class SectorTests : public CoreTest, public ::testing::WithParamInterface<int>
{
protected:
    SectorTests()
        : sectorbytes(GetParam()),
          disk(add(platform::simulateddisk("disk", 1000ULL * static_cast<unsigned>(sectorbytes),
                                           static_cast<std::uint32_t>(sectorbytes)))),
          handle("disk")
    {
        usegeometry(static_cast<std::uint32_t>(sectorbytes), 10, 1, 100);
        disk->recording->clear();
    }

    Sectors transfers(Kind kind)
    {
        return disk->recording->transfers(kind, static_cast<std::uint32_t>(sectorbytes));
    }

    int sectorbytes;
    std::shared_ptr<platform::SimulatedDisk> disk;
    OpenDisk handle;
};

TEST_P(SectorTests, ReadTestGoesInBatchesAndEndsAtTheFirstFailure)
{
    EXPECT_EQ(read_test(handle, 100, 144, sectorbytes), 0);
    EXPECT_EQ(transfers(Kind::read), (Sectors{20, 20, 5}));
    disk->recording->clear();
    EXPECT_EQ(read_test(handle, 7, 7, sectorbytes), 0);
    EXPECT_EQ(read_test(handle, 0, 39, sectorbytes), 0);
    EXPECT_EQ(transfers(Kind::read), (Sectors{1, 20, 20}));
    EXPECT_EQ(disk->recording->operations.back().offset, 20U * static_cast<unsigned>(sectorbytes));

    disk->recording->clear();
    disk->faults->unreadable.add(125);
    EXPECT_EQ(read_test(handle, 100, 199, sectorbytes), 1);
    EXPECT_EQ(transfers(Kind::read), (Sectors{20, 20})); // nothing behind the damage

    // seven sectors of twenty: on with single ones until one comes whole
    disk->recording->clear();
    disk->faults->shortreads[200] = 7ULL * static_cast<unsigned>(sectorbytes);
    EXPECT_EQ(read_test(handle, 200, 239, sectorbytes), 0);
    EXPECT_EQ(transfers(Kind::read), (Sectors{20, 1, 20, 12}));
    // a part of a sector is nothing
    disk->faults->shortreads[300] = static_cast<unsigned>(sectorbytes) - 1;
    EXPECT_EQ(read_test(handle, 300, 310, sectorbytes), 1);
    EXPECT_EQ(disk->recording->count(Kind::write), 0U);
}

TEST_P(SectorTests, WriteTestFindsWhatFailsAndWhatLies)
{
    EXPECT_EQ(write_test(handle, 100, 144, sectorbytes), 0);
    EXPECT_EQ(transfers(Kind::write), (Sectors{20, 20, 5}));
    EXPECT_EQ(transfers(Kind::read), (Sectors{20, 20, 5}));
    std::string order; // the drive's own cache is flushed once, in front of the last read-back
    for (const platform::Operation &one : disk->recording->operations)
        order += one.kind == Kind::write  ? "w"
                 : one.kind == Kind::read ? "r"
                 : one.what == "flush"    ? "f"
                                          : "";
    EXPECT_EQ(order, "wrwrwfr");
    std::vector<char> sector(static_cast<std::size_t>(sectorbytes));
    EXPECT_EQ(readasector(handle, 121, sector.data()), 0);
    EXPECT_EQ(sector[3], static_cast<char>((sectorbytes + 3) % 256)); // the ramp runs on

    disk->faults->lying.add(230);
    EXPECT_EQ(write_test(handle, 200, 299, sectorbytes), 1);
    disk->faults->unwritable.add(330);
    EXPECT_EQ(write_test(handle, 300, 399, sectorbytes), 1);
    disk->faults->unreadable.add(430);
    EXPECT_EQ(write_test(handle, 400, 499, sectorbytes), 1);

    // a batch that dropped to one stays there; what a short read left out is compared all the same
    disk->recording->clear();
    disk->faults->shortreads[520] = 18ULL * static_cast<unsigned>(sectorbytes);
    EXPECT_EQ(write_test(handle, 500, 542, sectorbytes), 0);
    EXPECT_EQ(transfers(Kind::write), (Sectors{20, 20, 1, 1, 1, 1, 1}));
    disk->faults->shortwrites[600] = 18ULL * static_cast<unsigned>(sectorbytes);
    EXPECT_EQ(write_test(handle, 600, 619, sectorbytes), 1);
}

TEST_P(SectorTests, SingleSectorTestsAndTheSearchForTwoGoodOnes)
{
    EXPECT_EQ(readtestonesector(handle, 5, sectorbytes), 0);
    EXPECT_EQ(readtestonesector(handle, 1000, sectorbytes),
              0); // past the end: nothing, but no error
    EXPECT_EQ(writeandreadtestonesector(handle, 5, sectorbytes), 0);
    disk->faults->unwritable.add(6);
    disk->faults->unreadable.add(7);
    disk->faults->lying.add(8);
    EXPECT_EQ(readtestonesector(handle, 7, sectorbytes), 1);
    EXPECT_EQ(writeandreadtestonesector(handle, 6, sectorbytes), 2);
    EXPECT_EQ(writeandreadtestonesector(handle, 7, sectorbytes), 3);
    EXPECT_EQ(writeandreadtestonesector(handle, 8, sectorbytes), 4);
    EXPECT_EQ(writeandreadtestonesector(invaliddisk, 8, sectorbytes), 1);

    disk->faults->unreadable.add(0, 4);
    unsigned long long first = nosector;
    unsigned long long second = nosector;
    EXPECT_EQ(findfirsttwogoodsectors(handle, sectorbytes, 0, first, second), 0);
    EXPECT_EQ(first, nosector);
    EXPECT_EQ(findfirsttwogoodsectors(handle, sectorbytes, 9, first, second), 0);
    EXPECT_EQ(first, 5U);
    EXPECT_EQ(second, nosector);
    EXPECT_EQ(findfirsttwogoodsectors(handle, sectorbytes, 20, first, second), 0);
    EXPECT_EQ(first, 5U);
    EXPECT_EQ(second, 9U);
}

TEST_P(SectorTests, RoughTestProbesGoodStretchesWhereTheyLie)
{
    // ten sectors a cylinder: stretches at sectors 0, 300 and 500
    std::vector<SEG> list = {{0, 29, 0}, {30, 49, 1}, {50, 99, 0}};
    disk->faults->unreadable.add(300, 499);
    EXPECT_EQ(rough_test(handle, list, sectorbytes), 0);
    EXPECT_EQ(transfers(Kind::read), (Sectors{1, 1}));
    disk->faults->unreadable.add(500);
    EXPECT_EQ(rough_test(handle, list, sectorbytes), 1);
}

INSTANTIATE_TEST_SUITE_P(SectorLengths, SectorTests, ::testing::Values(512, 4096));

class ScanRecord : public CoreTest
{
};

TEST_F(ScanRecord, KeepsOneBitForEachSegment)
{
    usegeometry(512, 63, 255, 1000);
    auto disk = add(platform::simulateddisk("disk", 1 << 20));
    OpenDisk handle("disk");
    std::vector<SEG> segs(500);
    segs[0].isbad = -5;
    segs[7].isbad = 1;
    segs[8].isbad = 2;
    segs[499].isbad = 1;
    EXPECT_FALSE(hasseginfo(handle, 500));
    EXPECT_EQ(writeseginfotodisk(handle, 1, segs.data(), 500), 0);

    std::vector<std::uint8_t> expected(512);
    const std::uint8_t head[] = {0xD9, 0xDC, 0x65, 0x41, 0x1F, 0x1B, 0x43,
                                 0x06, 0xF4, 0x01, 0,    0,    0x81, 0x80};
    std::copy(std::begin(head), std::end(head), expected.begin());
    expected[12 + 62] = 0x10;
    std::vector<std::uint8_t> sector(512);
    ASSERT_TRUE(disk->store->load(512, sector.data(), 512));
    EXPECT_EQ(sector, expected);

    EXPECT_TRUE(hasseginfo(handle, 500));
    EXPECT_FALSE(hasseginfo(handle, 499)); // another plan's
    std::vector<SEG> back(500, SEG{3, 4, 9});
    EXPECT_EQ(readseginfofromdisk(handle, 1, back.data(), 500), 0);
    for (std::size_t i = 0; i < 500; i++)
        EXPECT_EQ(back[i], (SEG{3, 4, segs[i].isbad != 0}));

    disk->faults->unreadable.add(1);
    EXPECT_FALSE(hasseginfo(handle, 500));
    back.assign(500, SEG{3, 4, 9});
    EXPECT_NE(readseginfofromdisk(handle, 1, back.data(), 500), 0);
    EXPECT_EQ(back[0].isbad, 9); // an unreadable record clears no mark
    sector[0] ^= 1;
    EXPECT_FALSE(isscanrecord(sector, 500));
    EXPECT_FALSE(isscanrecord({}, 500));
}

} // namespace
