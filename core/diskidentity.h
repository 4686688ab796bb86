#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// What tells a disk from every other one, apart from any handle or node. An empty text or a number
/// of 0 is unknown.
struct DiskIdentity {
    std::string node;                 ///< under which it was found; says nothing about the disk
    std::string serial;               ///< normalised
    std::string wwn;                  ///< world wide name
    std::string model;                ///< the drive's own text, without outer blanks
    std::string vendor;               ///< for the user alone
    std::string bus;                  ///< for the user alone
    std::string instance;             ///< this stay of the disk in the system
    std::uint64_t bytes = 0;          ///< length of the disk
    std::uint32_t bytespersector = 0; ///< length of a logical sector
};

/// A serial number as every system and bridge gives it: letters and digits alone, capital, without
/// the zeros in front. Empty if nothing is left.
std::string normalserial(std::string_view serial);

/// CRC-32 of a normalised serial number, for places that have room for no more. 0: none known.
std::uint32_t serialchecksum(std::string_view normalised);

/// Why `found` is not the disk `chosen`, a sentence for the user; empty if it is. The only place
/// where two disks are compared.
///
/// The lengths and texts that both have must be equal. Without a serial number or a world wide name
/// a disk that was removed and came back is another one, since it can't be told from its twin.
std::string differencefrom(const DiskIdentity &chosen, const DiskIdentity &found);
