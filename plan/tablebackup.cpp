#include "plan/tablebackup.h"

#include "core/diskhandle.h"
#include "platform/plainfile.h"

#include <QCryptographicHash>
#include <QDir>
#include <QStringList>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

namespace
{

// Between the scan file's name and the date.
constexpr char infix[] = ".tables-";
constexpr char title[] = "Sectors of a hard disk, as they were before its tables were written.";
constexpr char hashkey[] = "sha256: ";
// No backup is longer; a file of that name that is, is not read.
constexpr qint64 maxfilebytes = 1LL << 28;
// A longer chain of extended boot records is not followed.
constexpr std::size_t maxchain = 10'000;

struct Closing {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closing>;

// A model comes from a device: in the file it is one line of printable ASCII.
QString printable(const QString &text)
{
    QString plain = text;
    for (QChar &c : plain) {
        if (c.unicode() < ' ' || c.unicode() > '~')
            c = '?';
    }
    return plain;
}

QByteArray checksum(const QByteArray &header, const QByteArray &sectors)
{
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(header);
    hash.addData(sectors);
    return hash.result().toHex();
}

// A line of the header, one for each run of adjacent sectors. `skip` is the run's place in the
// file, in sectors.
QByteArray ddline(std::uint64_t skip, std::uint64_t seek, std::uint64_t count, std::uint32_t bytes)
{
    return QString("dd if=\"$FILE\" of=\"$DISK\" bs=%1 conv=notrunc skip=%2 seek=%3 count=%4\n")
        .arg(bytes)
        .arg(skip)
        .arg(seek)
        .arg(count)
        .toLatin1();
}

// The runs of adjacent sectors: first sector and count.
std::vector<std::pair<std::uint64_t, std::uint64_t>>
runsof(const std::map<std::uint64_t, std::vector<std::uint8_t>> &sectors)
{
    std::vector<std::pair<std::uint64_t, std::uint64_t>> runs;
    for (const auto &[sector, bytes] : sectors) {
        if (!runs.empty() && runs.back().first + runs.back().second == sector)
            ++runs.back().second;
        else
            runs.emplace_back(sector, 1);
    }
    return runs;
}

DiskIdentity identityof(const TableBackup &backup)
{
    DiskIdentity identity;
    identity.serial = backup.serial.toStdString();
    identity.model = backup.model.toStdString();
    identity.bytes = backup.diskbytes;
    identity.bytespersector = backup.sectorbytes;
    return identity;
}

QByteArray content(const QString &filename)
{
    const File file(platform::openplainfile(filename.toLocal8Bit().constData(), "rb"));
    QByteArray bytes;
    char part[1 << 16];
    while (file && bytes.size() <= maxfilebytes) {
        const std::size_t read = std::fread(part, 1, sizeof part, file.get());
        if (read == 0)
            break;
        bytes.append(part, static_cast<qsizetype>(read));
    }
    return bytes;
}

// The numbers of "skip=1 seek=2 count=3 ...".
bool readnumbers(const QByteArray &text, std::uint64_t &skip, std::uint64_t &seek,
                 std::uint64_t &count)
{
    const QByteArrayList words = text.split(' ');
    const std::pair<const char *, std::uint64_t *> numbers[] = {
        {"skip=", &skip}, {"seek=", &seek}, {"count=", &count}};
    for (qsizetype i = 0; i < 3; ++i) {
        bool ok = i < words.size() && words[i].startsWith(numbers[i].first);
        if (ok)
            *numbers[i].second = words[i].mid(words[i].indexOf('=') + 1).toULongLong(&ok);
        if (!ok)
            return false;
    }
    return true;
}

} // namespace

QString TableBackup::claim(void *handle)
{
    if (claimdisk(handle) == 0)
        return {};
    if (!diskpresent(handle))
        return "The disk does not answer any more.";
    return QString("Can not open the disk.\n" + QString::fromStdString(refusal(handle))).trimmed();
}

TableBackup TableBackup::ofdisk(void *handle, const DISKINFO &disk)
{
    TableBackup backup;
    backup.model = printable(QString::fromLocal8Bit(disk.model));
    const DiskIdentity identity = readidentity(handle, disk.devicepath);
    backup.serial = QString::fromStdString(identity.serial);
    backup.diskbytes = identity.bytes;
    geom geometry{};
    get_geometry(handle, &geometry);
    backup.sectorbytes = geometry.bytespersector;
    backup.date = QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch());
    return backup;
}

bool TableBackup::keep(void *handle, std::uint64_t sector)
{
    if (sectors.contains(sector))
        return true;
    std::vector<std::uint8_t> bytes(sectorbytes);
    if (!readimage(handle, sector, bytes)) {
        unreadable.insert(sector);
        return false;
    }
    unreadable.erase(sector);
    sectors[sector] = std::move(bytes);
    return true;
}

void TableBackup::keepchain(void *handle)
{
    const auto table = std::ranges::find_if(
        sectors, [](const auto &one) { return extendedlinks(one.second).has_value(); });
    if (table == sectors.end())
        return;
    const std::vector<std::uint64_t> bases = *extendedlinks(table->second);
    for (const std::uint64_t base : bases) {
        std::set<std::uint64_t> visited;
        std::uint64_t record = base;
        while (record < diskbytes / sectorbytes && visited.insert(record).second &&
               visited.size() <= maxchain) {
            const bool known = sectors.contains(record);
            if (!keep(handle, record))
                break;
            const auto links = extendedlinks(sectors[record]);
            // data that a damaged chain leads to is none of the tables
            if (!links && !known)
                sectors.erase(record);
            if (!links || links->empty())
                break;
            record = base + links->front();
        }
    }
}

bool TableBackup::mayfit(const DISKINFO &disk) const
{
    DiskIdentity listed;
    listed.serial = disk.identity.serial;
    listed.model = printable(QString::fromLocal8Bit(disk.model)).toStdString();
    listed.bytes = disk.identity.bytes;
    return differencefrom(identityof(*this), listed).empty();
}

bool TableBackup::isof(const TableBackup &other) const
{
    return differencefrom(identityof(*this), identityof(other)).empty();
}

Tables TableBackup::tables() const
{
    std::vector<SectorImage> images;
    for (const auto &[sector, bytes] : sectors)
        images.push_back({sector, ImageKind::kept, -1, bytes});
    return Tables::of(std::move(images));
}

QByteArray TableBackup::encode() const
{
    const auto runs = runsof(sectors);
    QByteArray body;
    for (const auto &[sector, bytes] : sectors)
        body.append(reinterpret_cast<const char *>(bytes.data()),
                    static_cast<qsizetype>(bytes.size()));
    // The header's length in sectors stands in the header itself: a longer one is tried until it
    // fits.
    for (std::uint64_t length = 1;; ++length) {
        // put together by hand: a model may hold what looks like a place marker
        QByteArray header = QByteArray(title) + "\ndisk: " + model.toLatin1() + "\n";
        if (!serial.isEmpty())
            header += "serial: " + serial.toLatin1() + "\n";
        header += QString("bytes: %1\nsector: %2\ndate: %3\n")
                      .arg(diskbytes)
                      .arg(sectorbytes)
                      .arg(date.toOffsetFromUtc(date.offsetFromUtc()).toString(Qt::ISODate))
                      .toLatin1();
        for (const std::uint64_t sector : unreadable)
            header += "not readable: " + QByteArray::number(static_cast<qulonglong>(sector)) + "\n";
        header += "To put them back: FILE is this file, DISK the disk; run the lines that begin "
                  "with dd.\n";
        std::uint64_t skip = length;
        for (const auto &[first, count] : runs) {
            header += ddline(skip, first, count, sectorbytes);
            skip += count;
        }
        const QByteArray whole = header + hashkey + checksum(header, body) + "\n";
        const std::uint64_t roombytes = length * sectorbytes;
        const auto room = static_cast<qsizetype>(roombytes);
        if (whole.size() <= room)
            return whole.leftJustified(room, '\n') + body;
        length =
            std::max<std::uint64_t>(length, static_cast<std::uint64_t>(whole.size()) / sectorbytes);
    }
}

std::optional<TableBackup> TableBackup::decode(const QByteArray &content)
{
    const qsizetype end = content.indexOf(QByteArray("\n") + hashkey) + 1;
    if (end <= 0)
        return {};
    const QByteArray header = content.left(end);
    TableBackup backup;
    std::uint64_t first = 0; // the first sector of the file behind the header
    std::uint64_t place = 0; // of the next run
    for (const QByteArray &line : header.split('\n')) {
        const auto value = [&line](const char *key) {
            return line.startsWith(key) ? line.mid(static_cast<qsizetype>(std::strlen(key)))
                                        : QByteArray();
        };
        if (const QByteArray text = value("disk: "); !text.isEmpty())
            backup.model = QString::fromLatin1(text);
        else if (const QByteArray number = value("serial: "); !number.isEmpty())
            backup.serial = QString::fromLatin1(number);
        else if (const QByteArray bytes = value("bytes: "); !bytes.isEmpty())
            backup.diskbytes = bytes.toULongLong();
        else if (const QByteArray sector = value("sector: "); !sector.isEmpty())
            backup.sectorbytes = sector.toUInt();
        else if (const QByteArray when = value("date: "); !when.isEmpty())
            backup.date = QDateTime::fromString(QString::fromLatin1(when), Qt::ISODate);
        else if (const QByteArray lost = value("not readable: "); !lost.isEmpty())
            backup.unreadable.insert(lost.toULongLong());
        if (!line.startsWith("dd "))
            continue;
        std::uint64_t skip = 0;
        std::uint64_t seek = 0;
        std::uint64_t count = 0;
        const qsizetype numbers = line.indexOf("skip=");
        if (backup.sectorbytes == 0 || numbers < 0 ||
            !readnumbers(line.mid(numbers), skip, seek, count) ||
            line + '\n' != ddline(skip, seek, count, backup.sectorbytes))
            return {};
        if (place == 0)
            first = place = skip;
        const auto total = static_cast<std::uint64_t>(content.size()) / backup.sectorbytes;
        if (skip != place || skip > total || count > total - skip)
            return {};
        for (std::uint64_t i = 0; i < count; ++i) {
            const auto *bytes = reinterpret_cast<const std::uint8_t *>(content.constData()) +
                                (skip + i) * backup.sectorbytes;
            backup.sectors[seek + i].assign(bytes, bytes + backup.sectorbytes);
        }
        place += count;
    }
    const std::uint64_t headerbytes = first * backup.sectorbytes;
    const QByteArray body = content.mid(static_cast<qsizetype>(headerbytes));
    const QByteArray stored = content.mid(end + static_cast<qsizetype>(std::strlen(hashkey)), 64);
    if (!header.startsWith(title) || !backup.date.isValid() || stored != checksum(header, body))
        return {};
    return backup;
}

QString TableBackup::save(const QString &scanfile) const
{
    const QString stem = scanfile + infix + date.toString("yyyy-MM-dd-HHmmss");
    QString name = stem;
    for (int i = 2; QFileInfo::exists(name); ++i)
        name = stem + QString("-%1").arg(i);
    const QByteArray bytes = encode();
    errno = 0;
    File file(platform::openplainfile(name.toLocal8Bit().constData(), "wb"));
    const bool written = file &&
                         std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()),
                                     file.get()) == static_cast<std::size_t>(bytes.size()) &&
                         platform::syncplainfile(file.get());
    const int reason = errno;
    const bool created = file != nullptr;
    file.reset();
    if (written && content(name) == bytes)
        return {};
    if (created)
        QFile::remove(name);
    return QString("The sectors that are about to be overwritten can not be kept in \"%1\".%2")
        .arg(QDir::toNativeSeparators(QFileInfo(name).absoluteFilePath()),
             reason != 0 ? QString("\n") + std::strerror(reason) : QString());
}

std::vector<QString> backupfiles(const QString &scanfile)
{
    std::vector<QString> names;
    for (const QString &name : QDir().entryList(QDir::Files | QDir::Hidden, QDir::Name)) {
        if (name.startsWith(scanfile) && name.contains(infix))
            names.push_back(name);
    }
    const auto date = [](const QString &name) { return name.mid(name.lastIndexOf(infix)); };
    std::stable_sort(names.begin(), names.end(),
                     [&date](const QString &a, const QString &b) { return date(a) > date(b); });
    return names;
}

std::optional<TableBackup> readbackup(const QString &filename)
{
    return TableBackup::decode(content(filename));
}
