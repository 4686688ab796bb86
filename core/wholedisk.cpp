#include "core/wholedisk.h"

#include "platform/platform.h"

#include <algorithm>
#include <map>
#include <utility>

namespace
{

// Signatures stand in the first and the last of so many bytes.
constexpr std::uint64_t reach = 1U << 19;
// Bytes of one transfer, and of those that follow where it fails.
constexpr std::uint64_t longpart = 1U << 16;
constexpr std::uint64_t shortpart = 1U << 12;
// Failed transfers at one end, each of which may take a failing disk seconds; then no more is read.
constexpr int maxfailures = 20;

} // namespace

WholeDiskUses wholediskuses(void *handle, std::uint64_t disksectors, std::uint32_t bytespersector)
{
    platform::Device &disk = platform::device(handle);
    const std::uint64_t length = disksectors * bytespersector;
    const std::uint64_t behind = std::min(reach, length);
    std::map<std::uint64_t, std::vector<std::uint8_t>> parts;
    bool damaged = false;
    for (const auto &[first, stop] :
         {std::pair(std::uint64_t{0}, behind), {std::max(behind, length - behind), length}}) {
        int failures = 0;
        const auto read = [&](std::uint64_t at, std::uint64_t bytes) {
            std::vector<std::uint8_t> part(bytes);
            const platform::Transfer transfer = disk.read(at, part.data(), bytes);
            const bool whole = transfer.status.ok() && transfer.bytes == bytes;
            if (whole)
                parts.emplace(at, std::move(part));
            failures += whole ? 0 : 1;
            damaged = damaged || !whole;
            return whole;
        };
        for (std::uint64_t at = first; at < stop && failures < maxfailures; at += longpart) {
            const std::uint64_t end = std::min(at + longpart, stop);
            if (read(at, end - at))
                continue;
            for (std::uint64_t i = at; i < end && failures < maxfailures; i += shortpart)
                read(i, std::min(shortpart, end - i));
        }
    }
    return {platform::signatures(parts, length, bytespersector), damaged};
}
