#include "scan/scanplan.h"

#include <algorithm>

namespace
{

// From here on a double can't tell neighbouring cylinders apart.
constexpr std::uint64_t cylinderlimit = 1ULL << 52;

} // namespace

bool canplan(const geom &geometry)
{
    // Devices may report any number of tracks and heads. The sector length is checked because
    // transfers are sized by it.
    return geomissound(geometry) && geometry.cylinders > 0 && geometry.cylinders < cylinderlimit &&
           checkgeomfactors(geometry.bytespersector, 1, 1) == GeomFault::none;
}

int plansegments(const geom &geometry)
{
    return static_cast<int>(std::min<std::uint64_t>(geometry.cylinders, maxsegments));
}

std::vector<SEG> makeplan(const geom &geometry)
{
    const int segnum = plansegments(geometry);
    const double length = segmentlength(geometry, segnum);
    std::vector<SEG> plan(static_cast<std::size_t>(segnum));
    for (int i = 0; i < segnum; ++i) {
        plan[i].start = static_cast<std::uint64_t>(i * length);
        plan[i].stop = static_cast<std::uint64_t>((i + 1) * length - 1.0);
    }
    return plan;
}

double segmentlength(const geom &geometry, int segnum)
{
    return segnum > 0 ? static_cast<double>(geometry.cylinders) / segnum : 0;
}

int segindex(std::uint64_t cylinder, const geom &geometry, int segnum)
{
    const double length = segmentlength(geometry, segnum);
    if (!(length > 0))
        return 0;
    const double index = static_cast<double>(cylinder) / length;
    return index < segnum ? static_cast<int>(index) : segnum - 1;
}
