#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/// A range of cylinders: the unit of the scan, of the scan file and of the plan.
///
/// Invariant: `start` <= `stop`, both inclusive, both cylinders, never sectors.
struct SEG {
    std::uint64_t start = 0; ///< first cylinder
    std::uint64_t stop = 0;  ///< last cylinder, inclusive
    std::int32_t isbad = 0;  ///< 0 good, anything else bad; the program itself stores 0 and 1

    bool operator==(const SEG &) const = default;

    /// First sector of the range.
    [[nodiscard]] std::uint64_t firstsector(std::uint64_t sectorspercyl) const
    {
        return start * sectorspercyl;
    }
    /// Last sector of the range, inclusive.
    [[nodiscard]] std::uint64_t lastsector(std::uint64_t sectorspercyl) const
    {
        return (stop + 1) * sectorspercyl - 1;
    }
};

/// Length in bytes of a SEG in the scan file: little-endian, 4 zero bytes at offset 20.
inline constexpr std::size_t segsize = 24;

/// The image of a record in the scan file.
std::array<std::uint8_t, segsize> encodeseg(const SEG &seg);
/// The record of an image; the padding is ignored, nothing is checked.
SEG decodeseg(std::span<const std::uint8_t, segsize> image);
