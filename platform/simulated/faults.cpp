#include "platform/simulated/faults.h"

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

/// How many of `bytes` bytes a transfer that starts in `sector` may move. Takes the entry out.
std::size_t cut(std::map<std::uint64_t, std::uint64_t> &entries, std::uint64_t sector,
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

/// Whether a transfer of `bytes` bytes from `position` on touches a member of the set.
bool touches(const SectorSet &set, std::uint64_t position, std::size_t bytes,
             std::uint32_t bytespersector)
{
    return bytes > 0 &&
           set.lowest(position / bytespersector, (position + bytes - 1) / bytespersector)
               .has_value();
}

} // namespace

FaultyDevice::FaultyDevice(std::unique_ptr<Device> decorated, std::shared_ptr<FaultPlan> faults)
    : Decorator(std::move(decorated)), plan(std::move(faults))
{
}

Status FaultyDevice::pass()
{
    if (!plan->vanishafter)
        return {};
    if (*plan->vanishafter == 0)
        return {Fault::gone, 0};
    --*plan->vanishafter;
    return {};
}

Status FaultyDevice::doseek(std::uint64_t offset)
{
    if (const Status status = pass(); !status.ok())
        return status;
    const Status status = inner->seek(offset);
    if (status.ok())
        position = offset;
    return status;
}

Transfer FaultyDevice::doread(void *buffer, std::size_t bytes)
{
    if (const Status status = pass(); !status.ok())
        return {status, 0};
    const std::size_t sector = plan->bytespersector;
    const std::size_t allowed = cut(plan->shortreads, position / sector, bytes);
    if (touches(plan->unreadable, position, allowed, plan->bytespersector)) {
        std::this_thread::sleep_for(plan->faildelay);
        return {{Fault::medium, 0}, 0};
    }
    if (allowed == bytes) {
        const Transfer transfer = inner->read(buffer, bytes);
        position += transfer.bytes;
        return transfer;
    }
    // Devices move whole sectors alone, so part of one is fetched with the rest of it.
    std::vector<char> whole((allowed + sector - 1) / sector * sector);
    Transfer transfer = inner->read(whole.data(), whole.size());
    transfer.bytes = std::min(transfer.bytes, allowed);
    if (transfer.bytes > 0)
        std::memcpy(buffer, whole.data(), transfer.bytes);
    position += transfer.bytes;
    inner->seek(position);
    return transfer;
}

Transfer FaultyDevice::dowrite(const void *buffer, std::size_t bytes)
{
    if (const Status status = pass(); !status.ok())
        return {status, 0};
    const std::size_t sector = plan->bytespersector;
    const std::size_t allowed = cut(plan->shortwrites, position / sector, bytes);
    if (touches(plan->unwritable, position, allowed, plan->bytespersector)) {
        std::this_thread::sleep_for(plan->faildelay);
        return {{Fault::medium, 0}, 0};
    }
    // Of a write that ends inside a sector only the whole sectors land.
    const std::size_t landing = allowed == bytes ? bytes : allowed / sector * sector;
    const char *source = static_cast<const char *>(buffer);
    std::vector<char> altered;
    if (touches(plan->lying, position, landing, plan->bytespersector)) {
        altered.assign(source, source + landing);
        for (std::size_t i = 0; i < landing; i++) {
            if (plan->lying.contains((position + i) / sector))
                altered[i] = static_cast<char>(~altered[i]);
        }
        source = altered.data();
    }
    Transfer transfer = inner->write(source, landing);
    if (transfer.status.ok() && transfer.bytes == landing)
        transfer.bytes = allowed;
    position += transfer.bytes;
    if (allowed != bytes)
        inner->seek(position);
    return transfer;
}

Status FaultyDevice::ask(const char *, const std::function<Status()> &request)
{
    const Status status = pass();
    return status.ok() ? request() : status;
}

} // namespace platform
