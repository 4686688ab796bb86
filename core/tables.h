#pragma once

#include "core/geom.h"
#include "core/part.h"
#include "core/seg.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// What a sector image holds.
enum class ImageKind {
    scanrecord, ///< the scan record
    mbr,        ///< the master boot sector
    ebr,        ///< an extended boot record
    gptheader,  ///< the header of a GUID partition table
    gptarray,   ///< a sector of its entries
    gptbackup,  ///< a sector of the copy of both at the disk's end
    cleared,    ///< zeros, over what a reader could take for a table
    kept        ///< what the sector held before, to be put back
};

/// One sector as it is to stand on the disk.
struct SectorImage {
    std::uint64_t sector = 0; ///< where it is written
    ImageKind kind = ImageKind::mbr;
    int part = -1;                   ///< index of the part that the image belongs to; -1: to none
    std::vector<std::uint8_t> bytes; ///< one whole sector
};

/// The sectors outside all partitions that the program uses for itself.
struct TableSectors {
    unsigned long long mbr = nosector;        ///< master boot sector
    unsigned long long scanrecord = nosector; ///< scan record
    // for a GUID table, whose master boot sector is the protective one in sector 0:
    unsigned long long array = nosector; ///< first sector of its entries
    unsigned long long disksectors = 0;  ///< length of the whole disk in sectors
};

/// The partition tables of one disk as sector images: built once, then written and read back. It
/// knows nothing of plans and uses no global.
class Tables
{
public:
    /// A master boot sector with a chain of extended boot records, and the scan record of `segs`
    /// (none if `segs` is empty).
    ///
    /// `parts` holds 'p' and 'e' first, 'l' behind them; all other kinds are ignored. They are
    /// moved off the tracks of `sectors` (`keepofftracks`) and checked (`checkparts`). Without a
    /// sector for the master boot sector they are only checked: there are no images then.
    /// `signature` goes to offset 0x1B8 of the master boot sector.
    static Tables mbr(std::vector<PART> parts, const geom &geometry, const TableSectors &sectors,
                      std::uint32_t signature, std::span<const SEG> segs = {});
    /// These images as they are, of any kind of table, to be written and read back alike.
    static Tables of(std::vector<SectorImage> images);

    /// A GUID partition table at both ends of the disk, with the scan record. The parts of kind 'p'
    /// and 'l' become entries in their order; they are cut to the usable sectors, with starts
    /// rounded up and stops rounded down to 1 MiB, or to 4096 bytes if less is there. `ids` holds
    /// the disk's GUID and then one for each part, `names` one name for each part.
    static Tables gpt(std::vector<PART> parts, const geom &geometry, const TableSectors &sectors,
                      std::span<const std::array<std::uint8_t, 16>> ids,
                      std::span<const std::string> names, std::span<const SEG> segs = {});

    /// Adds zeros for a sector of so many bytes, to be written last; nothing without images, or if
    /// the sector has an image.
    void clear(std::uint64_t sector, std::uint32_t bytespersector);

    /// What the format can't hold, in list order; empty: the tables can be written.
    [[nodiscard]] const std::vector<PARTFAULT> &faults() const { return refusals; }
    /// The parts as moved.
    [[nodiscard]] const std::vector<PART> &parts() const { return moved; }
    /// The images in the order in which they are written: the scan record, the master boot sector,
    /// the chain from its head; of a GUID table the entries, the header, the copy
    /// of both and the master boot sector last. Empty if there are faults.
    [[nodiscard]] const std::vector<SectorImage> &images() const { return sectors; }

    /// Writes the images in their order and tells the system; whether it accepted the new layout.
    /// Sector writes that fail are found by `readback`. Without images nothing is done: false.
    [[nodiscard]] bool write(void *handle) const;
    /// The images that are not on the disk as written: the tables in writing order, then the scan
    /// record.
    [[nodiscard]] std::vector<SectorImage> readback(void *handle) const;

private:
    std::vector<PART> moved;
    std::vector<PARTFAULT> refusals;
    std::vector<SectorImage> sectors;
};

/// The first sectors of the extended partitions or links in a partition table, as their entries
/// have them: in a master boot sector from the disk's start, in an extended boot record from the
/// extended partition's. Nothing if the sector holds no table.
std::optional<std::vector<std::uint64_t>> extendedlinks(std::span<const std::uint8_t> sector);
