#include "views/partname.h"

#include <cmath>

QString gbtext(std::uint64_t cylinders)
{
    return QString::number(cylinderstogb(cylinders, g), 'f', 1);
}

QString sizetext(double bytes)
{
    const bool large = bytes >= 1000 * bytespergb;
    return QString::number(bytes / (large ? 1000 * bytespergb : bytespergb), 'f', 1) +
           (large ? " TB" : " GB");
}

std::optional<double> readgb(const QString &text)
{
    bool ok = false;
    const double gb = QString(text).replace(',', '.').toDouble(&ok);
    return ok && std::isfinite(gb) ? std::optional(gb) : std::nullopt;
}

QString gbrange(std::uint64_t start, std::uint64_t stop, const geom &geometry)
{
    const int decimals = cylinderstogb(stop + 1 - start, geometry) < 0.05 ? 4 : 1;
    const auto gb = [&](std::uint64_t cylinder) {
        return QString::number(cylinderstogb(cylinder, geometry), 'f', decimals);
    };
    return QString("%1 GB to %2 GB").arg(gb(start), gb(stop + 1));
}

QString partname(const EXTPART &part)
{
    return QString("%1, %2").arg(partkind(part.kind).spoken, gbrange(part.start, part.stop, g));
}
