// Catches a sector that is called good without having been moved whole, or bad although the disk
// only refused, was gone or was not asked.
#include "platform/simulated/turningdisk.h"
#include "platform/writegather.h"
#include "tests/core/coretest.h"

namespace
{

class SectorTests : public CoreTest, public ::testing::WithParamInterface<int>
{
protected:
    SectorTests() { usegeometry(sectorlength, 10, 1, 100); }

    // The result of a test, and what it did to the disk.
    std::string course(int result)
    {
        return std::to_string(result) + " " + disk->recording->course(sectorlength);
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
    faults.shortreads[200] = 7 * sectorlength;
    faults.shortreads[300] = sectorlength - 1;
    faults.unreadable.add(425);
    const std::tuple<unsigned, unsigned, const char *> rows[] = {
        {0, 39, "0 r0+20 r20+20"},
        {7, 7, "0 r7+1"},
        {100, 144, "0 r100+20 r120+20 r140+5"},
        // seven sectors of twenty: single sectors until one is read whole, then batches again
        {200, 239, "0 r200+20 r207+1 r208+20 r228+12"},
        {300, 310, "1 r300+11"},          // a partial sector counts as not transferred
        {400, 499, "1 r400+20 r420+20"}}; // nothing is read behind the damage
    for (const auto &[first, last, expected] : rows)
        EXPECT_EQ(course(read_test(handle, first, last, bytes)), expected);

    // the same for single sectors
    faults.shortreads[310] = faults.shortwrites[311] = sectorlength / 2;
    std::vector<char> sector(sectorlength);
    EXPECT_EQ(readasector(handle, 310, sector.data()), 1);
    EXPECT_EQ(readasector(handle, 425, sector.data()), 1);
    EXPECT_EQ(writeasector(handle, 311, sector.data()), 1);
}

TEST_P(SectorTests, WriteTestFindsFailuresAndWrongData)
{
    faults.lying.add(230);
    faults.unwritable.add(330);
    faults.unreadable.add(430);
    faults.shortreads[520] = 17 * sectorlength;
    faults.shortwrites[600] = 18 * sectorlength;
    faults.shortreads[700] = 18 * sectorlength;
    const std::tuple<unsigned, unsigned, const char *> rows[] = {
        // all of it is written and flushed before any of it is read
        {100, 144, "0 w100+20 w120+20 w140+5 flush r100+20 r120+20 r140+5"},
        {200, 259, "1 w200+20 w220+20 w240+20 flush r200+20 r220+20"},
        {300, 399, "1 w300+20 w320+20"},
        {400, 459, "1 w400+20 w420+20 w440+20 flush r400+20 r420+20"},
        // after a short read the rest of the buffer is compared too: it holds the batch before, if
        // there was one; a batch that dropped to one sector stays at one
        {500, 539, "0 w500+20 w520+20 flush r500+20 r520+20 r537+1 r538+1 r539+1"},
        {600, 620, "0 w600+20 w618+1 w619+1 w620+1 flush r600+20 r620+1"},
        {700, 719, "1 w700+20 flush r700+20"}};
    for (const auto &[first, last, expected] : rows)
        EXPECT_EQ(course(write_test(handle, first, last, bytes)), expected);
    EXPECT_EQ(course(writeandreadtestonesector(handle, 620, bytes)), "0 w620+1 flush r620+1");
    std::vector<char> sector(sectorlength);
    EXPECT_EQ(course(readasector(handle, 121, sector.data())), "0 r121+1");
    EXPECT_EQ(sector[3], static_cast<char>((bytes + 3) % 256)); // the ramp runs on
    // the medium refuses what its cache took: the flush is the sixth operation
    disk->recording->disturbance = platform::Recording::Disturbance::fail;
    disk->recording->victim = 5;
    EXPECT_EQ(course(write_test(handle, 100, 144, bytes)), "1 w100+20 w120+20 w140+5 flush");
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
    unsigned long long first = nosector, second = nosector;
    EXPECT_EQ(findfirsttwogoodsectors(handle, bytes, 9, first, second), 0);
    EXPECT_EQ(first, 5U);
    EXPECT_EQ(second, nosector);
    EXPECT_EQ(findfirsttwogoodsectors(handle, bytes, 20, first, second), 0);
    EXPECT_EQ(first, 5U);
    EXPECT_EQ(second, 9U);
}

TEST_P(SectorTests, ReadingsTellDamageRefusalsAndMissingDisksApart)
{
    faults.unreadable.add(100);
    faults.lying.add(200);
    faults.shortreads[300] = sectorlength / 2;
    EXPECT_EQ(rangetest(read_test)(handle, 200, 219, bytes), Reading::good);
    EXPECT_EQ(rangetest(write_test)(handle, 200, 219, bytes), Reading::bad);
    EXPECT_EQ(readrange(handle, 90, 120, bytes), Reading::bad);
    EXPECT_EQ(readrange(handle, 300, 300, bytes), Reading::bad);
    EXPECT_EQ(readsector(handle, 100, bytes), Reading::bad);
    EXPECT_EQ(roughcheck(handle, {{0, 9, 0}, {10, 19, 0}}, bytes), Reading::bad);
    // an argument or a user that the device refuses tells nothing about the medium
    EXPECT_EQ(readsector(handle, 1000, bytes), Reading::refused); // behind the end
    EXPECT_EQ(readsector(handle, 1, bytes / 2), Reading::refused);
    disk->refusal = "held";
    EXPECT_EQ(writerange(handle, 0, 9, bytes), Reading::refused);
    handles.emplace_back(platform::open("disk", platform::Access::read));
    EXPECT_EQ(writerange(handles.back().get(), 0, 9, bytes), Reading::refused);
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
    // one that is gone may still tell a size
    faults.vanishafter.reset();
    disk->partitionlength = 1000 * sectorlength;
    EXPECT_FALSE(diskpresent(handle));
}

using TurningDisk = CoreTest;

// A segment of 50 MB on a turning disk with a quarter of the usual cache.
TEST_F(TurningDisk, TheWriteTestReachesTheMediumAtTheDisksSpeed)
{
    constexpr std::uint64_t segment = 100'000; // sectors of 512 bytes
    const auto disk = add("disk", 500'000 * 512);
    disk->sectorsize = 512;
    const auto turning = std::make_shared<platform::Turning>();
    turning->cachebytes /= 4;
    disk->wrap = [turning](std::unique_ptr<platform::Device> device) {
        return platform::inlargeblocks(
            std::make_unique<platform::TurningDisk>(std::move(device), turning));
    };
    // the share of the media rate at which a test of the segment from this sector on succeeds
    const auto rate = [&](TestFunction test, std::uint64_t first) {
        const double start = turning->now;
        EXPECT_EQ(test(opened("disk"), first, first + segment - 1, 512), 0);
        handles.clear(); // ends the thread that reads ahead
        return segment / (turning->now - start) / turning->sectorspertrack * turning->revolution;
    };
    const double share = rate(write_test, 0);
    std::printf("write test: %.3f of the media rate\n", share);
    EXPECT_NEAR(share, 0.45, 0.05) << "seeks take the rest";
    EXPECT_GT(rate(read_test, 0), 0.85);

    // a sector that the cache takes and the medium loses
    turning->losing.add(450'000);
    void *handle = opened("disk");
    EXPECT_EQ(write_test(handle, 400'000, 400'000 + segment - 1, 512), 1);
    EXPECT_EQ(write_test(handle, 450'000, 450'000, 512), 1);
    EXPECT_EQ(writeandreadtestonesector(handle, 450'000, 512), 4);
}

INSTANTIATE_TEST_SUITE_P(SectorLengths, SectorTests, ::testing::Values(512, 4096));

} // namespace
