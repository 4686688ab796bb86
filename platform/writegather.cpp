#include "platform/writegather.h"

#include "platform/readahead.h"
#include "platform/timing.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace platform
{

WriteGather::WriteGather(std::unique_ptr<Device> decorated, std::size_t length)
    : Decorator(std::move(decorated)), length(length)
{
}

Status WriteGather::writeblock()
{
    std::size_t written = 0;
    std::size_t most = held;
    while (written < held) {
        const std::size_t bytes = std::min(most, held - written);
        const Transfer transfer = inner->write(start + written, buffer.get() + written, bytes);
        const Status status = transfer.status;
        // a partial sector counts as not written
        const std::size_t moved = transfer.bytes / bytespersector * bytespersector;
        if (status.ok() && moved == bytes) {
            written += moved;
            continue;
        }
        const bool whole = bytes == held && held > piece;
        const bool medium = status.ok() || status.fault == Fault::medium;
        if (!medium || (!whole && (!status.ok() || moved == 0))) {
            gathering = false;
            held = 0;
            return status.ok() ? Status{Fault::medium, 0} : status;
        }
        if (status.ok())
            written += moved;
        most = whole ? piece : bytespersector;
    }
    held = 0;
    return Status::success();
}

Status WriteGather::request(const char *, const std::function<Status()> &call)
{
    const Status status = writeblock();
    return status.ok() ? call() : status;
}

Transfer WriteGather::doread(std::uint64_t offset, void *target, std::size_t bytes)
{
    const Status status = writeblock();
    return status.ok() ? inner->read(offset, target, bytes) : Transfer{status, 0};
}

Transfer WriteGather::doverify(std::uint64_t offset, std::size_t bytes)
{
    const Status status = writeblock();
    return status.ok() ? inner->verify(offset, bytes) : Transfer{status, 0};
}

Transfer WriteGather::dowrite(std::uint64_t offset, const void *source, std::size_t bytes)
{
    Status status = Status::success();
    if (held > 0 && offset != start + held)
        status = writeblock();
    if (status.ok() && !gathering)
        return inner->write(offset, source, bytes);
    for (std::size_t taken = 0; status.ok() && taken < bytes;) {
        if (held == 0) {
            start = offset + taken;
            piece = bytes;
        }
        const std::size_t room = length - static_cast<std::size_t>((start + held) % length);
        const std::size_t count = std::min(room, bytes - taken);
        std::memcpy(buffer.get() + held, static_cast<const char *>(source) + taken, count);
        held += count;
        taken += count;
        if (count == room)
            status = writeblock();
    }
    return {status, status.ok() ? bytes : 0};
}

Status WriteGather::dogatherwrites(Gathering step)
{
    const Status status = step == Gathering::finish ? writeblock() : Status::success();
    held = 0;
    gathering = false;
    if (step != Gathering::begin)
        return status;
    if (!buffer) {
        buffer = largebuffer(length);
        if (!inner->sectorsize(bytespersector).ok())
            bytespersector = 0;
    }
    gathering = buffer && bytespersector > 0;
    return status;
}

std::unique_ptr<Device> inlargeblocks(std::unique_ptr<Device> device)
{
    return std::make_unique<WriteGather>(
        std::make_unique<ReadAhead>(std::make_unique<Timing>(std::move(device))));
}

} // namespace platform
