#pragma once

#include "core/gpt.h"
#include "core/tables.h"
#include "core/wholedisk.h"
#include "plan/planreport.h"
#include "plan/tablebackup.h"

#include <QString>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

/// The faults of a list, a line each, in words for the user: ten lines at most, then how many more
/// there are. Empty if there are none.
QString planfaulttext(const std::vector<PARTFAULT> &faults);

/// One commit of a plan to a disk, in steps. They are called in the order in which they stand here;
/// a QString result is the refusal for the user, and ends the commit if it isn't empty.
///
/// Functions marked "Disk:" wait for the disk. Each is one plain call without a dialog and without
/// globals, and may run on another thread.
class Commit
{
public:
    /// A disk of more than `maxmbrsectors` sectors gets a GUID partition table: what follows is
    /// then about sectors 0 and 1, which it needs, a place for its entries, and the scan record
    /// behind them.
    ///
    /// The scan record is that of the raw segments. Master boot sector and scan record go to
    /// sectors 0 and 1. If the first segment is bad, or `search` asks for it since sector 0 took
    /// no table before, the first two tracks are searched for two sectors that take them.
    Commit(const geom &disk, std::vector<SEG> raw, std::vector<PART> plan, bool search);

    /// What refuses the plan on every disk.
    [[nodiscard]] QString refusal() const;
    /// Disk: reads all sectors that the commit may overwrite, and the old extended chain. Tries the
    /// plan against each outcome that the search can have, and refuses it if it fits none. Writes
    /// nothing.
    [[nodiscard]] QString prepare(void *handle, const DISKINFO &disk);
    /// Why the plan may be refused behind the search, which overwrites sectors. Empty: it fits each
    /// outcome.
    [[nodiscard]] const QString &risk() const { return doubt; }
    /// What `prepare` read, to be saved.
    [[nodiscard]] const TableBackup &backup() const { return before; }
    /// Disk: chooses the two sectors and builds the tables. A search overwrites sectors.
    [[nodiscard]] QString search(void *handle);
    /// Disk: writes the tables and tells the system.
    [[nodiscard]] QString write(void *handle);
    /// Disk: reads them back, and looks for what an earlier use of the whole disk has left.
    void readback(void *handle);
    /// Adds to the result what is on the disk, and sets the globals of core/part.h. The commands
    /// that it names are for the result's `devicepath`.
    void report(PARTRESULT &result) const;

private:
    [[nodiscard]] TableSectors settled(std::uint64_t first, std::uint64_t second) const;
    [[nodiscard]] Tables build(const TableSectors &sectors) const;
    [[nodiscard]] std::vector<TableSectors> outcomes() const;
    [[nodiscard]] TableSectors entriesat(std::uint64_t sector) const;
    [[nodiscard]] QString searchguidtable(void *handle);
    void findstaleheaders(void *handle);
    void findneighbours(void *handle);

    geom geometry;
    std::vector<SEG> segs;
    std::vector<PART> parts;
    std::uint32_t signature; ///< the clock, seconds since 1970
    bool guidtable;
    std::vector<Guid> ids;            ///< of the disk and of each part, for a GUID table
    std::vector<std::string> names;   ///< of each part
    std::uint64_t disksectors;        ///< length of the disk, which may end behind the plan
    std::vector<std::uint64_t> stale; ///< GUID headers that the master boot sector replaces
    bool searching;
    std::uint64_t unitsectors; ///< what systems read at once: aligned runs of so many sectors
    std::uint64_t searchlimit; ///< first sector behind the search
    std::uint64_t fallback = nosector;     ///< first sector of the first good segment
    std::vector<std::uint64_t> candidates; ///< sectors of the search that could be read
    TableBackup before;
    QString doubt;
    Tables tables;
    TableSectors chosen;
    std::vector<SectorImage> missing;     ///< not on the disk as written
    std::vector<std::uint64_t> besidebad; ///< sectors of the tables in units that can't be read
    bool copybesidebad = false;           ///< the same of the copy at the disk's end
    WholeDiskUses leftuses;               ///< what the tables have not overwritten
    bool gone = false;                    ///< the disk did not answer the reading back
};
