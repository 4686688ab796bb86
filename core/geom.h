#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/// The geometry of one disk. All conversions between bytes, sectors and cylinders use it.
struct geom {
    std::uint32_t heads = 0;           ///< tracks per cylinder
    std::uint32_t sectorspertrack = 0; ///< sectors per track
    std::uint32_t bytespersector = 0;  ///< bytes per sector
    std::uint64_t cylinders = 0;       ///< number of whole cylinders
    std::uint64_t sectorspercyl = 0;   ///< `heads` x `sectorspertrack`
    std::uint64_t bytespercyl = 0;     ///< `bytespersector` x `sectorspercyl`
    std::uint64_t totalbytes = 0;      ///< size of the disk in bytes
    std::uint64_t totalsectors = 0;    ///< size of the disk in sectors

    bool operator==(const geom &) const = default;
};

/// The geometry of the disk being worked on. It must be set before any transfer of a sector.
extern geom g;

/// Length in bytes of a `geom` in a file: little-endian, 4 reserved bytes at offset 12.
inline constexpr std::size_t geomsize = 56;

/// The image of `geometry` in a file; the reserved bytes are zero.
std::array<std::uint8_t, geomsize> encodegeom(const geom &geometry);
/// The geometry of an image; the reserved bytes are ignored, nothing is checked.
geom decodegeom(std::span<const std::uint8_t, geomsize> image);

/// Sectors that a master boot sector can address; a disk of more gets a GUID partition table.
inline constexpr std::uint64_t maxmbrsectors = 0xFFFFFFFF;

/// Bytes per GB in every text for the user.
inline constexpr double bytespergb = 1e9;

/// GB to cylinders of `geometry`, rounded down. A negative or undefined value, and a geometry
/// without cylinders, count as 0; a value beyond 64 bits is the largest number.
std::uint64_t gbtocylinders(double gb, const geom &geometry);
/// Cylinders of `geometry` to GB.
double cylinderstogb(std::uint64_t cylinders, const geom &geometry);

/// Limits of a geometry typed by hand: what the sector form of a table entry can hold.
inline constexpr int minbytespersector = 512;
inline constexpr int maxbytespersector = 4096;
inline constexpr int maxsectorspertrack = 63;
inline constexpr int maxheads = 256;

/// Which factor of a geometry lies outside its limits.
enum class GeomFault { none, bytespersector, sectorspertrack, heads };

/// The first factor outside its limits: bytes per sector a power of two from 512 to 4096,
/// sectors per track 1 to 63, heads 1 to 256.
GeomFault checkgeomfactors(long long bytespersector, long long sectorspertrack, long long heads);

/// `geometry` with other factors and the same `totalbytes`; the other fields are computed, rounded
/// down. The factors must have passed `checkgeomfactors`.
geom withfactors(const geom &geometry, std::uint32_t bytespersector, std::uint32_t sectorspertrack,
                 std::uint32_t heads);

/// Whether a stored geometry is consistent: no factor is zero, both products are those of
/// their factors, and `totalbytes` holds all `cylinders`.
bool geomissound(const geom &geometry);
