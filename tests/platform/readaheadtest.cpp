#include "platform/readahead.h"

#include "platform/timing.h"

#include "tests/support/recording.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <random>
#include <thread>

using namespace platform;

namespace
{

constexpr std::size_t block = 16384;
constexpr std::uint64_t sectors = 1000;

using Pairs = std::vector<std::pair<std::uint64_t, std::uint64_t>>;

// A recorded disk of 1000 sectors, each with its number in its first bytes, behind a read-ahead
// with blocks of 32 sectors.
class ReadAheadTest : public ::testing::Test
{
protected:
    ReadAheadTest() : disk(recordeddisk("disk", sectors * 512))
    {
        for (std::uint64_t i = 0; i < sectors; ++i)
            disk->store->save(i * 512, &i, sizeof i);
        backend.disks = {disk};
        Status status;
        device =
            std::make_unique<ReadAhead>(backend.open("disk", Access::readwrite, status), block);
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
            EXPECT_EQ(number, first + i);
        }
        return transfer.bytes / 512;
    }

    // The reads that reached the disk since the last call: first sector and count.
    Pairs reads()
    {
        Pairs list;
        bool answer = false;
        EXPECT_TRUE(device->removable(answer).ok()); // a request waits until the thread is idle
        for (const Operation &one : disk->recording->operations) {
            if (one.kind == Operation::Kind::read)
                list.emplace_back(one.offset / 512, one.bytes / 512);
        }
        disk->recording->clear();
        return list;
    }

    SimulatedBackend backend;
    std::shared_ptr<RecordedDisk> disk;
    std::unique_ptr<Device> device;
};

TEST_F(ReadAheadTest, FetchesAlignedBlocksWhileReadsRunOn)
{
    for (std::uint64_t i = 0; i < 100; i += 20)
        EXPECT_EQ(read(i, 20), 20U);
    // exact reads up to the first block that is longer than the request, then whole blocks; once
    // a block was delivered, two more behind the present one
    EXPECT_EQ(reads(),
              (Pairs{{0, 20}, {20, 20}, {40, 24}, {64, 32}, {96, 32}, {128, 32}, {160, 32}}));
    EXPECT_EQ(read(100, 20), 20U);
    EXPECT_EQ(reads(), Pairs{});
    // elsewhere, and back: fetched blocks are not used again
    EXPECT_EQ(read(500, 1), 1U);
    EXPECT_EQ(read(120, 5), 5U);
    EXPECT_EQ(reads(), (Pairs{{500, 1}, {120, 5}}));
    EXPECT_EQ(read(120, 5), 5U);
    EXPECT_EQ(reads(), (Pairs{{120, 5}}));
}

TEST_F(ReadAheadTest, AWriteDropsWhatWasFetched)
{
    // into the present block, and into one that is being fetched
    for (const std::uint64_t at : {40U, 70U}) {
        for (std::uint64_t i = 0; i < 40; i += 4)
            EXPECT_EQ(read(i, 4), 4U);
        reads();
        std::vector<char> sector(512);
        std::memcpy(sector.data(), &at, sizeof at);
        sector[100] = 'x';
        EXPECT_EQ(device->write(at * 512, sector.data(), 512).bytes, 512U);
        std::vector<char> back(512);
        EXPECT_TRUE(device->read(at * 512, back.data(), 512).status.ok());
        EXPECT_EQ(back, sector);
        EXPECT_EQ(reads(), (Pairs{{at, 1}}));
    }
}

// Counts the reads that begin, each of which takes a while.
class SlowDevice : public Decorator
{
public:
    SlowDevice(std::unique_ptr<Device> decorated, std::atomic<int> &counter)
        : Decorator(std::move(decorated)), begun(counter)
    {
    }

protected:
    Transfer doread(std::uint64_t offset, void *buffer, std::size_t bytes) override
    {
        ++begun;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        return inner->read(offset, buffer, bytes);
    }

private:
    std::atomic<int> &begun;
};

TEST_F(ReadAheadTest, ACancelEndsTheThreadsReadsToo)
{
    std::atomic<int> begun = 0;
    const auto monitor = std::make_shared<Monitor>(Monitor::Cancelling::untilwritten);
    device =
        std::make_unique<ReadAhead>(std::make_unique<SlowDevice>(std::move(device), begun), block);
    device->watchby(monitor);
    // the read that starts the thread, which would fetch two blocks
    for (std::uint64_t i = 0; i < 100; i += 20)
        EXPECT_EQ(read(i, 20), 20U);
    EXPECT_TRUE(monitor->offset() == 80 * 512 && monitor->transfers() == 5);
    const int before = begun;
    EXPECT_TRUE(monitor->cancel());
    char sector[512];
    EXPECT_EQ(device->read(100 * 512, sector, sizeof sector).status.fault, Fault::cancelled);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    device.reset();
    EXPECT_LE(begun, before + 1);
    // too late once something is written
    Monitor commit(Monitor::Cancelling::untilwritten);
    EXPECT_TRUE(commit.begintransfer(0, true, true));
    EXPECT_FALSE(commit.cancel() || commit.cancelled());
}

TEST_F(ReadAheadTest, NeverPastTheEnd)
{
    for (std::uint64_t i = 900; i < sectors; i += 20)
        EXPECT_EQ(read(i, 20), 20U);
    for (const auto &[first, count] : reads())
        EXPECT_LE(first + count, sectors);
    EXPECT_EQ(read(sectors, 1), 0U);
    // a disk of unknown size is read exactly as requested
    disk->partitionlength.reset();
    Status status;
    device = std::make_unique<ReadAhead>(backend.open("disk", Access::read, status), block);
    reads();
    for (std::uint64_t i = 0; i < 60; i += 20)
        EXPECT_EQ(read(i, 20), 20U);
    EXPECT_EQ(reads(), (Pairs{{0, 20}, {20, 20}, {40, 20}}));
}

TEST_F(ReadAheadTest, DamageCostsOneFailedTransferMore)
{
    disk->faults->unreadable.add(75);
    std::uint64_t at = 0;
    while (read(at, 10) == 10)
        at += 10;
    EXPECT_EQ(at, 70U);
    // the block at 64 failed and was discarded: exact reads from there on
    EXPECT_EQ(reads(), (Pairs{{0, 10}, {10, 22}, {32, 32}, {64, 32}, {60, 10}, {70, 10}}));
    // behind the damage, inside the failed block and beyond it
    for (at = 80; at < 120; at += 10)
        EXPECT_EQ(read(at, 10), 10U);
    EXPECT_EQ(reads(), (Pairs{{80, 10}, {90, 10}, {100, 28}}));

    // a short block is discarded
    disk->faults->shortreads[200] = 512;
    for (at = 192; at < 222; at += 10)
        EXPECT_EQ(read(at, 10), 10U);
    EXPECT_EQ(reads(), (Pairs{{192, 10}, {202, 22}, {202, 10}, {212, 10}}));

    // also if the thread fetches it
    disk->faults->shortreads[576] = 512;
    for (at = 512; at < 592; at += 10)
        EXPECT_EQ(read(at, 10), 10U);
    EXPECT_EQ(reads(), (Pairs{{512, 10}, {522, 22}, {544, 32}, {576, 32}, {572, 10}, {582, 10}}));

    // nothing is fetched after a failed read
    EXPECT_EQ(read(75, 1), 0U);
    EXPECT_EQ(read(75, 1), 0U);
    EXPECT_EQ(reads(), (Pairs{{75, 1}, {75, 1}}));

    // damage in a block that the thread fetches
    disk->faults->unreadable.add(480);
    for (at = 384; read(at, 10) == 10;)
        at += 10;
    EXPECT_EQ(at, 474U);
    EXPECT_EQ(reads(), (Pairs{{384, 10}, {394, 22}, {416, 32}, {448, 32}, {480, 32}, {474, 10}}));
    // a second pass does not fetch that block again
    for (at = 404; read(at, 10) == 10;)
        at += 10;
    EXPECT_EQ(reads(), (Pairs{{404, 10}, {414, 10}, {424, 24}, {448, 32}, {474, 10}}));
}

// Ranges of every length against the blocks: each has the time of its own slow sectors, and the
// disk still gets large reads.
TEST_F(ReadAheadTest, ASlowPlaceIsTimedInItsOwnRange)
{
    disk->faults->clock.emplace();
    for (std::uint64_t length = 21; length < 100; length += 1) {
        std::vector<std::uint64_t> ends;
        for (std::uint64_t end = length; end <= sectors; end += length)
            ends.push_back(end * 512);
        const std::size_t count = ends.size();
        // the last sector of one range, the first of another, the whole of a third
        disk->faults->slow = {{3 * length - 1, 3 * length - 1, std::chrono::milliseconds(40)},
                              {5 * length, 5 * length, std::chrono::milliseconds(60)},
                              {8 * length, 9 * length - 1, std::chrono::milliseconds(10)}};
        Status status;
        device = std::make_unique<ReadAhead>(backend.open("disk", Access::read, status), block);
        const auto times = std::make_shared<TransferTimes>(ends);
        device->timeby(times);
        reads();
        for (std::size_t i = 0; i < count; ++i) {
            for (std::uint64_t at = 0; at < length; at += 20)
                read(i * length + at, std::min<std::uint64_t>(20, length - at));
        }
        const Pairs made = reads();
        for (const auto &[first, sectorcount] : made)
            EXPECT_LE((first + sectorcount) * 512, times->endof(first * 512)) << length;
        EXPECT_LE(made.size(), 4 + count * ((length + 31) / 32)) << length;
        for (std::size_t i = 0; i < count; ++i) {
            const double slowest = times->range(i).slowest;
            EXPECT_DOUBLE_EQ(slowest, i == 2 ? 0.04 : i == 5 ? 0.06 : i == 8 ? 0.01 : 0) << length;
        }
        EXPECT_EQ(times->range(1).bytes, length * 512);
        // no more than is asked for: a handle that is not timed any more
        device->timeby(nullptr);
        read(2 * length, length);
        EXPECT_EQ(times->range(2).bytes, length * 512);
    }
}

// A slow disk that counts concurrent operations.
struct BusyDisk : Decorator {
    using Decorator::Decorator;
    static inline std::atomic<bool> busy = false;
    static inline std::atomic<int> clashes = 0;

    static void use(std::chrono::milliseconds time)
    {
        clashes += busy.exchange(true) ? 1 : 0;
        std::this_thread::sleep_for(time);
        busy = false;
    }
    ~BusyDisk() override { use({}); }
    Status request(const char *name, const std::function<Status()> &call) override
    {
        use({});
        return Decorator::request(name, call);
    }
    Transfer doread(std::uint64_t offset, void *buffer, std::size_t bytes) override
    {
        use(std::chrono::milliseconds(5));
        return Decorator::doread(offset, buffer, bytes);
    }
    Transfer dowrite(std::uint64_t offset, const void *buffer, std::size_t bytes) override
    {
        use({});
        return Decorator::dowrite(offset, buffer, bytes);
    }
};

TEST_F(ReadAheadTest, NeverUsesTheDiskConcurrently)
{
    Status status;
    bool answer = false;
    for (int i = 0; i < 4; ++i) {
        device = std::make_unique<ReadAhead>(
            std::make_unique<BusyDisk>(backend.open("disk", Access::readwrite, status)), block);
        for (std::uint64_t at = 0; at < 80; at += 20)
            EXPECT_EQ(read(at, 20), 20U);
        std::this_thread::sleep_for(
            std::chrono::milliseconds(2)); // the thread fetches the next block
        if (i == 0) {
            EXPECT_EQ(device->write(80 * 512, std::string(512, 'x').data(), 512).bytes, 512U);
        } else if (i == 1) {
            EXPECT_EQ(read(500, 1), 1U);
        } else if (i == 2) {
            EXPECT_TRUE(device->removable(answer).ok());
        }
        device.reset();
    }
    EXPECT_EQ(BusyDisk::clashes, 0);
}

// Every read has the same result as without the decorator.
TEST_F(ReadAheadTest, AnswersAsTheDiskItself)
{
    std::mt19937 random(7);
    const auto below = [&random](std::uint64_t n) { return random() % n; };
    for (int i = 0; i < 15; ++i)
        disk->faults->unreadable.add(below(sectors));
    std::uint64_t at = 0;
    for (int i = 0; i < 20000; ++i) {
        if (below(10) == 0 || at >= sectors - 40)
            at = below(sectors - 40);
        const std::uint64_t count = 1 + below(40);
        const bool fails = disk->faults->unreadable.lowest(at, at + count - 1).has_value();
        ASSERT_EQ(read(at, count), fails ? 0 : count);
        at += count;
    }
}

} // namespace
