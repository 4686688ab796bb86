#include "platform/readahead.h"

#include <algorithm>
#include <cstring>
#include <new>

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

bool ReadAhead::fetch(std::uint64_t offset, std::size_t bytes)
{
    if (!buffer) {
        // asked once; a device that does not tell its size is read as it is asked for
        if (!inner->partitionlength(devicebytes).ok())
            devicebytes = 0;
        buffer.reset(static_cast<char *>(::operator new(piece, alignment, std::nothrow)));
    }
    filled = 0;
    const std::uint64_t end = std::min((offset / piece + 1) * piece, devicebytes);
    if (!buffer || end <= offset || end - offset <= bytes)
        return false;
    const auto wanted = static_cast<std::size_t>(end - offset);
    const Transfer transfer = exact(offset, buffer.get(), wanted);
    if (!transfer.status.ok() || transfer.bytes != wanted) {
        avoidfrom = offset;
        avoid = end;
        return false;
    }
    fetched = offset;
    filled = wanted;
    return true;
}

Transfer ReadAhead::doread(void *target, std::size_t bytes)
{
    const bool runson = running && position == expected;
    if (!runson)
        filled = 0;
    auto *out = static_cast<char *>(target);
    std::size_t have = 0;
    if (position >= fetched && position < fetched + filled) {
        have =
            static_cast<std::size_t>(std::min<std::uint64_t>(bytes, fetched + filled - position));
        std::memcpy(out, buffer.get() + (position - fetched), have);
    }
    Transfer transfer{{}, bytes};
    if (have < bytes) {
        // the rest comes out of the next piece, or all of it exactly as it was asked for
        const std::uint64_t rest = position + have;
        const bool avoided = rest >= avoidfrom && rest < avoid;
        if (runson && !avoided && fetch(rest, bytes - have))
            std::memcpy(out + have, buffer.get(), bytes - have);
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
    filled = 0;
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
