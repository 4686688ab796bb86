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

// The writer's state; the GUI thread's alone. `firstgoodsector` takes the master boot sector and
// `secondgoodsector` the scan record: the commit sets both before it calls `batch_partition`.
extern std::vector<char> MBRbuffer;         ///< the master boot sector, one sector long
extern unsigned long long firstgoodsector;  ///< sector of the master boot sector
extern unsigned long long secondgoodsector; ///< sector of the scan record
extern unsigned long long MBRoffset;        ///< where the last write put the master boot sector
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
/// Frees the chain.
void releasememory();
/// Writes the whole layout and tells the system: 0 on success; non-zero if the plan can't be held
/// by the format (nothing is written then) or if the system did not take the new layout.
/// `parts` holds 'p' and 'e' first, 'l' behind them; `keepofftracks` moves them first.
int batch_partition(void *handle, std::vector<PART> &parts);

/// A sector of the written tables that can't be read back, or holds something else.
struct TABLEFAULT {
    std::uint64_t sector = 0; ///< where it lies
    /// Index in the list of the logical disk that the record belongs to; -1: the master boot
    /// sector.
    int part = -1;
};

/// Reads back what the last `batch_partition` wrote for `parts`: its sectors that are not on the
/// disk as written, the master boot sector first, then the chain in order. Empty if all are.
std::vector<TABLEFAULT> verifytables(void *handle, const std::vector<PART> &parts);

/// Keeps the track of each sector in `sectors`, and the disk's first track always, out of every
/// partition: a record that holds one of them starts at the first track behind it. An extended
/// entry and its first logical disk move together by the same rule, and with them the base of the
/// links. Doing it twice changes nothing more. `nosector` is passed over.
void keepofftracks(std::vector<PART> &parts, std::span<const std::uint64_t> sectors,
                   std::uint32_t sectorspertrack);

/// One reason why a list can't be written.
struct PARTFAULT {
    int part = -1;    ///< index in the list; -1 if it is about the whole list
    std::string text; ///< what is wrong, in words for the user
};

/// Every way in which the tables can't hold `parts`, in list order; empty if they can.
/// A position or count of 2^32 sectors or more; more than four top-level records; a logical disk
/// outside the extended entry, or without one; an extended boot record on the sector of the master
/// boot sector or of the scan record; a partition without a sector.
std::vector<PARTFAULT> checkparts(const std::vector<PART> &parts, const geom &geometry,
                                  std::uint64_t mbrsector, std::uint64_t recordsector);
