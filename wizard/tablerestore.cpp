#include "wizard/tablerestore.h"

#include "core/diskhandle.h"
#include "plan/tablebackup.h"
#include "scan/scanfile.h"
#include "views/diskjob.h"
#include "views/plainbox.h"

#include <QLocale>
#include <QMenu>
#include <QScopeGuard>
#include <QStringList>

namespace
{

constexpr int maxrows = 10;

QString datetext(const TableBackup &kept)
{
    return QLocale().toString(kept.date.toLocalTime(), QLocale::ShortFormat);
}

// A list of at most so many sector numbers.
QString numbers(const std::vector<SectorImage> &images)
{
    QStringList list;
    for (const SectorImage &image : images) {
        if (list.size() == maxrows)
            return list.join(", ") + QString(" and %1 more").arg(images.size() - maxrows);
        list.append(QString::number(image.sector));
    }
    return list.join(", ");
}

void restoretables(QWidget *row, const DISKINFO &disk, const TableBackup &kept)
{
    const auto refuse = [row](const QString &text) {
        plainbox(row, QMessageBox::Warning, "error", text);
    };
    const QString date = datetext(kept);
    if (!plainquestion(row, "restore",
                       QString("Restore the partition tables of %1 on the disk \"%2\"?\n"
                               "Partitions that were made since can not be used then.")
                           .arg(date, kept.model)))
        return;
    DiskJob job(row, "Writing the partition tables to the disk...", true,
                DiskJob::Cancelling::untilwritten);
    std::string refusal;
    DiskHandle handle = job.run([&] { return openchosen(disk, refusal); });
    const auto closes = qScopeGuard([&] { job.run([&] { handle.reset(); }); });
    if (!handle)
        return refuse(QString::fromStdString(refusal));
    const QString fault = job.run([&] { return TableBackup::claim(handle.get()); });
    if (!fault.isEmpty())
        return refuse(fault);
    TableBackup now = job.run([&] { return TableBackup::ofdisk(handle.get(), disk); });
    if (job.cancelled())
        return;
    if (!kept.isof(now))
        return refuse("These partition tables were kept from another disk. Nothing was written.");
    const QString unkept = job.run([&] {
        for (const auto &[sector, bytes] : kept.sectors)
            now.keep(handle.get(), sector);
        now.keepchain(handle.get());
        return now.save(QString::fromStdString(scanfilename(disk.model)));
    });
    if (job.cancelled())
        return;
    if (!unkept.isEmpty() &&
        !plainquestion(row, "restore", unkept + "\n\nRestore without a way back?"))
        return;

    const Tables tables = kept.tables();
    bool taken = false, gone = false;
    std::vector<SectorImage> missing;
    job.run([&] {
        taken = tables.write(handle.get());
        missing = tables.readback(handle.get());
        gone = !missing.empty() && !diskpresent(handle.get());
    });
    if (job.cancelled())
        return;
    if (gone)
        return refuse("The disk does not answer any more.");
    if (!missing.empty())
        return refuse(QString("These sectors are not on the disk as they were: %1. The tables can "
                              "be damaged.")
                          .arg(numbers(missing)));
    QString text = QString("The partition tables of %1 are on the disk again.").arg(date);
    if (!taken)
        text += " The system has not taken them over: disconnect the disk or reset the computer.";
    plainbox(row, QMessageBox::Information, "ok", text);
}

} // namespace

void addrestoremenu(QWidget *row, const DISKINFO &disk)
{
    row->setContextMenuPolicy(Qt::CustomContextMenu);
    QObject::connect(row, &QWidget::customContextMenuRequested, row, [row, disk](QPoint place) {
        auto *menu = new QMenu(row);
        menu->setAttribute(Qt::WA_DeleteOnClose);
        for (const QString &name : backupfiles(QString::fromStdString(scanfilename(disk.model)))) {
            const std::optional<TableBackup> kept = readbackup(name);
            if (!kept || !kept->mayfit(disk) || menu->actions().size() == maxrows)
                continue;
            // its dialogs run events, which delete the menu: only once that has returned
            menu->addAction(
                "Restore the partition tables of " + datetext(*kept), row,
                [row, disk, kept] { restoretables(row, disk, *kept); }, Qt::QueuedConnection);
        }
        if (menu->isEmpty())
            menu->addAction("No partition tables were kept")->setEnabled(false);
        menu->popup(row->mapToGlobal(place));
    });
}
