#include "views/surfacetext.h"

#include "views/partname.h"
#include "views/surfacekind.h"

namespace
{

QString resultword(const SurfaceCell &cell)
{
    return surfacekinds[surfacekind(cell)].word;
}

QString slowesttext(const SurfaceCell &cell)
{
    const int decimals = cell.slowest < 1 ? 2 : cell.slowest < 10 ? 1 : 0;
    return QString("slowest read %1 ms").arg(QString::number(cell.slowest, 'f', decimals));
}

} // namespace

QString speedtext(double speed)
{
    return QString::number(speed, 'f', speed < 10 ? 1 : 0) + " MB/s";
}

QStringList celltexts(const SurfaceData &data, int index)
{
    const SurfaceCell &cell = data.cells[static_cast<std::size_t>(index)];
    QStringList texts = {QString("segment %1 of %2").arg(index + 1).arg(data.count()),
                         resultword(cell)};
    if (cell.slowest >= 0)
        texts += slowesttext(cell);
    if (cell.speed >= 0)
        texts += speedtext(cell.speed);
    const std::uint64_t sectors = data.disk.sectorspercyl;
    texts += gbrange(cell.start, cell.stop, data.disk);
    texts += QString("cylinders %1 to %2").arg(cell.start).arg(cell.stop);
    texts +=
        QString("sectors %1 to %2").arg(cell.start * sectors).arg((cell.stop + 1) * sectors - 1);
    return texts;
}

QString spokencell(const SurfaceData &data, int index)
{
    const SurfaceCell &cell = data.cells[static_cast<std::size_t>(index)];
    QString words = QString("segment %1, %2, %3")
                        .arg(index + 1)
                        .arg(gbrange(cell.start, cell.stop, data.disk), resultword(cell));
    if (cell.slowest >= 0)
        words += ", " + slowesttext(cell);
    return words;
}
