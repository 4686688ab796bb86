#include "scan/verdict.h"

#include "scan/scanfile.h"
#include "scan/surfacesum.h"

#include <QFileInfo>

#include <algorithm>

namespace
{

using State = SurfaceCell::State;

QString count(std::int64_t number, const char *what)
{
    return QString("%1 %2%3").arg(QString::number(number), what, number == 1 ? "" : "s");
}

QString gb(std::uint64_t bytes)
{
    const double value = static_cast<double>(bytes) / bytespergb;
    return QString::number(value, 'f', bytes > 0 && value < 0.1 ? 3 : 1) + " GB";
}

} // namespace

FormerResult formerresult(const std::string &scanfile)
{
    ScanFile kept = readkeptresult(scanfile);
    if (kept.state != ScanFileState::complete)
        return {};
    const QFileInfo file(QString::fromStdString(keptname(scanfile)));
    return {kept.geometry, std::move(kept.segs), file.lastModified().date()};
}

QString verdict(std::span<const SurfaceCell> cells, const geom &geometry,
                const FormerResult &former)
{
    const SurfaceSum sum(cells, geometry);
    if (!sum.iswhole())
        return {};
    const auto &bad = sum.of(State::bad), &margin = sum.of(State::margin);
    QString text =
        QString("%1 bad, %2 slow.")
            .arg(count(bad.segments, "segment"), QString::number(sum.of(State::slow).segments));
    text += bad.segments == 0 ? QString(" Nothing is lost.")
                              : QString(" Lost: %1 to damage, %2 to the margin.")
                                    .arg(gb(bad.bytes), gb(margin.bytes));

    bool grewbyhalf = false;
    if (!former.segs.empty()) {
        const QString date = former.date.toString(Qt::ISODate);
        std::uint64_t formerbytes = 0;
        std::int64_t formerbad = 0, grown = 0;
        for (const SEG &seg : former.segs) {
            if (seg.isbad == 0)
                continue;
            ++formerbad;
            formerbytes += (seg.stop - seg.start + 1) * former.geometry.bytespercyl;
        }
        if (former.geometry == geometry && former.segs.size() == cells.size()) {
            for (std::size_t i = 0; i < cells.size(); ++i) {
                const bool was = former.segs[i].isbad != 0;
                if (cells[i].state == State::bad)
                    grown += was ? 0 : 1;
                else if (cells[i].state != State::margin)
                    grown -= was ? 1 : 0;
            }
            grewbyhalf = grown * 2 > formerbad;
            text += grown == 0 ? QString(" No more bad segments than on %1.").arg(date)
                               : QString(" %1 %2 than on %3.")
                                     .arg(count(std::abs(grown), "bad segment"),
                                          grown > 0 ? "more" : "fewer", date);
        } else {
            const bool less = bad.bytes < formerbytes;
            const std::uint64_t grownbytes =
                less ? formerbytes - bad.bytes : bad.bytes - formerbytes;
            grewbyhalf = !less && grownbytes > formerbytes / 2;
            text += grownbytes == 0 ? QString(" No more damage than on %1.").arg(date)
                                    : QString(" %1 of damage %2 than on %3.")
                                          .arg(gb(grownbytes), less ? "less" : "more", date);
        }
    }
    const bool tenth = bad.bytes >= sum.all.bytes / 10 && bad.bytes > 0;
    if (tenth || grewbyhalf)
        text += QString(" Do not use this disk: %1.")
                    .arg(tenth ? "a tenth of it is bad" : "its damage grew by more than half");
    return text;
}
