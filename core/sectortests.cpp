#include "core/tlcore.h"

#include "platform/platform.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

using platform::Fault;
using platform::Status;

namespace
{

constexpr const char *noreadbuffer = "cannot allocate read buffer\n";
constexpr const char *nowritebuffer = "cannot allocate write buffer\n";
constexpr const char *nosectorbuffer = "unable to allocate memory!\n";

// A transfer that reported success without a whole sector, or with other bytes than were written.
constexpr Status wrongdata{Fault::medium, 0};

// Byte i of a buffer is i modulo 256; the ramp does not restart at sector boundaries.
void fillpattern(char *buffer, std::size_t bytes)
{
    for (std::size_t i = 0; i < bytes; ++i)
        buffer[i] = static_cast<char>(i % 256);
}

// The whole sectors that a transfer moved; a failed one moved none. A partial sector does not
// count, or a test could ask for the same sector without end.
unsigned long long sectorsmoved(const platform::Transfer &transfer, std::size_t bytespersector)
{
    return transfer.status.ok() ? transfer.bytes / bytespersector : 0;
}

// The status of a transfer that moved no whole sector. If the disk could not be positioned,
// `message` is printed to standard output.
Status failure(const platform::Transfer &transfer, const char *message)
{
    if (transfer.status.fault == Fault::position)
        std::fputs(message, stdout);
    return transfer.status.ok() ? wrongdata : transfer.status;
}

/// Moves sectors `first` to `last` in batches; `move` transfers so many bytes at an offset. After a
/// short transfer single sectors follow: until one moves whole, or (`stayssingle`) to the end.
template <typename Move>
Status testbatches(std::uint64_t first, std::uint64_t last, std::size_t sectorbytes,
                   bool stayssingle, const char *message, Move move)
{
    std::uint64_t position = first;
    std::uint64_t batch = batchsectors;
    while (position <= last) {
        batch = std::min(batch, last - position + 1);
        const platform::Transfer transfer = move(position * sectorbytes, batch * sectorbytes);
        const std::uint64_t moved = sectorsmoved(transfer, sectorbytes);
        if (moved == 0)
            return failure(transfer, message);
        position += moved;
        const bool full = moved == (stayssingle ? batchsectors : batch);
        batch = full ? batchsectors : 1;
    }
    return Status::success();
}

Status testreading(void *handle, std::uint64_t first, std::uint64_t last, int bytespersector)
{
    platform::Device &disk = platform::device(handle);
    return testbatches(
        first, last, static_cast<std::size_t>(bytespersector), false, "SetFilePointerEx error",
        [&disk](std::uint64_t offset, std::size_t bytes) { return disk.verify(offset, bytes); });
}

/// Has a disk gather writes while it lives. Without `finish` what was held back is discarded.
class GatheredWrites
{
public:
    explicit GatheredWrites(platform::Device &device) : disk(device)
    {
        static_cast<void>(disk.gatherwrites(platform::Gathering::begin));
    }
    GatheredWrites(const GatheredWrites &) = delete;
    GatheredWrites &operator=(const GatheredWrites &) = delete;
    ~GatheredWrites() { static_cast<void>(disk.gatherwrites(platform::Gathering::drop)); }
    Status finish() { return disk.gatherwrites(platform::Gathering::finish); }

private:
    platform::Device &disk;
};

/// Makes the drive write its cache to the medium, so that data which it then fails to write is
/// found. A drive without a flush command is tested without.
Status flushed(platform::Device &disk)
{
    const Status status = disk.flush();
    return status.fault == Fault::medium || status.fault == Fault::gone ? status
                                                                        : Status::success();
}

Status testwriting(void *handle, std::uint64_t first, std::uint64_t last, int bytespersector)
{
    platform::Device &disk = platform::device(handle);
    const auto sectorbytes = static_cast<std::size_t>(bytespersector);
    // made once a thread, and larger only for a disk with longer sectors
    thread_local std::unique_ptr<char[]> out;
    thread_local std::unique_ptr<char[]> in;
    thread_local std::size_t length = 0;
    if (length < batchsectors * sectorbytes) {
        length = batchsectors * sectorbytes;
        out = sectorbuffer(length, nowritebuffer);
        in = sectorbuffer(length, noreadbuffer);
        fillpattern(out.get(), length);
    }
    GatheredWrites gathered(disk);
    Status status = testbatches(first, last, sectorbytes, true, "SetFilePointerEx to write error",
                                [&](std::uint64_t offset, std::size_t bytes) {
                                    return disk.write(offset, out.get(), bytes);
                                });
    if (status.ok())
        status = gathered.finish();
    if (status.ok())
        status = flushed(disk);
    if (!status.ok())
        return status;
    std::memset(in.get(), 0, length);
    return testbatches(first, last, sectorbytes, true, "SetFilePointerEx to read error",
                       [&](std::uint64_t offset, std::size_t bytes) {
                           platform::Transfer read = disk.read(offset, in.get(), bytes);
                           // The whole batch is compared also after a short read: the rest of the
                           // buffer is that of the batch before, which held the same pattern.
                           if (sectorsmoved(read, sectorbytes) > 0 &&
                               std::memcmp(out.get(), in.get(), bytes) != 0)
                               read.status = wrongdata;
                           return read;
                       });
}

platform::Transfer testsector(void *handle, unsigned long long sector, int bytespersector)
{
    const auto sectorbytes = static_cast<std::size_t>(bytespersector);
    const auto buffer = sectorbuffer(sectorbytes, nosectorbuffer);
    return platform::device(handle).read(sector * sectorbytes, buffer.get(), sectorbytes);
}

Status testroughly(void *handle, const std::vector<SEG> &list, int bytespersector)
{
    platform::Device &disk = platform::device(handle);
    const auto sectorbytes = static_cast<std::size_t>(bytespersector);
    const auto buffer = sectorbuffer(sectorbytes, noreadbuffer);
    for (const SEG &seg : list) {
        // a bad segment may read or fail, so it tells nothing about a change
        if (seg.isbad != 0)
            continue;
        const std::uint64_t offset = seg.firstsector(g.sectorspercyl) * sectorbytes;
        const platform::Transfer transfer = disk.read(offset, buffer.get(), sectorbytes);
        if (!transfer.status.ok() || transfer.bytes == 0)
            return failure(transfer, "SetFilePointerEx error");
    }
    return Status::success();
}

} // namespace

Reading readingof(void *handle, const Status &status)
{
    if (status.ok())
        return Reading::good;
    if (status.fault == Fault::cancelled)
        return Reading::cancelled;
    if (!diskpresent(handle))
        return Reading::gone;
    switch (status.fault) {
    case Fault::busy:
    case Fault::denied:
    case Fault::unsupported:
    case Fault::badargument:
        return Reading::refused;
    default:
        return Reading::bad;
    }
}

Reading readrange(void *handle, std::uint64_t first, std::uint64_t last, int bytespersector)
{
    return readingof(handle, testreading(handle, first, last, bytespersector));
}

Reading writerange(void *handle, std::uint64_t first, std::uint64_t last, int bytespersector)
{
    return readingof(handle, testwriting(handle, first, last, bytespersector));
}

Reading readsector(void *handle, std::uint64_t sector, int bytespersector)
{
    const platform::Transfer transfer = testsector(handle, sector, bytespersector);
    // nothing is read behind the end: whoever asked for that is wrong, not the medium
    if (transfer.status.ok() && transfer.bytes < static_cast<std::size_t>(bytespersector))
        return Reading::refused;
    return readingof(handle, transfer.status);
}

Reading roughcheck(void *handle, const std::vector<SEG> &list, int bytespersector)
{
    return readingof(handle, testroughly(handle, list, bytespersector));
}

RangeTest rangetest(TestFunction test)
{
    return test == write_test ? writerange : readrange;
}

int read_test(void *handle, unsigned long long first, unsigned long long last, int bytespersector)
{
    return testreading(handle, first, last, bytespersector).ok() ? 0 : 1;
}

int write_test(void *handle, unsigned long long first, unsigned long long last, int bytespersector)
{
    return testwriting(handle, first, last, bytespersector).ok() ? 0 : 1;
}

int readtestonesector(void *handle, unsigned long long sector, int bytespersector)
{
    return testsector(handle, sector, bytespersector).status.ok() ? 0 : 1;
}

int writeandreadtestonesector(void *handle, unsigned long long sector, int bytespersector)
{
    platform::Device &disk = platform::device(handle);
    const auto sectorbytes = static_cast<std::size_t>(bytespersector);
    const std::uint64_t offset = sector * sectorbytes;
    const auto out = sectorbuffer(sectorbytes, nosectorbuffer);
    fillpattern(out.get(), sectorbytes);
    Status written = disk.write(offset, out.get(), sectorbytes).status;
    if (written.ok())
        written = flushed(disk);
    if (!written.ok())
        return written.fault == Fault::position ? 1 : 2;
    const auto in = sectorbuffer(sectorbytes, nosectorbuffer);
    const Status read = disk.read(offset, in.get(), sectorbytes).status;
    if (!read.ok())
        return read.fault == Fault::position ? 1 : 3;
    return std::memcmp(out.get(), in.get(), sectorbytes) == 0 ? 0 : 4;
}

int findfirsttwogoodsectors(void *handle, int bytespersector, unsigned long long limit,
                            unsigned long long &first, unsigned long long &second)
{
    bool havefirst = false;
    for (unsigned long long sector = 0; sector < limit; ++sector) {
        if (readtestonesector(handle, sector, bytespersector) != 0 ||
            writeandreadtestonesector(handle, sector, bytespersector) != 0)
            continue;
        if (havefirst) {
            second = sector;
            return 0;
        }
        first = sector;
        havefirst = true;
    }
    return 0;
}

int rough_test(void *handle, std::vector<SEG> &list, int bytespersector)
{
    const Status status = testroughly(handle, list, bytespersector);
    // a disk that can't be positioned answers nothing that could be trusted
    if (status.fault == Fault::position)
        std::exit(1);
    return status.ok() ? 0 : 1;
}
