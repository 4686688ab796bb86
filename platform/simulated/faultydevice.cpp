#include "platform/simulated/faultydevice.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <thread>
#include <utility>
#include <vector>

namespace platform
{

namespace
{

/// How many of `bytes` bytes a transfer that starts in `sector` may move. Removes the entry.
std::size_t limited(std::map<std::uint64_t, std::uint64_t> &entries, std::uint64_t sector,
                    std::size_t bytes)
{
    const auto behind = entries.upper_bound(sector);
    if (behind == entries.begin())
        return bytes;
    const auto entry = std::prev(behind);
    const auto limit = std::min<std::uint64_t>(entry->second, bytes);
    entries.erase(entry);
    return static_cast<std::size_t>(limit);
}

/// Whether a transfer of `bytes` bytes at `offset` touches a member of the set.
bool touches(const SectorSet &set, std::uint64_t offset, std::size_t bytes,
             std::uint32_t bytespersector)
{
    return bytes > 0 &&
           set.lowest(offset / bytespersector, (offset + bytes - 1) / bytespersector).has_value();
}

} // namespace

FaultyDevice::FaultyDevice(std::unique_ptr<Device> decorated, std::shared_ptr<FaultPlan> faults)
    : Decorator(std::move(decorated)), plan(std::move(faults))
{
}

void FaultyDevice::wait(std::chrono::nanoseconds time)
{
    if (plan->clock)
        *plan->clock += time;
    else
        std::this_thread::sleep_for(time);
}

Status FaultyDevice::count()
{
    if (plan->vanishafter == 0U)
        return {Fault::gone, 0};
    if (plan->vanishafter)
        --*plan->vanishafter;
    return Status::success();
}

Status FaultyDevice::count(std::uint64_t offset)
{
    wait(plan->delay);
    const Status status = count();
    if (status.ok() && plan->unreachable.contains(offset / plan->bytespersector))
        return {Fault::position, 0};
    return status;
}

Transfer FaultyDevice::doread(std::uint64_t offset, void *buffer, std::size_t bytes)
{
    if (plan->rate > 0)
        wait(std::chrono::nanoseconds(bytes * 1'000'000'000 / plan->rate));
    if (const Status status = count(offset); !status.ok())
        return {status, 0};
    if (plan->locksafter == 0U)
        return {{Fault::medium, 0}, 0};
    if (plan->locksafter)
        --*plan->locksafter;
    const std::size_t sector = plan->bytespersector;
    for (const FaultPlan::Slow &slow : plan->slow) {
        if (offset / sector <= slow.last && offset + bytes > slow.first * sector)
            wait(slow.time);
    }
    const std::size_t allowed = limited(plan->shortreads, offset / sector, bytes);
    if (touches(plan->unreadable, offset, allowed, plan->bytespersector)) {
        wait(plan->faildelay);
        return {{Fault::medium, 0}, 0};
    }
    if (allowed == bytes)
        return inner->read(offset, buffer, bytes);
    // Devices move only whole sectors, so a part of one is read as a whole.
    std::vector<char> whole((allowed + sector - 1) / sector * sector);
    Transfer transfer = inner->read(offset, whole.data(), whole.size());
    transfer.bytes = std::min(transfer.bytes, allowed);
    if (transfer.bytes > 0)
        std::memcpy(buffer, whole.data(), transfer.bytes);
    return transfer;
}

Transfer FaultyDevice::dowrite(std::uint64_t offset, const void *buffer, std::size_t bytes)
{
    if (const Status status = count(offset); !status.ok())
        return {status, 0};
    const std::size_t sector = plan->bytespersector;
    const std::size_t allowed = limited(plan->shortwrites, offset / sector, bytes);
    if (touches(plan->unwritable, offset, allowed, plan->bytespersector)) {
        wait(plan->faildelay);
        return {{Fault::medium, 0}, 0};
    }
    // A write that ends inside a sector stores only the whole sectors.
    const std::size_t stored = allowed == bytes ? bytes : allowed / sector * sector;
    const char *source = static_cast<const char *>(buffer);
    std::vector<char> altered;
    if (touches(plan->lying, offset, stored, plan->bytespersector)) {
        altered.assign(source, source + stored);
        for (std::size_t i = 0; i < stored; ++i) {
            if (plan->lying.contains((offset + i) / sector))
                altered[i] = static_cast<char>(~altered[i]);
        }
        source = altered.data();
    }
    Transfer transfer = inner->write(offset, source, stored);
    if (transfer.status.ok() && transfer.bytes == stored)
        transfer.bytes = allowed;
    return transfer;
}

Status FaultyDevice::request(const char *, const std::function<Status()> &call)
{
    const Status status = count();
    return status.ok() ? call() : status;
}

} // namespace platform
