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

Status testreading(void *handle, unsigned long long first, unsigned long long last,
                   int bytespersector)
{
    platform::Device &disk = platform::device(handle);
    const auto sectorbytes = static_cast<std::size_t>(bytespersector);
    const auto buffer = sectorbuffer(batchsectors * sectorbytes, noreadbuffer);
    unsigned long long position = first;
    unsigned long long batch = batchsectors;
    while (position <= last) {
        batch = std::min(batch, last - position + 1);
        const platform::Transfer read =
            disk.read(position * sectorbytes, buffer.get(), batch * sectorbytes);
        const unsigned long long moved = sectorsmoved(read, sectorbytes);
        if (moved == 0)
            return failure(read, "SetFilePointerEx error");
        position += moved;
        batch = moved == batch ? batchsectors : 1;
    }
    return Status::success();
}

Status testwriting(void *handle, unsigned long long first, unsigned long long last,
                   int bytespersector)
{
    platform::Device &disk = platform::device(handle);
    const auto sectorbytes = static_cast<std::size_t>(bytespersector);
    const auto out = sectorbuffer(batchsectors * sectorbytes, nowritebuffer);
    const auto in = sectorbuffer(batchsectors * sectorbytes, noreadbuffer);
    fillpattern(out.get(), batchsectors * sectorbytes);
    unsigned long long position = first;
    unsigned long long batch = batchsectors;
    while (position <= last) {
        batch = std::min(batch, last - position + 1);
        const std::size_t bytes = batch * sectorbytes;
        const platform::Transfer write = disk.write(position * sectorbytes, out.get(), bytes);
        const unsigned long long written = sectorsmoved(write, sectorbytes);
        if (written == 0)
            return failure(write, "SetFilePointerEx to write error");
        // Transfers bypass the system's caches, but not the drive's own. A flush before each
        // read-back costs at least one turn of the disk for 20 sectors: measured on a loop device,
        // a batch took ten times as long, and a flush for every 200 batches still doubled the time.
        // So there is one flush a range, before its last read-back. A range thus never passes while
        // part of it is only in the drive's cache, and data that the drive then fails to write
        // fails the range that it belongs to. A drive without a flush command is tested without.
        if (position + batch > last) {
            const Status flushed = disk.flush();
            if (flushed.fault == Fault::medium || flushed.fault == Fault::gone)
                return flushed;
        }
        const platform::Transfer back = disk.read(position * sectorbytes, in.get(), bytes);
        const unsigned long long read = sectorsmoved(back, sectorbytes);
        if (read == 0)
            return failure(back, "SetFilePointerEx to read error");
        // The whole batch is compared also after a short read: the rest of the buffer is that of
        // the batch before, which held the same pattern.
        if (std::memcmp(out.get(), in.get(), bytes) != 0)
            return wrongdata;
        const unsigned long long moved = std::min(written, read);
        position += moved;
        batch = moved == batchsectors ? batchsectors : 1;
    }
    return Status::success();
}

Status testsector(void *handle, unsigned long long sector, int bytespersector)
{
    const auto sectorbytes = static_cast<std::size_t>(bytespersector);
    const auto buffer = sectorbuffer(sectorbytes, nosectorbuffer);
    return platform::device(handle).read(sector * sectorbytes, buffer.get(), sectorbytes).status;
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
    return readingof(handle, testsector(handle, sector, bytespersector));
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
    return testsector(handle, sector, bytespersector).ok() ? 0 : 1;
}

int writeandreadtestonesector(void *handle, unsigned long long sector, int bytespersector)
{
    platform::Device &disk = platform::device(handle);
    const auto sectorbytes = static_cast<std::size_t>(bytespersector);
    const std::uint64_t offset = sector * sectorbytes;
    const auto out = sectorbuffer(sectorbytes, nosectorbuffer);
    fillpattern(out.get(), sectorbytes);
    const Status written = disk.write(offset, out.get(), sectorbytes).status;
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
