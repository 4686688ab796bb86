#include "views/partname.h"

#include "core/geom.h"

QString gbtext(std::uint64_t cylinders)
{
    return QStringLiteral("%1").arg(cylinderstogb(cylinders, g), 0, 'f', 1);
}

QString partname(const EXTPART &part)
{
    QString what;
    switch (part.kind) {
    case 'b':
        what = QStringLiteral("Bad block");
        break;
    case 'p':
        what = QStringLiteral("Primary Partition");
        break;
    case 'l':
        what = QStringLiteral("Logical Disk");
        break;
    default:
        what = QStringLiteral("Good block");
        break;
    }
    return QStringLiteral("%1, %2 GB to %3 GB")
        .arg(what, gbtext(part.start), gbtext(part.stop + 1));
}
