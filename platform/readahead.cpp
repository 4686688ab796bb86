#include "platform/readahead.h"

#include "platform/timing.h"

#include <algorithm>
#include <cstring>
#include <system_error>

namespace platform
{

namespace
{

bool complete(const Transfer &transfer, std::size_t bytes)
{
    return transfer.status.ok() && transfer.bytes == bytes;
}

} // namespace

ReadAhead::ReadAhead(std::unique_ptr<Device> inner, std::size_t length)
    : Decorator(std::move(inner)), length(length)
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

Status ReadAhead::request(const char *, const std::function<Status()> &call)
{
    std::unique_lock hold(lock);
    changed.wait(hold, [this] { return idle(); });
    return call();
}

void ReadAhead::drop()
{
    blockbytes = 0;
    std::unique_lock hold(lock);
    ahead = false;
    changed.wait(hold, [this] { return !fetching; });
    failed = false;
    fetched = 0;
}

void ReadAhead::timeby(std::shared_ptr<TransferTimes> newtimes)
{
    drop(); // the thread asks them for the ends of ranges
    Decorator::timeby(std::move(newtimes));
}

std::size_t ReadAhead::lengthfrom(std::uint64_t offset) const
{
    constexpr std::size_t parts = 32;
    const std::size_t grid = times() ? length / parts : length;
    std::uint64_t end = std::min((offset + length) / grid * grid, devicebytes);
    if (times())
        end = std::min(end, times()->endof(offset));
    const bool hasfailed = offset >= failedstart && offset < failedend;
    return end <= offset || hasfailed ? 0 : static_cast<std::size_t>(end - offset);
}

char *ReadAhead::blockbuffer(std::size_t behind) const
{
    return buffer.get() + (present + behind) % (1 + maxahead) * length;
}

bool ReadAhead::fetch(std::uint64_t offset, std::size_t bytes)
{
    if (!buffer) {
        // requested once; a device of unknown size is read exactly as requested
        if (!inner->length(devicebytes).ok())
            devicebytes = 0;
        buffer = largebuffer((1 + maxahead) * length);
    }
    const bool delivered = blockbytes > 0;
    const std::size_t wanted = buffer ? lengthfrom(offset) : 0;
    // one that is no longer than the read is worth it only if the thread has it
    if (wanted < bytes || (wanted == bytes && !delivered)) {
        drop();
        return false;
    }
    std::unique_lock hold(lock);
    changed.wait(hold, [this] { return fetched > 0 || idle(); });
    bool valid = fetched > 0;
    if (valid)
        --fetched;
    else if (!failed)
        valid = complete(inner->read(offset, blockbuffer(1), wanted), wanted);
    present = (present + 1) % (1 + maxahead);
    hold.unlock();
    if (!valid) {
        drop();
        failedstart = offset;
        failedend = offset + wanted;
        return false;
    }
    changed.notify_all();
    blockstart = offset;
    blockbytes = wanted;
    if (delivered)
        startahead(offset + wanted);
    return true;
}

void ReadAhead::startahead(std::uint64_t offset)
{
    const std::lock_guard hold(lock);
    if (ahead || failed || fetched > 0)
        return;
    try {
        if (!thread.joinable())
            thread = std::thread(&ReadAhead::fetchahead, this);
    } catch (const std::system_error &) {
        return; // without a thread each block is fetched when it is needed
    }
    next = offset;
    ahead = true;
    changed.notify_all();
}

void ReadAhead::fetchahead()
{
    std::unique_lock hold(lock);
    for (;;) {
        changed.wait(hold, [this] { return ending || (ahead && fetched < maxahead); });
        if (ending)
            return;
        const std::size_t bytes = lengthfrom(next);
        if (bytes == 0) {
            ahead = false;
        } else {
            const std::uint64_t offset = next;
            char *const target = blockbuffer(1 + fetched);
            fetching = true;
            hold.unlock();
            const bool valid = complete(inner->read(offset, target, bytes), bytes);
            hold.lock();
            fetching = false;
            failed = !valid;
            if (failed)
                ahead = false;
            else
                ++fetched;
            next += bytes;
        }
        changed.notify_all();
    }
}

Transfer ReadAhead::doverify(std::uint64_t offset, std::size_t bytes)
{
    return doread(offset, nullptr, bytes);
}

// Without a target nothing is copied.
Transfer ReadAhead::doread(std::uint64_t offset, void *target, std::size_t bytes)
{
    const bool continues = sequential && offset == expected;
    if (!continues)
        drop();
    auto *out = static_cast<char *>(target);
    std::size_t have = 0;
    if (offset >= blockstart && offset < blockstart + blockbytes) {
        have = static_cast<std::size_t>(
            std::min<std::uint64_t>(bytes, blockstart + blockbytes - offset));
        if (out != nullptr)
            std::memcpy(out, blockbuffer(0) + (offset - blockstart), have);
    }
    Transfer transfer{Status::success(), bytes};
    if (have < bytes) {
        // the rest is in the next block, or the whole read is made exactly as requested
        const bool fetched = continues && fetch(offset + have, bytes - have);
        if (!fetched)
            transfer =
                out != nullptr ? inner->read(offset, out, bytes) : inner->verify(offset, bytes);
        else if (out != nullptr)
            std::memcpy(out + have, blockbuffer(0), bytes - have);
    }
    expected = offset + transfer.bytes;
    sequential = complete(transfer, bytes);
    return transfer;
}

Transfer ReadAhead::dowrite(std::uint64_t offset, const void *source, std::size_t bytes)
{
    drop();
    sequential = false;
    failedstart = failedend = 0;
    return inner->write(offset, source, bytes);
}

} // namespace platform
