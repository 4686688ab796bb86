#pragma once

#include "core/geom.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// One partition to be written, in sectors.
struct PART {
    std::uint64_t start = 0;   ///< first sector
    std::uint64_t stop = 0;    ///< last sector, inclusive
    std::uint64_t size = 0;    ///< number of sectors
    char kind = 0;             ///< 'p' primary, 'e' extended, 'l' logical disk
    char index = 0;            ///< position in the list; for 'p' and 'e' the slot of the table
    std::uint8_t bootflag = 0; ///< 0x80 active, 0 inactive
    char systype = 0;          ///< partition type byte
};

/// One 16-byte entry of a table inside a sector image.
///
/// Offsets: 0 boot flag; 1 head, 2 sector and cylinder, 3 cylinder of the first sector; 4 type;
/// 5 to 7 the same of the last sector; 8 first sector, 12 number of sectors, both 32 bits,
/// little-endian. The layout is the one of every master boot sector since 1983.
class PARTSLOT
{
public:
    explicit PARTSLOT(char *image) : bytes(reinterpret_cast<std::uint8_t *>(image)) {}

    [[nodiscard]] std::uint8_t byte(int offset) const { return bytes[offset]; }
    void setbyte(int offset, std::uint8_t value) { bytes[offset] = value; }

    /// Length of an entry in bytes.
    static constexpr int length = 16;
    static constexpr int bootflag = 0;
    static constexpr int starthead = 1;
    static constexpr int startsectorcyl = 2;
    static constexpr int startcyl = 3;
    static constexpr int systype = 4;
    static constexpr int stophead = 5;
    static constexpr int stopsectorcyl = 6;
    static constexpr int stopcyl = 7;
    static constexpr int startsector = 8;
    static constexpr int sectornum = 12;

private:
    std::uint8_t *bytes;
};

/// One extended boot record of the chain in memory.
struct LOGICALDISK {
    std::uint64_t start = 0;     ///< first sector of the block, where the record is written
    std::uint64_t stop = 0;      ///< last sector of the block
    char *sector = nullptr;      ///< the record's image, one sector, owned
    LOGICALDISK *next = nullptr; ///< null at the end of the chain
};

/// A sector number that stands for "none found".
inline constexpr std::uint64_t nosector = ~0ULL;

// The functions below work on these, for the GUI thread only. `firstgoodsector` is where the master
// boot sector goes and `secondgoodsector` where the scan record goes: both must be set before a
// call of `batch_partition`. `Tables` (core/tables.h) does the same job without them.
extern std::vector<char> MBRbuffer;         ///< the last master boot sector, one sector long
extern unsigned long long firstgoodsector;  ///< sector of the master boot sector
extern unsigned long long secondgoodsector; ///< sector of the scan record
extern unsigned long long MBRoffset;        ///< where the master boot sector was last written
extern unsigned int extended_offset;        ///< first sector of the extended partition
extern LOGICALDISK *firstlogicaldisk;       ///< head of the chain, null when there is none

/// Sets the mark 0x55, 0xAA at 0x1FE, whatever the sector's length.
void makepteffective(char *sector);
/// The entry at 0x1BE + 16 x `slot`.
PARTSLOT getpartslot(char *sector, int slot);
/// Writes a position of `g` in head, sector and cylinder form, clamped at cylinder 1023.
void writestarthsctopartslot(PARTSLOT *slot, unsigned long long lba);
void writestophsctopartslot(PARTSLOT *slot, unsigned long long lba);
/// Write the two 32-bit fields, least significant byte first.
void writestartsectortopartslot(PARTSLOT *slot, unsigned int startsector);
void writesectornumtopartslot(PARTSLOT *slot, unsigned int sectornum);
/// Fills one slot of `MBRbuffer`; a `start` of 0 becomes the second track.
void add_prim_partition(int slot, unsigned long long start, unsigned long long stop,
                        unsigned char bootflag, int systype);
/// Makes the extended boot record of a logical disk and links it behind `prev` (null: the first).
LOGICALDISK *add_logical_disk(unsigned long long start, unsigned long long stop,
                              unsigned char bootflag, int systype, LOGICALDISK *prev);
/// Writes `MBRbuffer` to `firstgoodsector`, then each record of the chain, head first.
void writepartresulttodisk(void *handle);
/// Frees all nodes and images that `add_logical_disk` made.
void releasememory();
/// Writes the tables of `parts` (`Tables::mbr`) and tells the system: 0 on success; non-zero if the
/// format can't hold them (nothing is written then) or the system did not accept the new layout.
/// `parts` come back as moved.
int batch_partition(void *handle, std::vector<PART> &parts);

class Tables;

/// Fills `MBRbuffer`, `MBRoffset` and `extended_offset` from tables without faults.
void publishtables(const Tables &tables);

/// Moves all parts off the track of each sector in `sectors`, and off the disk's first track: a
/// part that holds such a sector starts at the first track behind it. An extended partition and its
/// first logical disk move together, and with them the base of the links. A second call changes
/// nothing. `nosector` is ignored.
void keepofftracks(std::vector<PART> &parts, std::span<const std::uint64_t> sectors,
                   std::uint32_t sectorspertrack);

/// One reason why a list can't be written.
struct PARTFAULT {
    int part = -1;    ///< index in the list; -1 if it is about the whole list
    std::string text; ///< what is wrong, in words for the user
};

/// Every reason why the tables can't hold `parts`, in list order; empty if they can.
/// A position or count of 2^32 sectors or more; more than four top-level records; a logical disk
/// outside the extended partition, or without one; an extended boot record on the sector of the
/// master boot sector or of the scan record; a partition without a sector, or of type 0. Logical
/// disks that lie outside for the order of their rows are one reason, the first.
std::vector<PARTFAULT> checkparts(const std::vector<PART> &parts, const geom &geometry,
                                  std::uint64_t mbrsector, std::uint64_t recordsector);
