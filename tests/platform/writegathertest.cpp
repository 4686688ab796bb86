// Catches gathered writes that reach the disk in another order, with gaps closed, or counted as
// made when they failed.
#include "platform/writegather.h"

#include "tests/support/recording.h"

#include <gtest/gtest.h>

#include <string>

using namespace platform;

namespace
{

constexpr std::uint64_t sectors = 1000;

// A recorded disk behind a gathering of blocks of 32 sectors.
class WriteGatherTest : public ::testing::Test
{
protected:
    WriteGatherTest() : disk(recordeddisk("disk", sectors * 512))
    {
        disk->sectorsize = 512;
        backend.disks = {disk};
        Status status;
        device = std::make_unique<WriteGather>(backend.open("disk", Access::readwrite, status),
                                               32 * 512);
        EXPECT_TRUE(device->gatherwrites(Gathering::begin).ok());
    }

    // Writes sectors that are filled with `fill`. Returns the number of whole sectors written.
    std::uint64_t write(std::uint64_t first, std::uint64_t count, char fill = 'x')
    {
        const std::string bytes(count * 512, fill);
        const Transfer transfer = device->write(first * 512, bytes.data(), bytes.size());
        return transfer.status.ok() ? transfer.bytes / 512 : 0;
    }

    // The operations that reached the disk since the last call.
    std::string operations() { return disk->recording->course(); }

    SimulatedBackend backend;
    std::shared_ptr<RecordedDisk> disk;
    std::unique_ptr<Device> device;
};

TEST_F(WriteGatherTest, WritesAlignedBlocksInOrderBeforeAnythingElse)
{
    for (std::uint64_t at = 10; at < 90; at += 20)
        EXPECT_EQ(write(at, 20), 20U);
    EXPECT_EQ(operations(), "w10+22 w32+32"); // 26 sectors are held back
    std::string back(512, ' ');
    EXPECT_TRUE(device->read(80 * 512, back.data(), 512).status.ok());
    EXPECT_EQ(back, std::string(512, 'x'));
    EXPECT_EQ(operations(), "w64+26 r80+1");
    // elsewhere, and over what was written before: never out of order
    write(200, 5);
    write(300, 5);
    write(300, 5, 'y');
    EXPECT_TRUE(device->flush().ok());
    EXPECT_EQ(operations(), "w200+5 w300+5 w300+5 flush");
    write(384, 20);
    EXPECT_TRUE(device->gatherwrites(Gathering::finish).ok());
    EXPECT_EQ(write(404, 20), 20U); // at once from now on
    EXPECT_EQ(operations(), "w384+20 w404+20");
    EXPECT_TRUE(device->gatherwrites(Gathering::begin).ok());
    write(512, 20);
    EXPECT_TRUE(device->gatherwrites(Gathering::drop).ok());
    device.reset();
    EXPECT_EQ(operations(), "");
}

TEST_F(WriteGatherTest, AFailureIsReportedAndEndsTheGathering)
{
    disk->faults->unwritable.add(45);
    EXPECT_EQ(write(0, 20), 20U);
    EXPECT_EQ(write(20, 20), 20U);
    EXPECT_EQ(write(40, 20), 20U);
    EXPECT_EQ(write(60, 20), 0U);
    // the block again in pieces up to the failure; at once from now on
    EXPECT_EQ(operations(), "w0+32 w32+32 w32+20");
    EXPECT_EQ(write(80, 20), 20U);
    EXPECT_EQ(operations(), "w80+20");

    struct {
        std::uint64_t bytes; // that the short write moves
        const char *course;
    } const rows[] = {{18 * 512, "w96+32 w114+14"},
                      {18 * 512 + 100, "w96+32 w114+14"}, // a part of a sector is none
                      {0, "w96+32 w96+20 w116+12"}};
    for (const auto &row : rows) {
        EXPECT_TRUE(device->gatherwrites(Gathering::begin).ok());
        disk->faults->shortwrites[96] = row.bytes;
        EXPECT_EQ(write(96, 20), 20U);
        EXPECT_EQ(write(116, 12), 12U);
        EXPECT_EQ(operations(), row.course);
    }
    // a refusal is not tried again, and fails whatever comes next
    for (int next = 0; next < 3; ++next) {
        EXPECT_TRUE(device->gatherwrites(Gathering::begin).ok());
        disk->faults->unreachable.add(224);
        EXPECT_EQ(write(224, 20), 20U);
        EXPECT_EQ(write(244, 5), 5U);
        std::string back(512, ' ');
        const Status status = next == 0   ? device->flush()
                              : next == 1 ? device->read(0, back.data(), 512).status
                                          : device->gatherwrites(Gathering::finish);
        EXPECT_EQ(status.fault, Fault::position);
        EXPECT_EQ(operations(), "w224+25");
    }
}

} // namespace
