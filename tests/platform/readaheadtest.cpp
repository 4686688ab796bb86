// Catches a read-ahead that delivers other bytes or results than the disk would, asks the disk for
// more than it may, or uses it from two threads at once.
#include "platform/readahead.h"
#include "platform/timing.h"

#include "tests/support/recording.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <numeric>
#include <random>
#include <thread>

using namespace platform;
using namespace std::chrono_literals;

namespace
{

constexpr std::size_t block = 16384;
constexpr std::uint64_t sectors = 1000;

// Counts the reads of a disk, each of which takes a while, and the operations that overlap.
struct BusyDisk : Decorator {
    using Decorator::Decorator;
    static inline std::atomic<bool> busy = false;
    static inline std::atomic<int> clashes = 0, reads = 0;
    static inline std::chrono::milliseconds readtime;

    static void use(std::chrono::milliseconds time = {})
    {
        clashes += busy.exchange(true) ? 1 : 0;
        std::this_thread::sleep_for(time);
        busy = false;
    }
    ~BusyDisk() override { use(); }
    Status request(const char *name, const std::function<Status()> &call) override
    {
        use();
        return Decorator::request(name, call);
    }
    Transfer doread(std::uint64_t offset, void *buffer, std::size_t bytes) override
    {
        ++reads;
        use(readtime);
        return Decorator::doread(offset, buffer, bytes);
    }
    Transfer dowrite(std::uint64_t offset, const void *buffer, std::size_t bytes) override
    {
        use();
        return Decorator::dowrite(offset, buffer, bytes);
    }
};

// A recorded disk of 1000 sectors, each with a number in its first bytes, behind a read-ahead with
// blocks of 32 sectors.
class ReadAheadTest : public ::testing::Test
{
protected:
    ReadAheadTest() : disk(recordeddisk("disk", sectors * 512)), numbers(sectors)
    {
        std::iota(numbers.begin(), numbers.end(), 0);
        for (std::uint64_t i = 0; i < sectors; ++i)
            disk->store->save(i * 512, &i, sizeof i);
        backend.disks = {disk};
        device = std::make_unique<ReadAhead>(open(), block);
    }
    std::unique_ptr<Device> open()
    {
        Status status;
        return backend.open("disk", Access::readwrite, status);
    }
    void openbusy(std::chrono::milliseconds readtime)
    {
        BusyDisk::readtime = readtime;
        device = std::make_unique<ReadAhead>(std::make_unique<BusyDisk>(open()), block);
    }

    // Reads, and checks the content. Returns the number of whole sectors read.
    std::uint64_t read(std::uint64_t first, std::uint64_t count)
    {
        std::vector<char> bytes(count * 512);
        const Transfer transfer = device->read(first * 512, bytes.data(), bytes.size());
        if (!transfer.status.ok())
            return 0;
        for (std::uint64_t i = 0; i < transfer.bytes / 512; ++i) {
            std::uint64_t number = 0;
            std::memcpy(&number, &bytes[i * 512], sizeof number);
            EXPECT_EQ(number, numbers[first + i]);
        }
        return transfer.bytes / 512;
    }
    bool write(std::uint64_t at)
    {
        std::vector<char> sector(512);
        numbers[at] += sectors;
        std::memcpy(sector.data(), &numbers[at], sizeof numbers[at]);
        return device->write(at * 512, sector.data(), 512).bytes == 512;
    }

    // The operations of the disk so far; a request waits until the thread is idle.
    const std::vector<Operation> &operations()
    {
        bool answer = false;
        EXPECT_TRUE(device->removable(answer).ok());
        return disk->recording->operations;
    }
    // The reads that reached the disk since the last call.
    std::string reads()
    {
        operations();
        return disk->recording->course();
    }

    SimulatedBackend backend;
    std::shared_ptr<RecordedDisk> disk;
    std::vector<std::uint64_t> numbers;
    std::unique_ptr<Device> device;
};

TEST_F(ReadAheadTest, FetchesAlignedBlocksWhileReadsRunOn)
{
    for (std::uint64_t i = 0; i < 100; i += 20)
        EXPECT_EQ(read(i, 20), 20U);
    // exact reads up to the first block that is longer than the request, then whole blocks; once
    // a block was delivered, two more behind the present one
    EXPECT_EQ(reads(), "r0+20 r20+20 r40+24 r64+32 r96+32 r128+32 r160+32");
    EXPECT_EQ(read(100, 20), 20U);
    EXPECT_EQ(reads(), "");
    // elsewhere, and back: fetched blocks are not used again
    EXPECT_EQ(read(500, 1), 1U);
    EXPECT_EQ(read(120, 5), 5U);
    EXPECT_EQ(read(120, 5), 5U);
    EXPECT_EQ(reads(), "r500+1 r120+5 r120+5");
    // a disk of unknown size is read exactly as requested
    disk->partitionlength.reset();
    device = std::make_unique<ReadAhead>(open(), block);
    for (std::uint64_t i = 0; i < 60; i += 20)
        EXPECT_EQ(read(i, 20), 20U);
    EXPECT_EQ(reads(), "r0+20 r20+20 r40+20");
}

TEST_F(ReadAheadTest, DamageCostsOneFailedTransferMore)
{
    disk->faults->unreadable.add(75);
    disk->faults->unreadable.add(480);
    disk->faults->shortreads = {{200, 512}, {576, 512}};
    const struct {
        std::uint64_t from, count, until; // reads of so many sectors
        bool fails;                       // at the end
        const char *course;
    } rows[] = {// the block at 64 failed and was discarded: exact reads from there on
                {0, 10, 70, true, "r0+10 r10+22 r32+32 r64+32 r60+10 r70+10"},
                // behind the damage, inside the failed block and beyond it
                {80, 10, 120, false, "r80+10 r90+10 r100+28"},
                // a short block is discarded, also if the thread fetches it
                {192, 10, 222, false, "r192+10 r202+22 r202+10 r212+10"},
                {512, 10, 592, false, "r512+10 r522+22 r544+32 r576+32 r572+10 r582+10"},
                // nothing is fetched after a failed read
                {75, 1, 75, true, "r75+1"},
                {75, 1, 75, true, "r75+1"},
                // damage in a block that the thread fetches; a second pass does not fetch it again
                {384, 10, 474, true, "r384+10 r394+22 r416+32 r448+32 r480+32 r474+10"},
                {404, 10, 474, true, "r404+10 r414+10 r424+24 r448+32 r474+10"}};
    for (const auto &row : rows) {
        SCOPED_TRACE(row.from);
        for (std::uint64_t at = row.from; at < row.until; at += row.count)
            EXPECT_EQ(read(at, row.count), row.count);
        if (row.fails) {
            EXPECT_EQ(read(row.until, row.count), 0U);
        }
        EXPECT_EQ(reads(), row.course);
    }
}

// Ranges of every length against the blocks: each has the time of its own slow sectors, and the
// disk still gets large reads.
TEST_F(ReadAheadTest, ASlowPlaceIsTimedInItsOwnRange)
{
    disk->faults->clock.emplace();
    for (std::uint64_t length = 21; length < 100; length += 1) {
        SCOPED_TRACE(length);
        std::vector<std::uint64_t> ends;
        for (std::uint64_t end = length; end <= sectors; end += length)
            ends.push_back(end * 512);
        // the last sector of one range, the first of another, the whole of a third
        disk->faults->slow = {{3 * length - 1, 3 * length - 1, 40ms},
                              {5 * length, 5 * length, 60ms},
                              {8 * length, 9 * length - 1, 10ms}};
        device = std::make_unique<ReadAhead>(open(), block);
        const auto times = std::make_shared<TransferTimes>(ends);
        device->timeby(times);
        reads();
        for (std::size_t i = 0; i < ends.size(); ++i) {
            for (std::uint64_t at = 0; at < length; at += 20)
                read(i * length + at, std::min<std::uint64_t>(20, length - at));
        }
        std::size_t made = 0;
        for (const Operation &one : operations()) {
            EXPECT_LE(one.offset + one.bytes, times->endof(one.offset));
            made += one.kind == Operation::Kind::read;
        }
        EXPECT_LE(made, 4 + ends.size() * ((length + 31) / 32));
        for (std::size_t i = 0; i < ends.size(); ++i) {
            EXPECT_DOUBLE_EQ(times->range(i).slowest, i == 2   ? 0.04
                                                      : i == 5 ? 0.06
                                                      : i == 8 ? 0.01
                                                               : 0);
        }
        EXPECT_EQ(times->range(1).bytes, length * 512);
        // no more than is asked for: a handle that is not timed any more
        device->timeby(nullptr);
        read(2 * length, length);
        EXPECT_EQ(times->range(2).bytes, length * 512);
    }
}

TEST_F(ReadAheadTest, ACancelEndsTheThreadsReadsToo)
{
    openbusy(50ms);
    const auto monitor = std::make_shared<Monitor>(Monitor::Cancelling::untilwritten);
    device->watchby(monitor);
    // the read that starts the thread, which would fetch two blocks
    for (std::uint64_t i = 0; i < 100; i += 20)
        EXPECT_EQ(read(i, 20), 20U);
    EXPECT_EQ(monitor->offset(), 80U * 512);
    EXPECT_EQ(monitor->transfers(), 5U);
    const int before = BusyDisk::reads;
    EXPECT_TRUE(monitor->cancel());
    char sector[512];
    EXPECT_EQ(device->read(100 * 512, sector, sizeof sector).status.fault, Fault::cancelled);
    std::this_thread::sleep_for(200ms);
    device.reset();
    EXPECT_LE(BusyDisk::reads, before + 1);
    // too late once something is written
    Monitor commit(Monitor::Cancelling::untilwritten);
    EXPECT_TRUE(commit.begintransfer(0, true, true));
    EXPECT_FALSE(commit.cancel());
    EXPECT_FALSE(commit.cancelled());
}

TEST_F(ReadAheadTest, NeverUsesTheDiskConcurrently)
{
    bool answer = false;
    const std::function<bool()> others[] = {
        [&] { return write(80); }, [&] { return read(500, 1) == 1; },
        [&] { return device->removable(answer).ok(); }, [] { return true; }};
    for (const auto &other : others) {
        openbusy(5ms);
        for (std::uint64_t at = 0; at < 80; at += 20)
            EXPECT_EQ(read(at, 20), 20U);
        std::this_thread::sleep_for(2ms); // the thread fetches the next block
        EXPECT_TRUE(other());
        device.reset();
    }
    EXPECT_EQ(BusyDisk::clashes, 0);
}

// Reads at random, many of them running on, among damage and writes, up to the end
// and never past it.
TEST_F(ReadAheadTest, AnswersAsTheDiskItself)
{
    std::mt19937 random(7);
    const auto below = [&random](std::uint64_t n) { return random() % n; };
    for (int i = 0; i < 15; ++i)
        disk->faults->unreadable.add(below(sectors));
    std::uint64_t at = 0;
    for (int i = 0; i < 20000; ++i) {
        if (below(10) == 0 || at >= sectors)
            at = below(sectors);
        if (below(20) == 0) {
            ASSERT_TRUE(write(std::min(at + below(40), sectors - 1)));
        }
        const std::uint64_t count = std::min(1 + below(40), sectors - at);
        const bool fails = disk->faults->unreadable.lowest(at, at + count - 1).has_value();
        ASSERT_EQ(read(at, count), fails ? 0 : count);
        at += count;
    }
    for (const Operation &one : operations())
        EXPECT_LE(one.offset + one.bytes, sectors * 512);
}

} // namespace
