#include "views/partname.h"

#include "core/geom.h"

#include <cmath>

QString gbtext(std::uint64_t cylinders)
{
    return QString::number(cylinderstogb(cylinders, g), 'f', 1);
}

std::optional<double> readgb(const QString &text)
{
    bool ok = false;
    const double gb = QString(text).replace(',', '.').toDouble(&ok);
    return ok && std::isfinite(gb) ? std::optional(gb) : std::nullopt;
}

QString partname(const EXTPART &part)
{
    const int decimals = cylinderstogb(part.size, g) < 0.05 ? 4 : 1;
    const auto gb = [decimals](std::uint64_t cylinder) {
        return QString::number(cylinderstogb(cylinder, g), 'f', decimals);
    };
    return QString("%1, %2 GB to %3 GB")
        .arg(partkind(part.kind).spoken, gb(part.start), gb(part.stop + 1));
}
