// Catches a read-ahead that delivers other bytes or results than the disk would, asks the disk for
// more than it may, or uses it from two threads at once; and gathered writes that reach the disk in
// another order, with gaps closed, or counted as made when they failed.
#include "platform/readahead.h"
#include "platform/timing.h"
#include "platform/writegather.h"

#include "tests/support/recording.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>
#include <sstream>
#include <thread>

using namespace platform;
using namespace std::chrono_literals;

namespace
{

constexpr std::size_t block = 16384;
constexpr std::uint64_t sectors = 1000;

// A recorded disk of 1000 sectors, each with a number in its first bytes, behind a read-ahead and a
// gathering of writes with blocks of 32 sectors.
class LargeBlocks : public ::testing::Test
{
protected:
    LargeBlocks()
    {
        for (std::uint64_t i = 0; i < sectors; ++i)
            disk->store->save(i * 512, &numbers.emplace_back(i), sizeof i);
        disk->sectorsize = 512;
        backend.disks = {disk};
        open();
    }
    void open()
    {
        Status status;
        auto inner =
            std::make_unique<ReadAhead>(backend.open("disk", Access::readwrite, status), block);
        ahead = inner.get();
        device = std::make_unique<WriteGather>(std::move(inner), block);
    }

    // A transfer of so many sectors, whole or not at all. What is read must be what was written.
    Fault transfer(bool writes, std::uint64_t first, std::uint64_t count)
    {
        std::vector<char> bytes(count * 512);
        for (std::uint64_t i = 0; writes && i < count; ++i) {
            numbers[first + i] += sectors;
            std::memcpy(&bytes[i * 512], &numbers[first + i], sizeof numbers[0]);
        }
        const Transfer moved = writes ? device->write(first * 512, bytes.data(), bytes.size())
                                      : device->read(first * 512, bytes.data(), bytes.size());
        if (!moved.status.ok())
            return moved.status.fault;
        EXPECT_EQ(moved.bytes, bytes.size());
        for (std::uint64_t i = 0; i < count; ++i)
            EXPECT_EQ(std::memcmp(&bytes[i * 512], &numbers[first + i], sizeof numbers[0]), 0) << i;
        return Fault::none;
    }

    // Makes the operations of a script: "r0+20*3 w60+5" reads 20 sectors three times from 0 on and
    // writes 5, "flush", "verify", "ask", "begin", "end" and "drop" (a gathering). One that must
    // fail ends in
    // "!". Returns the last one's fault.
    Fault run(const std::string &script)
    {
        Fault fault = Fault::none;
        std::istringstream words(script);
        for (std::string word; words >> word;) {
            unsigned first = 0, count = 0, times = 1;
            std::sscanf(word.c_str(), "%*c%u+%u*%u", &first, &count, &times);
            bool answer = false;
            for (; times > 0; --times, first += count) {
                fault = count > 0        ? transfer(word[0] == 'w', first, count)
                        : word[0] == 'f' ? device->flush().fault
                        : word[0] == 'v' ? device->verify(0, 512).status.fault
                        : word[0] == 'a' ? device->removable(answer).fault
                        : word[0] == 'b' ? device->gatherwrites(Gathering::begin).fault
                        : word[0] == 'e' ? device->gatherwrites(Gathering::finish).fault
                                         : device->gatherwrites(Gathering::drop).fault;
                EXPECT_EQ(fault != Fault::none, word.back() == '!') << word << first;
            }
        }
        return fault;
    }

    // The operations of the disk so far; a request waits until the thread is idle.
    const std::vector<Operation> &operations()
    {
        bool answer = false;
        EXPECT_TRUE(ahead->removable(answer).ok());
        return disk->recording->operations;
    }
    // The operations that reach the disk during a script.
    std::string after(const std::string &script)
    {
        run(script);
        operations();
        return disk->recording->course();
    }

    SimulatedBackend backend;
    std::shared_ptr<RecordedDisk> disk = recordeddisk("disk", sectors * 512);
    std::vector<std::uint64_t> numbers;
    std::unique_ptr<Device> device;
    ReadAhead *ahead = nullptr;
};

using Rows = std::vector<std::pair<const char *, const char *>>;

TEST_F(LargeBlocks, AreFetchedWhileReadsRunOn)
{
    // exact reads up to the first block that is longer than the request, then whole blocks; once
    // a block was delivered, two more behind the present one
    const Rows rows = {{"r0+20*5", "r0+20 r20+20 r40+24 r64+32 r96+32 r128+32 r160+32"},
                       {"r100+20", ""},
                       // elsewhere, and back: fetched blocks are not used again
                       {"r500+1 r120+5 r120+5", "r500+1 r120+5 r120+5"},
                       {"r212+12 r224+32*2", "r212+12 r224+32 r256+32"}};
    for (const auto &[script, course] : rows)
        EXPECT_EQ(after(script), course);
    // a disk of unknown size is read exactly as requested
    disk->partitionlength.reset();
    open();
    EXPECT_EQ(after("r0+20*3"), "r0+20 r20+20 r40+20");
}

TEST_F(LargeBlocks, DamageCostsOneFailedTransferMore)
{
    disk->faults->unreadable.add(75);
    disk->faults->unreadable.add(480);
    disk->faults->shortreads = {{200, 512}, {576, 512}};
    const Rows rows = {
        // the block at 64 failed and was discarded: exact reads from there on
        {"r0+10*7 r70+10!", "r0+10 r10+22 r32+32 r64+32 r60+10 r70+10"},
        // behind the damage, inside the failed block and beyond it
        {"r80+10*4", "r80+10 r90+10 r100+28"},
        // a short block is discarded, also if the thread fetches it
        {"r192+10*3", "r192+10 r202+22 r202+10 r212+10"},
        {"r512+10*8", "r512+10 r522+22 r544+32 r576+32 r572+10 r582+10"},
        // nothing is fetched after a failed read
        {"r75+1! r75+1!", "r75+1 r75+1"},
        // damage in a block that the thread fetches; a second pass does not fetch it again
        {"r384+10*9 r474+10!", "r384+10 r394+22 r416+32 r448+32 r480+32 r474+10"},
        {"r404+10*7 r474+10!", "r404+10 r414+10 r424+24 r448+32 r474+10"},
        // a write may have mended it
        {"w300+1 r404+10*7 r474+10!", "w300+1 r404+10 r414+10 r424+24 r448+32 r480+32 r474+10"}};
    for (const auto &[script, course] : rows)
        EXPECT_EQ(after(script), course);
}

TEST_F(LargeBlocks, AreWrittenInOrderBeforeAnythingElse)
{
    const Rows rows = {{"begin w10+20*4", "w10+22 w32+32"}, // 26 sectors are held back
                       {"r80+1", "w64+26 r80+1"},
                       // elsewhere, and over what was written before: never out of order
                       {"w200+5 w300+5 w300+5 flush", "w200+5 w300+5 w300+5 flush"},
                       {"w384+20 end w404+20", "w384+20 w404+20"},
                       {"begin w512+20 drop ask", ""}};
    for (const auto &[script, course] : rows)
        EXPECT_EQ(after(script), course);
}

TEST_F(LargeBlocks, AFailedWriteIsReportedAndEndsTheGathering)
{
    disk->faults->unwritable.add(45);
    // the block again in pieces up to the failure; at once from now on
    EXPECT_EQ(after("begin w0+20*3 w60+20!"), "w0+32 w32+32 w32+20");
    EXPECT_EQ(after("w80+20"), "w80+20");

    const std::pair<std::uint64_t, const char *> rows[] = {
        {18 * 512, "w96+32 w114+14"},       // bytes that the short write moves
        {18 * 512 + 100, "w96+32 w114+14"}, // a part of a sector is none
        {0, "w96+32 w96+20 w116+12"}};
    for (const auto &[bytes, course] : rows) {
        disk->faults->shortwrites[96] = bytes;
        EXPECT_EQ(after("begin w96+20 w116+12"), course);
        EXPECT_EQ(after("end r96+32"), "r96+32");
    }
    // a short piece is followed by single sectors
    disk->faults->shortwrites = {{110, 1024}, {120, 0}};
    EXPECT_EQ(after("begin w120+4 w124+4"),
              "w120+8 w120+4 w122+1 w123+1 w124+1 w125+1 w126+1 w127+1");
    // a refusal is not tried again, and fails whatever comes next
    disk->faults->unreachable.add(224);
    for (const char *next : {"flush!", "r0+1!", "verify!", "end!"}) {
        run("begin w224+20 w244+5");
        EXPECT_EQ(run(next), Fault::position);
        EXPECT_EQ(after(""), "w224+25");
    }
}

// Ranges of every length against the blocks: each has the time of its own slow sectors, and the
// disk still gets large reads.
TEST_F(LargeBlocks, ASlowPlaceIsTimedInItsOwnRange)
{
    disk->faults->clock.emplace();
    for (std::uint64_t length = 21; length < 100; ++length) {
        SCOPED_TRACE(length);
        std::vector<std::uint64_t> ends;
        for (std::uint64_t end = length; end <= sectors; end += length)
            ends.push_back(end * 512);
        // the last sector of one range, the first of another, the whole of a third
        disk->faults->slow = {{3 * length - 1, 3 * length - 1, 40ms},
                              {5 * length, 5 * length, 60ms},
                              {8 * length, 9 * length - 1, 10ms}};
        open();
        const auto times = std::make_shared<TransferTimes>(ends);
        device->timeby(times);
        after("");
        for (std::uint64_t at = 0; at < ends.size() * length;) {
            const std::uint64_t count = std::min<std::uint64_t>(20, length - at % length);
            transfer(false, at, count);
            at += count;
        }
        for (const Operation &one : operations())
            EXPECT_LE(one.offset + one.bytes, times->endof(one.offset));
        const std::size_t made = disk->recording->count(Operation::Kind::read);
        EXPECT_LE(made, 4 + ends.size() * ((length + 31) / 32));
        const std::map<std::size_t, double> slow = {{2, 0.04}, {5, 0.06}, {8, 0.01}};
        for (std::size_t i = 0; i < ends.size(); ++i)
            EXPECT_DOUBLE_EQ(times->range(i).slowest, slow.contains(i) ? slow.at(i) : 0);
        EXPECT_EQ(times->range(1).bytes, length * 512);
        // what was fetched before has no times
        device->timeby(nullptr);
        run("r0+20*5");
        device->timeby(times);
        run("r100+20");
        EXPECT_EQ(times->goodreads(), made) << "all but the first read of a handle";
        times->add(length * 512 - 512, 1024, 1024, 7);
        EXPECT_DOUBLE_EQ(times->range(1).slowest, 7) << "a read over two ranges counts in both";
    }
}

TEST_F(LargeBlocks, ACancelEndsTheThreadsReadsToo)
{
    disk->faults->delay = 50ms;
    const auto monitor = std::make_shared<Monitor>(Monitor::Cancelling::untilwritten);
    device->watchby(monitor);
    run("r0+20*5"); // the last one starts the thread, which would fetch two blocks
    EXPECT_EQ(monitor->offset(), 80U * 512);
    EXPECT_EQ(monitor->transfers(), 5U);
    EXPECT_TRUE(monitor->cancel());
    const int begun = disk->recording->begun;
    EXPECT_EQ(run("r100+1!"), Fault::cancelled);
    std::this_thread::sleep_for(200ms);
    device.reset();
    EXPECT_EQ(disk->recording->begun, begun + 1) << "only the close";
    // too late once something is written
    Monitor commit(Monitor::Cancelling::untilwritten);
    EXPECT_TRUE(commit.begintransfer(0, true, true));
    EXPECT_FALSE(commit.cancel());
    EXPECT_FALSE(commit.cancelled());
}

TEST_F(LargeBlocks, NeverUseTheDiskConcurrently)
{
    disk->faults->delay = 5ms;
    for (const char *other : {"w80+1", "r500+1", "ask", ""}) {
        open();
        run("r0+20*4");
        std::this_thread::sleep_for(2ms); // the thread fetches the next block
        run(other);
        device.reset();
    }
    EXPECT_EQ(disk->recording->clashes, 0);
}

// Reads at random, many of them running on, among damage and writes, gathered or not, up to the end
// and never past it.
TEST_F(LargeBlocks, AnswerAsTheDiskItself)
{
    std::mt19937 random(7);
    const auto below = [&random](std::uint64_t n) { return random() % n; };
    for (int i = 0; i < 15; ++i)
        disk->faults->unreadable.add(below(sectors));
    std::uint64_t at = 0;
    for (int i = 0; i < 20000; ++i) {
        if (below(10) == 0 || at >= sectors)
            at = below(sectors);
        if (i == 10000)
            run("begin");
        if (below(20) == 0) {
            ASSERT_EQ(transfer(true, std::min(at + below(40), sectors - 1), 1), Fault::none);
        }
        const std::uint64_t count = std::min(1 + below(40), sectors - at);
        const bool fails = disk->faults->unreadable.lowest(at, at + count - 1).has_value();
        ASSERT_EQ(transfer(false, at, count), fails ? Fault::medium : Fault::none);
        at += count;
    }
    for (const Operation &one : operations())
        EXPECT_LE(one.offset + one.bytes, sectors * 512);
}

} // namespace
