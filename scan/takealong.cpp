#include "scan/diskscanpage.h"

#include "scan/badblocks.h"
#include "scan/mapfile.h"
#include "scan/surfaceview.h"
#include "views/diskjob.h"
#include "views/inputbox.h"
#include "views/plainbox.h"
#include "wizard/dpwizard.h"

#include <QFile>
#include <QFileDialog>
#include <QMenu>
#include <QSaveFile>

#include <algorithm>
#include <array>

// The map's context menu: reports and maps for other tools, and maps from these.

namespace
{

constexpr qint64 piecesize = 1 << 16;

/// What "Save report…" can write, in the order of the dialog.
struct Format {
    const char *filter;
    const char *suffix;
};
constexpr std::array<Format, 4> formats{{{"Text (*.txt)", "txt"},
                                         {"JSON (*.json)", "json"},
                                         {"ddrescue mapfile (*.map)", "map"},
                                         {"badblocks list (*.badblocks)", "badblocks"}}};

QStringList filters()
{
    QStringList list;
    for (const Format &format : formats)
        list.append(format.filter);
    return list;
}

// A file's name, with the suffix of this format instead of that of another one.
QString withsuffix(QString name, const Format &format)
{
    for (const Format &other : formats) {
        const QString suffix = QString(".%1").arg(other.suffix);
        if (name.endsWith(suffix, Qt::CaseInsensitive))
            name.chop(suffix.size());
    }
    return name + '.' + format.suffix;
}

// The format that a file's name ends with; if with none, that of the dialog's filter.
std::size_t formatof(const QString &name, const QFileDialog &dialog)
{
    for (std::size_t i = 0; i < formats.size(); ++i) {
        if (name.endsWith(QString(".%1").arg(formats[i].suffix), Qt::CaseInsensitive))
            return i;
    }
    const qsizetype chosen = filters().indexOf(dialog.selectedNameFilter());
    return static_cast<std::size_t>(std::max<qsizetype>(chosen, 0));
}

bool istested(const SurfaceCell &cell)
{
    return cell.state != SurfaceCell::State::untested && cell.state != SurfaceCell::State::working;
}

// Whether both are one file, through links too.
bool issame(const QFileInfo &one, const QFileInfo &other)
{
    return one.exists() && other.exists() && one.canonicalFilePath() == other.canonicalFilePath();
}

// Feeds a file to a reader: why it can't be read, or is refused.
QString feed(const QString &name, MapReader &reader, const DiskJob &job)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return file.errorString();
    QByteArray piece;
    do {
        piece = file.read(piecesize);
    } while (!job.cancelled() && reader.feed(std::string_view(piece)) && !piece.isEmpty());
    if (file.error() != QFileDevice::NoError)
        return file.errorString();
    return QString::fromStdString(reader.finish());
}

} // namespace

void DiskScanPage::showmapmenu(const QPoint &place)
{
    if (InputGuard::active())
        return;
    auto *menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const std::vector<SurfaceCell> cells = surface();
    // A dialog runs events, which delete the menu: only once it has returned from its key or click.
    menu->addAction("Save report…", this, &DiskScanPage::savereport, Qt::QueuedConnection)
        ->setEnabled(std::ranges::any_of(cells, istested));
    menu->addAction("Load map…", this, &DiskScanPage::loadmap, Qt::QueuedConnection)
        ->setEnabled(segnum > 0);
    menu->popup(place);
}

void DiskScanPage::savereport()
{
    const ScanReport told = report();
    const QDate date = (told.date.isValid() ? told.date : QDateTime::currentDateTime()).date();
    QFileDialog dialog(this, "Save report");
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setNameFilters(filters());
    dialog.setDefaultSuffix(formats[0].suffix);
    dialog.selectFile(
        withsuffix(QString("%1-%2").arg(filename, date.toString(Qt::ISODate)), formats[0]));
    connect(&dialog, &QFileDialog::filterSelected, &dialog, [&] {
        const Format &format = formats[formatof({}, dialog)];
        dialog.setDefaultSuffix(format.suffix);
        if (!dialog.selectedFiles().isEmpty())
            dialog.selectFile(withsuffix(QFileInfo(dialog.selectedFiles()[0]).fileName(), format));
    });
    if (dialog.exec() != QDialog::Accepted || phase == Phase::closed)
        return;
    const QString name = dialog.selectedFiles().value(0);
    const std::vector<ByteRange> bad =
        bytesof(told.cells, told.geometry, {SurfaceCell::State::bad});
    QByteArray text;
    switch (formatof(name, dialog)) {
    case 0:
        text = textreport(told).toUtf8();
        break;
    case 1:
        text = jsonreport(told);
        break;
    case 2:
        text = QByteArray::fromStdString(encodemapfile(
            told.cells, told.geometry, maptarget().diskend(),
            QString("disk: %1, serial number %2\nscanned: %3")
                .arg(QString::fromStdString(told.disk.model),
                     told.disk.serial.empty() ? "not known"
                                              : QString::fromStdString(told.disk.serial),
                     told.date.toString(Qt::ISODate))
                .toStdString()));
        break;
    default:
        const auto blocksize = askblocksize(
            "Save report", "The list has the blocks of all bad segments.",
            [&bad](std::uint32_t size) {
                const BlockListSize list = badblockssize(bad, size);
                return QString("%1 bytes: %2 lines, %3 MB")
                    .arg(QString::number(size), QString::number(list.blocks),
                         QString::number(static_cast<double>(list.bytes) / 1e6, 'f', 1));
            });
        if (blocksize)
            writereport(name, [&](QIODevice &file, DiskJob &job) {
                return writebadblocks(bad, *blocksize, [&](std::string_view piece) {
                    return !job.cancelled() &&
                           file.write(piece.data(), std::ssize(piece)) == std::ssize(piece);
                });
            });
        return;
    }
    writereport(name,
                [&text](QIODevice &file, DiskJob &) { return file.write(text) == text.size(); });
}

void DiskScanPage::writereport(const QString &name,
                               const std::function<bool(QIODevice &, DiskJob &)> &write)
{
    // another program's report must not take the place of the result itself, or of a disk
    const QFileInfo target(name);
    QString why;
    if (issame(target, QFileInfo(filename)) ||
        issame(target, QFileInfo(QString::fromStdString(keptname(filename)))))
        why = "It holds the scan result itself.";
    else if (target.exists() && !target.isFile())
        why = "not a plain file";
    if (why.isEmpty()) {
        DiskJob job(this, "Writing the report...", true);
        why = job.run([&] {
            QSaveFile file(name);
            const bool written =
                file.open(QIODevice::WriteOnly) && write(file, job) && !job.cancelled();
            return (written && file.flush() && file.commit()) || job.cancelled()
                       ? QString()
                       : file.errorString();
        });
    }
    if (!why.isEmpty() && phase != Phase::closed)
        refuse(QString("Can not write the report.\n%1: %2").arg(name, why));
}

std::optional<std::uint32_t>
DiskScanPage::askblocksize(const QString &title, const QString &hint,
                           const std::function<QString(std::uint32_t)> &text)
{
    std::vector<std::uint32_t> sizes{diskgeom.bytespersector};
    for (const std::uint32_t size : {512U, 1024U, 4096U}) {
        if (size != sizes[0])
            sizes.push_back(size);
    }
    QStringList texts;
    for (const std::uint32_t size : sizes)
        texts.append(text(size));
    const std::optional<int> index = askchoice(this, {title, "Length of a block:", hint}, texts);
    if (!index || phase == Phase::closed)
        return {};
    return sizes[static_cast<std::size_t>(*index)];
}

void DiskScanPage::loadmap()
{
    if (!canbegin())
        return;
    QFileDialog dialog(this, "Load map");
    dialog.setOption(QFileDialog::DontUseNativeDialog);
    dialog.setFileMode(QFileDialog::ExistingFile);
    dialog.setNameFilter("All files (*)");
    if (dialog.exec() != QDialog::Accepted || phase == Phase::closed)
        return;
    const std::optional<std::vector<SEG>> marked = readmap(dialog.selectedFiles().value(0));
    if (!marked || phase == Phase::closed)
        return;

    const Result before = result();
    const int source = prevsource;
    const bool unsaved = savefailed;
    takeprevious(loadedresult(*marked));
    protect();
    surfaceview->forgetrun();
    surfaceview->showall();
    const std::vector<SEG> protectedplan(segs, segs + segnum);
    holdback = true;
    bool taken = passes();
    holdback = false;
    if (taken) {
        const std::vector<SEG> now(segs, segs + segnum);
        // as after a scan: with the margin only where a boundary was moved
        const QString unwritten = DiskJob(this, "Writing the scan result...").run([&] {
            return keeploaded(now == protectedplan ? *marked : now);
        });
        taken = phase != Phase::closed && !refuse(unwritten);
    }
    if (!taken) {
        restoreresult(before);
        prevsource = source;
        savefailed = unsaved;
    }
    surfaceview->showall();
    if (phase == Phase::closed)
        return;
    showprev();
    if (taken)
        dpwizard(this)->leavepage();
}

std::optional<std::vector<SEG>> DiskScanPage::readmap(const QString &name)
{
    const auto refused = [&](const QString &why) {
        refuse(QString("The map %1 can not be used.\n%2").arg(name, why));
        return std::nullopt;
    };
    if (!QFileInfo(name).isFile())
        return refused("not a plain file");
    constexpr const char *reading = "Reading the map...";
    const QByteArray beginning = DiskJob(this, reading).run([&name] {
        QFile file(name);
        return file.open(QIODevice::ReadOnly) ? file.read(piecesize) : QByteArray();
    });
    std::optional<std::uint32_t> blocksize;
    if (islistofnumbers(std::string_view(beginning)).value_or(false)) {
        blocksize = askblocksize("Load map",
                                 "The file is a list of bad blocks of the whole disk. It does not "
                                 "tell their length;\nbadblocks takes 1024 bytes unless it was "
                                 "given another one with -b.",
                                 [](std::uint32_t size) { return QString("%1 bytes").arg(size); });
        if (!blocksize)
            return {};
    }
    DiskJob job(this, reading, true);
    MapfileReader mapfile(maptarget());
    BadBlocksReader list(maptarget(), blocksize.value_or(1));
    MapReader *reader = &mapfile;
    if (blocksize)
        reader = &list;
    const QString why = job.run([&] { return feed(name, *reader, job); });
    if (job.cancelled() || phase == Phase::closed)
        return {};
    if (!why.isEmpty())
        return refused(why);
    return reader->plan();
}
