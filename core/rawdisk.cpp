#include "core/tlcore.h"

#include "platform/platform.h"

#include <bit>
#include <cstdio>
#include <limits>

void *const invaliddisk = reinterpret_cast<void *>(~std::uintptr_t{0});

// What stands in for a geometry that the system does not report.
static constexpr std::uint32_t guessedheads = 255;
static constexpr std::uint32_t guessedsectorspertrack = 63;
static constexpr std::uint32_t guessedbytespersector = 512;

void *opendisk(const char *devicepath)
{
    return platform::open(devicepath, platform::Access::readwrite);
}

void closedisk(void *handle)
{
    if (handle != invaliddisk)
        platform::close(handle);
}

static bool issectorlength(std::uint32_t bytes)
{
    return std::has_single_bit(bytes) && bytes >= minbytespersector && bytes <= maxbytespersector;
}

// Takes over a drive's own geometry. False if it is none: a zero among its factors, a sector that
// no buffer of this program is made for, or products beyond the 32 and 64 bits of its record.
static bool takeover(const platform::DriveGeometry &drive, geom &geometry)
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

int get_geometry(void *handle, geom *out)
{
    geom geometry;
    platform::Device &disk = platform::device(handle);
    platform::DriveGeometry drive;
    if (disk.drivegeometry(drive).ok() && takeover(drive, geometry)) {
        *out = geometry;
        return 0;
    }
    unsigned long long bytes = 0;
    diskbytesize(handle, &bytes);
    geometry.totalbytes = bytes;
    // transfers of another length than the system's would all fail
    std::uint32_t sector = 0;
    if (!disk.sectorsize(sector).ok() || !issectorlength(sector))
        sector = guessedbytespersector;
    *out = withfactors(geometry, sector, guessedsectorspertrack, guessedheads);
    return -1;
}

int readasector(void *handle, unsigned long long sector, char *buffer)
{
    platform::Device &disk = platform::device(handle);
    const platform::Transfer transfer =
        disk.read(sector * g.bytespersector, buffer, g.bytespersector);
    if (transfer.status.fault == platform::Fault::position)
        return 1;
    // a sector that did not come whole is no sector
    if (!transfer.status.ok() || transfer.bytes != g.bytespersector) {
        std::fputs("unable to read!\n", stderr);
        return 1;
    }
    return 0;
}

int writeasector(void *handle, unsigned long long sector, char *buffer)
{
    platform::Device &disk = platform::device(handle);
    const platform::Transfer transfer =
        disk.write(sector * g.bytespersector, buffer, g.bytespersector);
    if (transfer.status.fault == platform::Fault::position)
        return 1;
    if (!transfer.status.ok() || transfer.bytes != g.bytespersector) {
        std::fputs("unable to write!\n", stderr);
        return 1;
    }
    return 0;
}

bool updatepartitiontable(void *handle)
{
    return !platform::device(handle).updateproperties().ok();
}

bool diskpresent(void *handle)
{
    if (handle == invaliddisk ||
        platform::device(handle).lasterror().fault == platform::Fault::gone)
        return false;
    // a disk that went away without a word answers no more, or with a size of nothing
    unsigned long long bytes = 0;
    return diskbytesize(handle, &bytes) == 0 && bytes != 0;
}
