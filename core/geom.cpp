#include "core/geom.h"

#include "core/bytes.h"

#include <bit>
#include <cmath>
#include <limits>

geom g;

std::array<std::uint8_t, geomsize> encodegeom(const geom &geometry)
{
    std::array<std::uint8_t, geomsize> image{};
    putlittle(image.data(), geometry.heads, 4);
    putlittle(&image[4], geometry.sectorspertrack, 4);
    putlittle(&image[8], geometry.bytespersector, 4);
    putlittle(&image[16], geometry.cylinders, 8);
    putlittle(&image[24], geometry.sectorspercyl, 8);
    putlittle(&image[32], geometry.bytespercyl, 8);
    putlittle(&image[40], geometry.totalbytes, 8);
    putlittle(&image[48], geometry.totalsectors, 8);
    return image;
}

geom decodegeom(std::span<const std::uint8_t, geomsize> image)
{
    geom geometry;
    geometry.heads = static_cast<std::uint32_t>(getlittle(image.data(), 4));
    geometry.sectorspertrack = static_cast<std::uint32_t>(getlittle(&image[4], 4));
    geometry.bytespersector = static_cast<std::uint32_t>(getlittle(&image[8], 4));
    geometry.cylinders = getlittle(&image[16], 8);
    geometry.sectorspercyl = getlittle(&image[24], 8);
    geometry.bytespercyl = getlittle(&image[32], 8);
    geometry.totalbytes = getlittle(&image[40], 8);
    geometry.totalsectors = getlittle(&image[48], 8);
    return geometry;
}

std::uint64_t gbtocylinders(double gb, const geom &geometry)
{
    const double bytespercyl =
        static_cast<double>(geometry.sectorspercyl * geometry.bytespersector);
    const double cylinders = bytespergb * gb / bytespercyl;
    // false also for NaN, and for a geometry without cylinders
    if (!(cylinders > 0) || !(bytespercyl > 0))
        return 0;
    // 2^64 is exact as a double, and the first value that does not fit
    if (cylinders >= std::ldexp(1.0, 64))
        return std::numeric_limits<std::uint64_t>::max();
    return static_cast<std::uint64_t>(cylinders);
}

double cylinderstogb(std::uint64_t cylinders, const geom &geometry)
{
    return static_cast<double>(cylinders * geometry.bytespercyl) / bytespergb;
}

GeomFault checkgeomfactors(long long bytespersector, long long sectorspertrack, long long heads)
{
    if (bytespersector < minbytespersector || bytespersector > maxbytespersector ||
        !std::has_single_bit(static_cast<unsigned long long>(bytespersector)))
        return GeomFault::bytespersector;
    if (sectorspertrack < 1 || sectorspertrack > maxsectorspertrack)
        return GeomFault::sectorspertrack;
    if (heads < 1 || heads > maxheads)
        return GeomFault::heads;
    return GeomFault::none;
}

geom withfactors(const geom &geometry, std::uint32_t bytespersector, std::uint32_t sectorspertrack,
                 std::uint32_t heads)
{
    geom changed = geometry;
    changed.bytespersector = bytespersector;
    changed.sectorspertrack = sectorspertrack;
    changed.heads = heads;
    changed.sectorspercyl = static_cast<std::uint64_t>(sectorspertrack) * heads;
    changed.bytespercyl = bytespersector * changed.sectorspercyl;
    changed.cylinders = changed.totalbytes / changed.bytespercyl;
    changed.totalsectors = changed.totalbytes / bytespersector;
    return changed;
}

bool geomissound(const geom &geometry)
{
    if (geometry.heads == 0 || geometry.sectorspertrack == 0 || geometry.bytespersector == 0)
        return false;
    // the product of two 32-bit factors fits 64 bits; with the third it may not
    const std::uint64_t sectorspercyl =
        static_cast<std::uint64_t>(geometry.heads) * geometry.sectorspertrack;
    if (sectorspercyl > std::numeric_limits<std::uint64_t>::max() / geometry.bytespersector)
        return false;
    const std::uint64_t bytespercyl = sectorspercyl * geometry.bytespersector;
    return geometry.sectorspercyl == sectorspercyl && geometry.bytespercyl == bytespercyl &&
           geometry.cylinders <= geometry.totalbytes / bytespercyl;
}
