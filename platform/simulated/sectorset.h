#pragma once

#include <cstdint>
#include <map>
#include <optional>

namespace platform
{

/// A set of sector numbers, stored as ranges.
///
/// Invariant: the ranges (first -> last, both inclusive) are ascending, disjoint and not adjacent.
class SectorSet
{
public:
    /// Adds `first` to `last`, inclusive; nothing if `first` > `last`.
    void add(std::uint64_t first, std::uint64_t last);
    void add(std::uint64_t sector) { add(sector, sector); }
    /// Removes `first` to `last`, inclusive.
    void remove(std::uint64_t first, std::uint64_t last);
    void clear() { ranges.clear(); }
    [[nodiscard]] bool empty() const { return ranges.empty(); }
    [[nodiscard]] bool contains(std::uint64_t sector) const;
    /// The lowest member from `first` to `last`, inclusive.
    [[nodiscard]] std::optional<std::uint64_t> lowest(std::uint64_t first,
                                                      std::uint64_t last) const;

private:
    std::map<std::uint64_t, std::uint64_t> ranges;
};

} // namespace platform
