#include "scan/scanreport.h"

#include "scan/maplines.h"
#include "scan/surfacesum.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace
{

using State = SurfaceCell::State;

constexpr const char *statenames[] = {"untested", "good", "slow", "bad", "margin", "working"};
constexpr const char *classnames[] = {"not measured", "below 50 ms", "below 150 ms", "below 500 ms",
                                      "500 ms or more"};

const char *statename(State state)
{
    return statenames[static_cast<int>(state)];
}

QString gb(std::uint64_t bytes)
{
    return QString::number(static_cast<double>(bytes) / bytespergb, 'f', 3) + " GB";
}

QString known(const std::string &text)
{
    return text.empty() ? QString("not known") : QString::fromStdString(text);
}

/// Text in two columns, under headings.
class Sheet
{
public:
    QString text = "quarn scan report\n";

    void heading(const char *name) { text += QString("\n%1\n").arg(name); }
    void row(const QString &name, const QString &value)
    {
        text += "  " + name.leftJustified(24) + value + '\n';
    }
};

// "sectors 10 to 19, 0.005 GB to 0.010 GB"
QString place(ByteRange range, const geom &geometry)
{
    return QString("sectors %1 to %2, %3 to %4")
        .arg(QString::number(range.first / geometry.bytespersector),
             QString::number(range.end / geometry.bytespersector - 1), gb(range.first),
             gb(range.end));
}

QString share(const SurfaceSum::Share &share, const ScanReport &report)
{
    return QString("%1 segments, %2 sectors, %3, %4 % of the disk")
        .arg(QString::number(share.segments),
             QString::number(share.bytes / report.geometry.bytespersector), gb(share.bytes),
             QString::number(100.0 * static_cast<double>(share.bytes) /
                                 static_cast<double>(report.diskbytes()),
                             'f', 2));
}

QJsonValue number(std::uint64_t value)
{
    return static_cast<qint64>(value);
}

QJsonValue measured(double value)
{
    return value < 0 ? QJsonValue() : QJsonValue(value);
}

QJsonObject object(ByteRange range, const geom &geometry)
{
    return {{"first_sector", number(range.first / geometry.bytespersector)},
            {"last_sector", number(range.end / geometry.bytespersector - 1)}};
}

} // namespace

QString textreport(const ScanReport &report)
{
    const geom &geometry = report.geometry;
    const SurfaceSum sum(report.cells, geometry);
    Sheet sheet;
    sheet.heading("Disk");
    sheet.row("model", known(report.disk.model));
    sheet.row("serial number", known(report.disk.serial));
    sheet.row("found as", known(report.disk.node));
    sheet.row(
        "length",
        QString("%1 bytes, %2").arg(QString::number(report.diskbytes()), gb(report.diskbytes())));
    sheet.row("geometry",
              QString("%1 cylinders, %2 heads, %3 sectors per track, %4 bytes per "
                      "sector")
                  .arg(QString::number(geometry.cylinders), QString::number(geometry.heads),
                       QString::number(geometry.sectorspertrack),
                       QString::number(geometry.bytespersector)));
    sheet.heading("Scan");
    sheet.row("date", report.date.isValid() ? report.date.toString("yyyy-MM-dd HH:mm:ss")
                                            : QString("not known"));
    sheet.row("tested by", !report.manner             ? "not known"
                           : report.manner->writetest ? "writing and reading back"
                                                      : "reading");
    if (report.manner)
        sheet.row("slow", QString("from %1 ms on; %2")
                              .arg(QString::number(report.manner->slowlimit),
                                   report.manner->slowisbad ? "counts as bad" : "not bad"));
    const int untested = sum.of(State::untested).segments + sum.of(State::working).segments;
    sheet.row("tested", QString("%1 of %2 segments")
                            .arg(QString::number(sum.all.segments - untested),
                                 QString::number(sum.all.segments)));
    if (!report.verdict.isEmpty())
        sheet.row("verdict", report.verdict);

    sheet.heading("Damage");
    sheet.row("bad", share(sum.of(State::bad), report));
    sheet.row("lost to the margin", share(sum.of(State::margin), report));
    for (const ByteRange &range : bytesof(report.cells, geometry, {State::bad}))
        sheet.row("stretch", place(range, geometry) + ": " + gb(range.end - range.first));

    sheet.heading("Slow places");
    sheet.row("slow", share(sum.of(State::slow), report));
    for (const SurfaceCell &cell : report.cells) {
        if (cell.state == State::slow)
            sheet.row("slow", place(bytesof(cell, geometry), geometry) +
                                  QString(": %1 ms").arg(cell.slowest, 0, 'f', 1));
    }
    for (std::size_t i = 0; i < sum.classes.size(); ++i)
        sheet.row(classnames[i], QString("%1 segments").arg(sum.classes[i]));

    sheet.heading("Speed");
    const auto speed = [](double value) { return QString::number(value, 'f', 1) + " MB/s"; };
    sheet.row("mean", sum.meanspeed < 0 ? QString("not measured") : speed(sum.meanspeed));
    if (sum.slowestspeed != nullptr)
        sheet.row("slowest segment", speed(sum.slowestspeed->speed) + ", " +
                                         place(bytesof(*sum.slowestspeed, geometry), geometry));
    if (sum.slowestread != nullptr)
        sheet.row("slowest transfer", QString("%1 ms, ").arg(sum.slowestread->slowest, 0, 'f', 1) +
                                          place(bytesof(*sum.slowestread, geometry), geometry));
    return sheet.text;
}

QByteArray jsonreport(const ScanReport &report)
{
    const geom &geometry = report.geometry;
    const SurfaceSum sum(report.cells, geometry);
    const auto text = [](const std::string &value) {
        return value.empty() ? QJsonValue() : QJsonValue(QString::fromStdString(value));
    };
    const QJsonObject disk{{"model", text(report.disk.model)},
                           {"serial", text(report.disk.serial)},
                           {"wwn", text(report.disk.wwn)},
                           {"node", text(report.disk.node)},
                           {"bytes", number(report.diskbytes())}};
    const QJsonObject geo{{"cylinders", number(geometry.cylinders)},
                          {"heads", number(geometry.heads)},
                          {"sectors_per_track", number(geometry.sectorspertrack)},
                          {"bytes_per_sector", number(geometry.bytespersector)}};
    QJsonObject states;
    for (std::size_t i = 0; i < sum.states.size(); ++i)
        states[statenames[i]] = QJsonObject{{"segments", sum.states[i].segments},
                                            {"bytes", number(sum.states[i].bytes)}};
    QJsonArray damage, segments;
    for (const ByteRange &range : bytesof(report.cells, geometry, {State::bad}))
        damage.append(object(range, geometry));
    for (const SurfaceCell &cell : report.cells) {
        QJsonObject segment = object(bytesof(cell, geometry), geometry);
        segment["first_cylinder"] = number(cell.start);
        segment["last_cylinder"] = number(cell.stop);
        segment["state"] = statename(cell.state);
        segment["slowest_ms"] = measured(cell.slowest);
        segment["speed_mbs"] = measured(cell.speed);
        segments.append(segment);
    }
    const auto &manner = report.manner;
    const QJsonObject scan{
        {"date",
         report.date.isValid()
             ? QJsonValue(
                   report.date.toOffsetFromUtc(report.date.offsetFromUtc()).toString(Qt::ISODate))
             : QJsonValue()},
        {"test", manner ? QJsonValue(manner->writetest ? "write" : "read") : QJsonValue()},
        {"slow_ms", manner ? QJsonValue(manner->slowlimit) : QJsonValue()},
        {"slow_is_bad", manner ? QJsonValue(manner->slowisbad) : QJsonValue()},
        {"verdict", report.verdict.isEmpty() ? QJsonValue() : QJsonValue(report.verdict)},
        {"mean_speed_mbs", measured(sum.meanspeed)},
        {"slowest_speed_mbs", measured(sum.slowestspeed ? sum.slowestspeed->speed : -1)},
        {"slowest_ms", measured(sum.slowestread ? sum.slowestread->slowest : -1)}};
    return QJsonDocument(QJsonObject{{"format", "quarn scan report"},
                                     {"version", 1},
                                     {"disk", disk},
                                     {"geometry", geo},
                                     {"scan", scan},
                                     {"states", states},
                                     {"damage", damage},
                                     {"segments", segments}})
        .toJson();
}
