#pragma once

#include "core/tables.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// GUID partition tables, for disks of more sectors than a master boot sector can address. The
/// layout is that of UEFI 2.10, chapter 5; everything is little-endian.

/// A GUID in the order of its bytes on the disk.
using Guid = std::array<std::uint8_t, 16>;

/// A random GUID (version 4) from the system's source of random numbers.
Guid newguid();
/// The GUID of a text of 36 characters, as in "C12A7328-F81F-11D2-BA4B-00A0C93EC93B".
Guid guidof(std::string_view text);
/// The partition type for a type byte of a master boot sector; Linux data for an unknown one.
Guid gpttype(std::uint8_t systype);

/// Entries in the array, and the length of each in bytes.
inline constexpr std::uint32_t gptentries = 128;
inline constexpr std::uint32_t gptentrybytes = 128;
/// Sectors of the array, without the header.
constexpr std::uint64_t gptarraysectors(std::uint32_t bytespersector)
{
    return (std::uint64_t{gptentries} * gptentrybytes + bytespersector - 1) / bytespersector;
}

/// One entry of the array.
struct GptEntry {
    Guid type{};
    Guid id{};
    std::uint64_t first = 0;
    std::uint64_t last = 0; ///< inclusive
    bool legacyboot = false;
    std::string name; ///< ASCII; 36 characters fit
};

/// The fields of a header that vary; all sectors count from the start of the disk.
struct GptHeader {
    std::uint64_t own = 1;         ///< sector of this header
    std::uint64_t other = 0;       ///< sector of the other one
    std::uint64_t firstusable = 0; ///< for partitions
    std::uint64_t lastusable = 0;  ///< inclusive
    Guid disk{};
    std::uint64_t array = 2;       ///< first sector of the array
    std::uint32_t arraylength = 0; ///< of all its entries, in bytes
    std::uint32_t arraycrc = 0;
};

/// The array of `entries`, at most `gptentries`, in whole sectors.
std::vector<std::uint8_t> encodegptarray(std::span<const GptEntry> entries,
                                         std::uint32_t bytespersector);
/// The sector of a header, with its CRC.
std::vector<std::uint8_t> encodegptheader(const GptHeader &header, std::uint32_t bytespersector);
/// Whether a sector begins as a header does, with or without damage.
bool hasgptmark(std::span<const std::uint8_t> sector);
/// The header in a sector; nothing if the mark or the CRC is wrong.
std::optional<GptHeader> decodegptheader(std::span<const std::uint8_t> sector);
