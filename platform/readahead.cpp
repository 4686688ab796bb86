#include "platform/readahead.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <system_error>

namespace platform
{

// Enough for direct transfers from and to every device.
static constexpr std::align_val_t alignment{4096};

void ReadAhead::Freed::operator()(char *memory) const
{
    ::operator delete(memory, alignment);
}

ReadAhead::ReadAhead(std::unique_ptr<Device> inner, std::size_t piece)
    : Decorator(std::move(inner)), piece(piece)
{
}

ReadAhead::~ReadAhead() = default;

Status ReadAhead::ask(const char *, const std::function<Status()> &request)
{
    if (next.valid())
        next.wait();
    return request();
}

Status ReadAhead::doseek(std::uint64_t offset)
{
    // The device is positioned when it is used; what it says of this place then counts.
    position = offset;
    return {};
}

Transfer ReadAhead::exact(std::uint64_t offset, void *target, std::size_t bytes)
{
    const Status sought = inner->seek(offset);
    if (!sought.ok())
        return {sought, 0};
    return inner->read(target, bytes);
}

void ReadAhead::drop()
{
    filled = 0;
    if (next.valid())
        next.get();
}

std::uint64_t ReadAhead::pieceend(std::uint64_t offset) const
{
    return std::min((offset / piece + 1) * piece, devicebytes);
}

bool ReadAhead::isavoided(std::uint64_t offset) const
{
    return offset >= avoidfrom && offset < avoid;
}

bool ReadAhead::fetch(std::uint64_t offset, std::size_t bytes)
{
    if (!buffer) {
        // asked once; a device that does not tell its size is read as it is asked for
        if (!inner->partitionlength(devicebytes).ok())
            devicebytes = 0;
        buffer.reset(static_cast<char *>(::operator new(2 * piece, alignment, std::nothrow)));
    }
    const bool usedup = filled > 0;
    const std::uint64_t end = pieceend(offset);
    if (!buffer || isavoided(offset) || end <= offset || end - offset <= bytes) {
        drop();
        return false;
    }
    const auto wanted = static_cast<std::size_t>(end - offset);
    const std::size_t other = piece - present;
    // what is on its way is always the piece behind the present one, and so the one wanted
    const Transfer transfer =
        next.valid() ? next.get() : exact(offset, buffer.get() + other, wanted);
    filled = 0;
    if (!transfer.status.ok() || transfer.bytes != wanted) {
        avoidfrom = offset;
        avoid = end;
        return false;
    }
    present = other;
    fetched = offset;
    filled = wanted;
    if (usedup)
        fetchnext();
    return true;
}

void ReadAhead::fetchnext()
{
    const std::uint64_t from = fetched + filled;
    const std::uint64_t end = pieceend(from);
    if (end <= from || isavoided(from))
        return;
    char *const other = buffer.get() + (piece - present);
    try {
        next = std::async(std::launch::async, &ReadAhead::exact, this, from, other,
                          static_cast<std::size_t>(end - from));
    } catch (const std::system_error &) {
        // no thread to be had: the piece is fetched when its turn has come
    }
}

Transfer ReadAhead::doread(void *target, std::size_t bytes)
{
    if (!running || position != expected)
        drop();
    auto *out = static_cast<char *>(target);
    std::size_t have = 0;
    if (position >= fetched && position < fetched + filled) {
        have =
            static_cast<std::size_t>(std::min<std::uint64_t>(bytes, fetched + filled - position));
        std::memcpy(out, buffer.get() + present + (position - fetched), have);
    }
    Transfer transfer{{}, bytes};
    if (have < bytes) {
        // the rest comes out of the next piece, or all of it exactly as it was asked for
        const bool runson = running && position == expected;
        if (runson && fetch(position + have, bytes - have))
            std::memcpy(out + have, buffer.get() + present, bytes - have);
        else
            transfer = exact(position, target, bytes);
    }
    position += transfer.bytes;
    expected = position;
    running = transfer.status.ok() && transfer.bytes == bytes;
    return transfer;
}

Transfer ReadAhead::dowrite(const void *source, std::size_t bytes)
{
    drop();
    running = false;
    avoidfrom = avoid = 0;
    const Status sought = inner->seek(position);
    if (!sought.ok())
        return {sought, 0};
    const Transfer transfer = inner->write(source, bytes);
    position += transfer.bytes;
    return transfer;
}

} // namespace platform
