#include "platform/timing.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace platform
{

TransferTimes::TransferTimes(std::vector<std::uint64_t> rangeends)
    : ends(std::move(rangeends)), ranges(ends.size())
{
}

std::uint64_t TransferTimes::endof(std::uint64_t offset) const
{
    const auto end = std::upper_bound(ends.begin(), ends.end(), offset);
    return end != ends.end() ? *end : std::numeric_limits<std::uint64_t>::max();
}

void TransferTimes::add(std::uint64_t offset, std::size_t bytes, std::size_t moved, double seconds)
{
    const std::lock_guard hold(lock);
    good += moved > 0 ? 1 : 0;
    auto index =
        static_cast<std::size_t>(std::upper_bound(ends.begin(), ends.end(), offset) - ends.begin());
    for (; index < ends.size(); ++index) {
        Range &range = ranges[index];
        range.slowest = std::max(range.slowest, seconds);
        if (moved > 0) {
            range.seconds += seconds;
            range.bytes += moved;
        }
        if (ends[index] - offset >= bytes)
            break;
    }
}

TransferTimes::Range TransferTimes::range(std::size_t index) const
{
    const std::lock_guard hold(lock);
    return index < ranges.size() ? ranges[index] : Range();
}

std::uint64_t TransferTimes::goodreads() const
{
    const std::lock_guard hold(lock);
    return good;
}

Timing::Timing(std::unique_ptr<Device> decorated, Clock otherclock)
    : Decorator(std::move(decorated)), clock(std::move(otherclock))
{
    if (!clock)
        clock = [] { return std::chrono::steady_clock::now().time_since_epoch(); };
}

template <typename Read> Transfer Timing::timed(std::uint64_t offset, std::size_t bytes, Read read)
{
    const bool counts = std::exchange(awake, true) && times();
    const std::chrono::nanoseconds begun = counts ? clock() : std::chrono::nanoseconds();
    const Transfer transfer = read();
    if (counts && transfer.status.fault != Fault::cancelled)
        times()->add(offset, bytes, transfer.status.ok() ? transfer.bytes : 0,
                     std::chrono::duration<double>(clock() - begun).count());
    return transfer;
}

Transfer Timing::doread(std::uint64_t offset, void *target, std::size_t bytes)
{
    return timed(offset, bytes, [&] { return inner->read(offset, target, bytes); });
}

Transfer Timing::doverify(std::uint64_t offset, std::size_t bytes)
{
    return timed(offset, bytes, [&] { return inner->verify(offset, bytes); });
}

Transfer Timing::dowrite(std::uint64_t offset, const void *source, std::size_t bytes)
{
    awake = true;
    return inner->write(offset, source, bytes);
}

} // namespace platform
