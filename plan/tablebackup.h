#pragma once

#include "core/tables.h"
#include "core/tlcore.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

/// Sectors of a disk as they were before its tables were written: the way back. Kept in a file
/// beside the scan file, from which standard tools can put them back too (docs/formats.md).
struct TableBackup {
    QString model;                 ///< of the disk; printable ASCII in the file
    QString serial;                ///< of the disk, normalised; empty: unknown
    std::uint64_t diskbytes = 0;   ///< length of the disk; 0: unknown
    std::uint32_t sectorbytes = 0; ///< length of a sector
    QDateTime date;                ///< when the sectors were read; whole seconds
    std::map<std::uint64_t, std::vector<std::uint8_t>> sectors; ///< content by sector number
    std::set<std::uint64_t> unreadable;                         ///< sectors that could not be read

    /// Disk: claims it, as the first write would: empty, or why that was refused, for the user.
    static QString claim(void *handle);
    /// A backup without sectors. Disk: asks for the lengths.
    static TableBackup ofdisk(void *handle, const DISKINFO &disk);
    /// Disk: reads a sector, unless it was read before; whether it could be read.
    bool keep(void *handle, std::uint64_t sector);
    /// Disk: reads the extended chain of the partition table in the lowest kept sector that holds
    /// one.
    void keepchain(void *handle);

    /// Whether it can be of a listed disk.
    [[nodiscard]] bool mayfit(const DISKINFO &disk) const;
    /// Whether it is of the disk that `other` was read from.
    [[nodiscard]] bool isof(const TableBackup &other) const;
    /// The kept sectors as images to be written.
    [[nodiscard]] Tables tables() const;

    /// The file's content, and back; nothing if the content is damaged.
    [[nodiscard]] QByteArray encode() const;
    static std::optional<TableBackup> decode(const QByteArray &content);

    /// Writes a new file next to the scan file of this name and reads it back: empty, or why there
    /// is no such file now.
    [[nodiscard]] QString save(const QString &scanfile) const;
};

/// The names of the files of backups that begin with `scanfile`, newest first.
std::vector<QString> backupfiles(const QString &scanfile);
/// The backup in a file; nothing if it can't be read or is damaged.
std::optional<TableBackup> readbackup(const QString &filename);
