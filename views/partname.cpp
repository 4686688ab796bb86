#include "views/partname.h"

#include "core/geom.h"

QString gbtext(std::uint64_t cylinders)
{
    return QString::number(cylinderstogb(cylinders, g), 'f', 1);
}

QString partname(const EXTPART &part)
{
    return QString("%1, %2 GB to %3 GB")
        .arg(partkind(part.kind).spoken, gbtext(part.start), gbtext(part.stop + 1));
}
