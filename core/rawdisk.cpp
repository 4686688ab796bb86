#include "core/tlcore.h"

#include "platform/platform.h"

#include <bit>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <new>

void *const invaliddisk = reinterpret_cast<void *>(~std::uintptr_t{0});

namespace
{

// The geometry of a disk for which the system reports none.
constexpr std::uint32_t guessedheads = 255;
constexpr std::uint32_t guessedsectorspertrack = 63;
constexpr std::uint32_t guessedbytespersector = 512;

bool issectorlength(std::uint32_t bytes)
{
    return std::has_single_bit(bytes) && bytes >= minbytespersector && bytes <= maxbytespersector;
}

// Copies the geometry that a drive reports. False if it can't be used: a factor of zero, a sector
// length outside the limits, or products that overflow the 32 and 64 bits of their fields.
bool convertgeometry(const platform::DriveGeometry &drive, geom &geometry)
{
    const std::uint64_t sectorspercyl =
        static_cast<std::uint64_t>(drive.trackspercylinder) * drive.sectorspertrack;
    if (!issectorlength(drive.bytespersector) || sectorspercyl == 0)
        return false;
    if (sectorspercyl > std::numeric_limits<std::uint32_t>::max() / drive.bytespersector)
        return false;
    const std::uint64_t bytespercyl = sectorspercyl * drive.bytespersector;
    if (drive.cylinders > std::numeric_limits<std::uint64_t>::max() / bytespercyl)
        return false;
    geometry.heads = drive.trackspercylinder;
    geometry.sectorspertrack = drive.sectorspertrack;
    geometry.bytespersector = drive.bytespersector;
    geometry.cylinders = drive.cylinders;
    geometry.sectorspercyl = sectorspercyl;
    geometry.bytespercyl = bytespercyl;
    geometry.totalbytes = drive.cylinders * bytespercyl;
    geometry.totalsectors = drive.cylinders * sectorspercyl;
    return true;
}

} // namespace

void *opendisk(const char *devicepath)
{
    return platform::open(devicepath, platform::Access::readwrite);
}

void closedisk(void *handle)
{
    if (handle != invaliddisk)
        platform::close(handle);
}

int get_geometry(void *handle, geom *out)
{
    geom geometry;
    platform::Device &disk = platform::device(handle);
    platform::DriveGeometry drive;
    if (disk.drivegeometry(drive).ok() && convertgeometry(drive, geometry)) {
        *out = geometry;
        return 0;
    }
    unsigned long long bytes = 0;
    diskbytesize(handle, &bytes);
    geometry.totalbytes = bytes;
    // transfers must be multiples of the system's sector length
    std::uint32_t sector = 0;
    if (!disk.sectorsize(sector).ok() || !issectorlength(sector))
        sector = guessedbytespersector;
    *out = withfactors(geometry, sector, guessedsectorspertrack, guessedheads);
    return -1;
}

bool readimage(void *handle, std::uint64_t sector, std::span<std::uint8_t> image)
{
    const platform::Transfer transfer =
        platform::device(handle).read(sector * image.size(), image.data(), image.size());
    // a partial sector counts as not transferred
    const bool whole = transfer.status.ok() && transfer.bytes == image.size();
    if (!whole && transfer.status.fault != platform::Fault::position)
        std::fputs("unable to read!\n", stderr);
    return whole;
}

bool writeimage(void *handle, std::uint64_t sector, std::span<const std::uint8_t> image)
{
    const platform::Transfer transfer =
        platform::device(handle).write(sector * image.size(), image.data(), image.size());
    const bool whole = transfer.status.ok() && transfer.bytes == image.size();
    if (!whole && transfer.status.fault != platform::Fault::position)
        std::fputs("unable to write!\n", stderr);
    return whole;
}

int readasector(void *handle, unsigned long long sector, char *buffer)
{
    auto *bytes = reinterpret_cast<std::uint8_t *>(buffer);
    return readimage(handle, sector, {bytes, g.bytespersector}) ? 0 : 1;
}

int writeasector(void *handle, unsigned long long sector, char *buffer)
{
    auto *bytes = reinterpret_cast<std::uint8_t *>(buffer);
    return writeimage(handle, sector, {bytes, g.bytespersector}) ? 0 : 1;
}

bool updatepartitiontable(void *handle)
{
    return !platform::device(handle).updateproperties().ok();
}

int claimdisk(void *handle)
{
    return platform::device(handle).claim().ok() ? 0 : 1;
}

std::string refusal(void *handle)
{
    return platform::device(handle).refusal();
}

bool diskpresent(void *handle)
{
    if (handle == invaliddisk ||
        platform::device(handle).lasterror().fault == platform::Fault::gone)
        return false;
    // an unplugged disk may report no failure of its own, but it has no size, or a size of 0
    unsigned long long bytes = 0;
    return diskbytesize(handle, &bytes) == 0 && bytes != 0;
}

std::unique_ptr<char[]> sectorbuffer(std::size_t bytes, const char *message)
{
    std::unique_ptr<char[]> buffer(new (std::nothrow) char[bytes]());
    if (!buffer) {
        std::fputs(message, stderr);
        std::exit(1);
    }
    return buffer;
}
