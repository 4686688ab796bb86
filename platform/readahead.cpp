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

ReadAhead::~ReadAhead()
{
    if (!thread.joinable())
        return;
    {
        const std::lock_guard hold(lock);
        ending = true;
    }
    changed.notify_all();
    thread.join();
}

Status ReadAhead::ask(const char *, const std::function<Status()> &request)
{
    std::unique_lock hold(lock);
    changed.wait(hold, [this] { return rests(); });
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
    std::unique_lock hold(lock);
    ahead = false;
    changed.wait(hold, [this] { return !fetching; });
    failed = false;
    arrived = 0;
}

std::size_t ReadAhead::lengthfrom(std::uint64_t offset) const
{
    const std::uint64_t end = std::min((offset / piece + 1) * piece, devicebytes);
    const bool avoided = offset >= avoidfrom && offset < avoid;
    return end <= offset || avoided ? 0 : static_cast<std::size_t>(end - offset);
}

char *ReadAhead::place(std::size_t behind) const
{
    return buffer.get() + (present + behind) % (1 + mostahead) * piece;
}

bool ReadAhead::fetch(std::uint64_t offset, std::size_t bytes)
{
    if (!buffer) {
        // asked once; a device that does not tell its size is read as it is asked for
        if (!inner->partitionlength(devicebytes).ok())
            devicebytes = 0;
        buffer.reset(
            static_cast<char *>(::operator new((1 + mostahead) * piece, alignment, std::nothrow)));
    }
    const bool usedup = filled > 0;
    const std::size_t wanted = buffer ? lengthfrom(offset) : 0;
    if (wanted <= bytes) {
        drop();
        return false;
    }
    std::unique_lock hold(lock);
    changed.wait(hold, [this] { return arrived > 0 || rests(); });
    bool came = arrived > 0;
    if (came) {
        arrived--;
    } else if (!failed) {
        const Transfer transfer = exact(offset, place(1), wanted);
        came = transfer.status.ok() && transfer.bytes == wanted;
    }
    present = (present + 1) % (1 + mostahead);
    hold.unlock();
    if (!came) {
        drop();
        avoidfrom = offset;
        avoid = offset + wanted;
        return false;
    }
    changed.notify_all();
    fetched = offset;
    filled = wanted;
    if (usedup)
        startahead(offset + wanted);
    return true;
}

void ReadAhead::startahead(std::uint64_t offset)
{
    const std::lock_guard hold(lock);
    if (ahead || failed || arrived > 0)
        return;
    try {
        if (!thread.joinable())
            thread = std::thread(&ReadAhead::fetchahead, this);
    } catch (const std::system_error &) {
        return; // none to be had: each piece is fetched when its turn has come
    }
    from = offset;
    ahead = true;
    changed.notify_all();
}

void ReadAhead::fetchahead()
{
    std::unique_lock hold(lock);
    for (;;) {
        changed.wait(hold, [this] { return ending || (ahead && arrived < mostahead); });
        if (ending)
            return;
        const std::size_t bytes = lengthfrom(from);
        if (bytes == 0) {
            ahead = false;
        } else {
            const std::uint64_t offset = from;
            char *const target = place(1 + arrived);
            fetching = true;
            hold.unlock();
            const Transfer transfer = exact(offset, target, bytes);
            hold.lock();
            fetching = false;
            failed = !transfer.status.ok() || transfer.bytes != bytes;
            if (failed)
                ahead = false;
            else
                arrived++;
            from += bytes;
        }
        changed.notify_all();
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
        std::memcpy(out, place(0) + (position - fetched), have);
    }
    Transfer transfer{{}, bytes};
    if (have < bytes) {
        // the rest comes out of the next piece, or all of it exactly as it was asked for
        const bool runson = running && position == expected;
        if (runson && fetch(position + have, bytes - have))
            std::memcpy(out + have, place(0), bytes - have);
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
