#include "tests/core/coretest.h"

namespace
{

class SectorTests : public CoreTest, public ::testing::WithParamInterface<int>
{
protected:
    SectorTests() { usegeometry(sectorlength, 10, 1, 100); }

    // The result of a test and the operations since the last call: reads and writes with first
    // sector and count, and flushes.
    std::string course(int result)
    {
        std::string text = std::to_string(result);
        for (const platform::Operation &one : disk->recording->operations) {
            if (one.bytes > 0)
                text += (one.kind == platform::Operation::Kind::write ? " w" : " r") +
                        std::to_string(one.offset / sectorlength) + "+" +
                        std::to_string(one.bytes / sectorlength);
            else if (one.what == "flush")
                text += " flush";
        }
        disk->recording->clear();
        return text;
    }

    const int bytes = GetParam();
    const unsigned sectorlength = static_cast<unsigned>(bytes);
    std::shared_ptr<platform::RecordedDisk> disk =
        add("disk", std::uint64_t{1000} * sectorlength, sectorlength);
    void *handle = opened("disk");
    platform::FaultPlan &faults = *disk->faults;
};

TEST_P(SectorTests, ReadsGoInBatchesAndEndAtTheFirstFailure)
{
    EXPECT_EQ(course(read_test(handle, 100, 144, bytes)), "0 r100+20 r120+20 r140+5");
    EXPECT_EQ(course(read_test(handle, 7, 7, bytes)), "0 r7+1");
    EXPECT_EQ(course(read_test(handle, 0, 39, bytes)), "0 r0+20 r20+20");
    faults.unreadable.add(125); // nothing is read behind the damage
    EXPECT_EQ(course(read_test(handle, 100, 199, bytes)), "1 r100+20 r120+20");
    // seven sectors of twenty: single sectors until one is read whole, then batches again
    faults.shortreads[200] = 7 * sectorlength;
    EXPECT_EQ(course(read_test(handle, 200, 239, bytes)), "0 r200+20 r207+1 r208+20 r228+12");
    // a partial sector counts as not transferred
    faults.shortreads[300] = sectorlength - 1;
    EXPECT_EQ(course(read_test(handle, 300, 310, bytes)), "1 r300+11");

    // the same for single sectors
    faults.shortreads[310] = faults.shortwrites[311] = sectorlength / 2;
    std::vector<char> sector(sectorlength);
    EXPECT_EQ(readasector(handle, 125, sector.data()), 1);
    EXPECT_EQ(readasector(handle, 310, sector.data()), 1);
    EXPECT_EQ(writeasector(handle, 311, sector.data()), 1);
    EXPECT_TRUE(diskpresent(handle));
    faults.vanishafter = 0;
    EXPECT_FALSE(diskpresent(handle));
}

TEST_P(SectorTests, WriteTestFindsFailuresAndWrongData)
{
    // the drive's own cache is flushed once, before the last read-back
    EXPECT_EQ(course(write_test(handle, 100, 144, bytes)),
              "0 w100+20 r100+20 w120+20 r120+20 w140+5 flush r140+5");
    std::vector<char> sector(sectorlength);
    EXPECT_EQ(course(readasector(handle, 121, sector.data())), "0 r121+1");
    EXPECT_EQ(sector[3], static_cast<char>((bytes + 3) % 256)); // the ramp runs on

    faults.lying.add(230);
    EXPECT_EQ(course(write_test(handle, 200, 299, bytes)), "1 w200+20 r200+20 w220+20 r220+20");
    faults.unwritable.add(330);
    EXPECT_EQ(course(write_test(handle, 300, 399, bytes)), "1 w300+20 r300+20 w320+20");
    faults.unreadable.add(430);
    EXPECT_EQ(course(write_test(handle, 400, 499, bytes)), "1 w400+20 r400+20 w420+20 r420+20");

    // after a short read the rest of the buffer is compared too: it holds the batch before, if
    // there was one; a batch that dropped to one sector stays at one
    faults.shortreads[700] = 18 * sectorlength;
    EXPECT_EQ(course(write_test(handle, 700, 719, bytes)), "1 w700+20 flush r700+20");
    faults.shortreads[520] = 18 * sectorlength;
    EXPECT_EQ(course(write_test(handle, 500, 539, bytes)),
              "0 w500+20 r500+20 w520+20 flush r520+20 w538+1 r538+1 w539+1 flush r539+1");
    faults.shortwrites[600] = 18 * sectorlength;
    EXPECT_EQ(course(write_test(handle, 600, 619, bytes)), "1 w600+20 flush r600+20");
}

TEST_P(SectorTests, TheSearchForTwoGoodSectorsTestsEach)
{
    faults.unreadable.add(0, 4);
    faults.unwritable.add(6);
    faults.unreadable.add(7);
    faults.lying.add(8);
    faults.unreachable.add(50);
    for (const auto &[sector, result] : {std::pair(5U, 0), {50U, 1}, {6U, 2}, {7U, 3}, {8U, 4}})
        EXPECT_EQ(writeandreadtestonesector(handle, sector, bytes), result) << sector;
    unsigned long long first = nosector;
    unsigned long long second = nosector;
    EXPECT_EQ(findfirsttwogoodsectors(handle, bytes, 9, first, second), 0);
    EXPECT_TRUE(first == 5 && second == nosector);
    EXPECT_EQ(findfirsttwogoodsectors(handle, bytes, 20, first, second), 0);
    EXPECT_TRUE(first == 5 && second == 9);
}

TEST_P(SectorTests, RoughTestReadsTheFirstSectorOfGoodSegments)
{
    // ten sectors a cylinder: segments at sectors 0, 300 and 500
    std::vector<SEG> list = {{0, 29, 0}, {30, 49, 1}, {50, 99, 0}};
    faults.unreadable.add(300, 499);
    EXPECT_EQ(course(rough_test(handle, list, bytes)), "0 r0+1 r500+1");
    faults.unreadable.add(500);
    EXPECT_EQ(course(rough_test(handle, list, bytes)), "1 r0+1 r500+1");
}

TEST_P(SectorTests, ReadingsTellDamageRefusalsAndMissingDisksApart)
{
    faults.unreadable.add(100);
    faults.lying.add(200);
    faults.shortreads[300] = sectorlength / 2;
    std::vector<SEG> list = {{0, 9, 0}, {10, 19, 0}};
    EXPECT_EQ(rangetest(read_test)(handle, 0, 99, bytes), Reading::good);
    EXPECT_EQ(rangetest(read_test)(handle, 200, 219, bytes), Reading::good);
    EXPECT_EQ(rangetest(write_test)(handle, 200, 219, bytes), Reading::bad);
    EXPECT_EQ(readrange(handle, 90, 120, bytes), Reading::bad);
    EXPECT_EQ(readrange(handle, 300, 300, bytes), Reading::bad);
    EXPECT_EQ(readsector(handle, 100, bytes), Reading::bad);
    EXPECT_EQ(roughcheck(handle, list, bytes), Reading::bad);
    // an argument that the device refuses tells nothing about the medium
    EXPECT_EQ(readsector(handle, 1, bytes / 2), Reading::refused);
    EXPECT_EQ(readsector(invaliddisk, 1, bytes), Reading::gone);
    // an unplugged disk may report a medium failure, but it has no size
    disk->partitionlength.reset();
    disk->geometry.reset();
    disk->filesize.reset();
    disk->filesizelow.reset();
    EXPECT_EQ(readsector(handle, 0, bytes), Reading::good);
    EXPECT_EQ(readsector(handle, 100, bytes), Reading::gone);
    faults.vanishafter = 0;
    EXPECT_EQ(writerange(handle, 0, 99, bytes), Reading::gone);
}

INSTANTIATE_TEST_SUITE_P(SectorLengths, SectorTests, ::testing::Values(512, 4096));

} // namespace
