#include "core/tlcore.h"

#include "core/memory.h"
#include "platform/platform.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

static constexpr const char *noreadbuffer = "cannot allocate read buffer\n";
static constexpr const char *nowritebuffer = "cannot allocate write buffer\n";
static constexpr const char *nomemory = "unable to allocate memory!\n";

// Byte i of a buffer is i modulo 256; the ramp does not restart at sector boundaries.
static void fillpattern(char *buffer, std::size_t bytes)
{
    for (std::size_t i = 0; i < bytes; i++)
        buffer[i] = static_cast<char>(i % 256);
}

// The whole sectors that a transfer moved; a failed one moved nothing. What came of a sector that
// did not come whole is nothing as well, so that no test stays in one place for ever.
static unsigned long long sectorsmoved(const platform::Transfer &transfer,
                                       std::size_t bytespersector)
{
    return transfer.status.ok() ? transfer.bytes / bytespersector : 0;
}

// Prints `message` to standard output if a transfer failed because the disk could not be
// positioned. The transfer's result decides all the same.
static platform::Transfer reported(const platform::Transfer &transfer, const char *message)
{
    if (transfer.status.fault == platform::Fault::position)
        std::fputs(message, stdout);
    return transfer;
}

// Whether a flush failed for what it had to write, and not for being a flush.
static bool isfatal(const platform::Status &flushed)
{
    return flushed.fault == platform::Fault::medium || flushed.fault == platform::Fault::gone;
}

int read_test(void *handle, unsigned long long first, unsigned long long last, int bytespersector)
{
    platform::Device &disk = platform::device(handle);
    const auto sectorbytes = static_cast<std::size_t>(bytespersector);
    const auto buffer = sectorbuffer(batchsectors * sectorbytes, noreadbuffer);
    unsigned long long position = first;
    unsigned long long batch = batchsectors;
    while (position <= last) {
        batch = std::min(batch, last - position + 1);
        const unsigned long long moved = sectorsmoved(
            reported(disk.read(position * sectorbytes, buffer.get(), batch * sectorbytes),
                     "SetFilePointerEx error"),
            sectorbytes);
        if (moved == 0)
            return 1;
        position += moved;
        batch = moved == batch ? batchsectors : 1;
    }
    return 0;
}

int write_test(void *handle, unsigned long long first, unsigned long long last, int bytespersector)
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
        const unsigned long long written =
            sectorsmoved(reported(disk.write(position * sectorbytes, out.get(), bytes),
                                  "SetFilePointerEx to write error"),
                         sectorbytes);
        if (written == 0)
            return 1;
        // Transfers pass the system's caches by, but not the drive's own. A flush before each
        // read-back costs a turn of the disk or more for every 20 sectors: on a loop device it made
        // a batch ten times as long, and still nearly twice with one flush for 200 batches. So the
        // drive is asked once a range, before the last read-back. A range thus never passes while
        // part of it stands in the drive's cache alone, and what the drive then can't put on the
        // medium fails the range that it belongs to. A drive that knows no flush is taken as it is.
        if (position + batch > last && isfatal(disk.flush()))
            return 1;
        const unsigned long long read =
            sectorsmoved(reported(disk.read(position * sectorbytes, in.get(), bytes),
                                  "SetFilePointerEx to read error"),
                         sectorbytes);
        if (read == 0)
            return 1;
        // all of the batch, whatever came: stale bytes of the last one count only where they agree
        if (std::memcmp(out.get(), in.get(), bytes) != 0)
            return 1;
        const unsigned long long moved = std::min(written, read);
        position += moved;
        batch = moved == batchsectors ? batchsectors : 1;
    }
    return 0;
}

int readtestonesector(void *handle, unsigned long long sector, int bytespersector)
{
    platform::Device &disk = platform::device(handle);
    const auto sectorbytes = static_cast<std::size_t>(bytespersector);
    const auto buffer = sectorbuffer(sectorbytes, nomemory);
    return disk.read(sector * sectorbytes, buffer.get(), sectorbytes).status.ok() ? 0 : 1;
}

int writeandreadtestonesector(void *handle, unsigned long long sector, int bytespersector)
{
    platform::Device &disk = platform::device(handle);
    const auto sectorbytes = static_cast<std::size_t>(bytespersector);
    const std::uint64_t offset = sector * sectorbytes;
    const auto out = sectorbuffer(sectorbytes, nomemory);
    fillpattern(out.get(), sectorbytes);
    const platform::Status written = disk.write(offset, out.get(), sectorbytes).status;
    if (!written.ok())
        return written.fault == platform::Fault::position ? 1 : 2;
    const auto in = sectorbuffer(sectorbytes, nomemory);
    const platform::Status read = disk.read(offset, in.get(), sectorbytes).status;
    if (!read.ok())
        return read.fault == platform::Fault::position ? 1 : 3;
    return std::memcmp(out.get(), in.get(), sectorbytes) == 0 ? 0 : 4;
}

int findfirsttwogoodsectors(void *handle, int bytespersector, unsigned long long limit,
                            unsigned long long &first, unsigned long long &second)
{
    bool havefirst = false;
    for (unsigned long long sector = 0; sector < limit; sector++) {
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
    platform::Device &disk = platform::device(handle);
    const auto sectorbytes = static_cast<std::size_t>(bytespersector);
    const auto buffer = sectorbuffer(sectorbytes, noreadbuffer);
    for (const SEG &seg : list) {
        // a known bad stretch may fail or not, which says nothing of a change
        if (seg.isbad != 0)
            continue;
        const platform::Transfer transfer = reported(
            disk.read(seg.firstsector(g.sectorspercyl) * sectorbytes, buffer.get(), sectorbytes),
            "SetFilePointerEx error");
        // a disk that can't be positioned ends the program: nothing that it answers can be trusted
        if (transfer.status.fault == platform::Fault::position)
            std::exit(1);
        if (!transfer.status.ok() || transfer.bytes == 0)
            return 1;
    }
    return 0;
}
