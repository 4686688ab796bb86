#include "platform/simulated/sectorset.h"

#include <algorithm>
#include <iterator>
#include <limits>

namespace platform
{

void SectorSet::add(std::uint64_t first, std::uint64_t last)
{
    if (first > last)
        return;
    // Merge with the range that contains `first` or ends just before it, and with all that begin
    // up to one behind `last`. The comparisons avoid `last` + 1, which may overflow.
    auto at = ranges.upper_bound(first);
    if (at != ranges.begin()) {
        const auto before = std::prev(at);
        if (before->second >= first || before->second == first - 1)
            at = before;
    }
    while (at != ranges.end() && (at->first <= last || at->first - 1 == last)) {
        first = std::min(first, at->first);
        last = std::max(last, at->second);
        at = ranges.erase(at);
    }
    ranges.emplace(first, last);
}

void SectorSet::remove(std::uint64_t first, std::uint64_t last)
{
    if (first > last)
        return;
    auto at = ranges.upper_bound(first);
    if (at != ranges.begin() && std::prev(at)->second >= first)
        --at;
    while (at != ranges.end() && at->first <= last) {
        const auto [start, stop] = *at;
        at = ranges.erase(at);
        if (start < first)
            ranges.emplace(start, first - 1);
        if (stop > last)
            ranges.emplace(last + 1, stop);
    }
}

bool SectorSet::contains(std::uint64_t sector) const
{
    return lowest(sector, sector).has_value();
}

std::optional<std::uint64_t> SectorSet::lowest(std::uint64_t first, std::uint64_t last) const
{
    if (first > last)
        return std::nullopt;
    const auto behind = ranges.upper_bound(first);
    if (behind != ranges.begin() && std::prev(behind)->second >= first)
        return first;
    if (behind != ranges.end() && behind->first <= last)
        return behind->first;
    return std::nullopt;
}

} // namespace platform
