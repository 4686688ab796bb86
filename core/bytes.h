#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

/// Little-endian numbers, byte by byte. All formats on disk and in files are encoded with these,
/// whatever the byte order of the machine.

/// Stores the lowest `width` bytes of `value`, least significant first.
inline void putlittle(std::uint8_t *bytes, std::uint64_t value, std::size_t width)
{
    for (std::size_t i = 0; i < width; ++i)
        bytes[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

/// The number of `width` bytes, least significant first.
inline std::uint64_t getlittle(const std::uint8_t *bytes, std::size_t width)
{
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i)
        value |= static_cast<std::uint64_t>(bytes[i]) << (8 * i);
    return value;
}

/// CRC-32 as in IEEE 802.3, the one of GUID partition tables.
inline std::uint32_t crc32(std::span<const std::uint8_t> bytes)
{
    constexpr std::uint32_t polynomial = 0xEDB88320; // bits reflected
    std::uint32_t crc = 0xFFFFFFFF;
    for (const std::uint8_t byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit)
            crc = crc >> 1 ^ ((crc & 1) != 0 ? polynomial : 0);
    }
    return ~crc;
}
