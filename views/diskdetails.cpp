#include "views/diskdetails.h"

#include "views/partname.h"

#include <QStringList>

#include <cstdint>

namespace
{

QString shown(const std::string &text)
{
    return onerow(QString::fromStdString(text));
}

} // namespace

QString onerow(const QString &text)
{
    QString plain;
    for (const QChar c : text) {
        const bool hidden =
            c.category() == QChar::Other_Control || c.category() == QChar::Other_Format ||
            c.category() == QChar::Separator_Line || c.category() == QChar::Separator_Paragraph;
        plain += hidden ? QChar('?') : c;
    }
    return plain;
}

QString disktext(const DISKINFO &disk)
{
    const DiskIdentity &identity = disk.identity;
    QStringList names = {shown(identity.node)};
    for (const std::string &text : {identity.bus, identity.vendor, identity.model}) {
        if (!text.empty())
            names.append(shown(text));
    }
    QStringList lines = {names.join(", ")};
    lines.append("Serial number: " +
                 (identity.serial.empty() ? QString("not known") : shown(identity.serial)));
    QString lengths =
        identity.bytes == 0 ? QString("Length not known") : QString("%1 bytes").arg(identity.bytes);
    const QString size = sizetext(static_cast<double>(identity.bytes));
    if (size.endsWith("TB"))
        lengths += " (" + size + ")";
    if (identity.bytespersector != 0)
        lengths += QString(", sectors of %1 bytes").arg(identity.bytespersector);
    lines.append(lengths);
    lines.append(disk.guidtable ? "Gets a GUID partition table" : "Gets a master boot sector");
    if (disk.runningos)
        lines.append("Refused: the running system is on it, or on a disk of this model");
    else if (disk.inuse[0] != '\0')
        lines.append((disk.claimable ? "In use: " : "Refused, in use: ") +
                     onerow(QString::fromLocal8Bit(disk.inuse)));
    return lines.join('\n');
}

QString contentstext(const platform::Status &status, const platform::DiskContents &contents)
{
    if (status.fault == platform::Fault::unsupported)
        return "What it holds can not be told here.";
    if (!status.ok())
        return "What it holds could not be read: " +
               QString::fromStdString(platform::reasontext(status)) + ".";
    if (contents.table.empty() && contents.volumes.empty())
        return "It holds no partition table and no known file system.";
    QStringList lines = {contents.table.empty()
                             ? QString("Without a partition table:")
                             : QString("Partition table: %1").arg(shown(contents.table))};
    for (const auto &volume : contents.volumes) {
        QString line = volume.number > 0 ? QString("%1: ").arg(volume.number) : QString();
        line += sizetext(static_cast<double>(volume.bytes)) + ", ";
        if (!volume.readable)
            line += "could not be read";
        else
            line += volume.filesystem.empty() ? "no known file system" : shown(volume.filesystem);
        if (!volume.label.empty())
            line += ", \"" + shown(volume.label) + "\"";
        lines.append(line);
    }
    return lines.join('\n');
}

QString tooltipof(const QString &text)
{
    return "<p style='white-space:pre'>" + text.toHtmlEscaped() + "</p>";
}
