#pragma once

#include "core/diskidentity.h"
#include "core/geom.h"
#include "core/part.h"
#include "core/reading.h"
#include "core/seg.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

/// The disk core: plain functions over raw disk handles. Those that return an int return 0 for
/// success and anything else for failure. None shows anything to the user.

// ---- raw access --------------------------------------------------------------------------------

/// The handle that stands for no open disk.
extern void *const invaliddisk;

/// Opens a disk for reading and writing, shared; `invaliddisk` on failure.
void *opendisk(const char *devicepath);
/// Closes a handle; `invaliddisk` is ignored.
void closedisk(void *handle);

/// Fills `out`: 0 if the system reported the geometry, -1 if `out` holds a guess (255 heads, 63
/// sectors of the system's length, else of 512 bytes). A reported size counts whole cylinders only,
/// a guessed one the whole disk.
int get_geometry(void *handle, geom *out);
/// Reads sector `sector` of `g.bytespersector` bytes: 0, or 1 on failure or a short transfer.
int readasector(void *handle, unsigned long long sector, char *buffer);
/// Writes sector `sector` of `g.bytespersector` bytes: 0, or 1 on failure or a short transfer.
int writeasector(void *handle, unsigned long long sector, char *buffer);
/// Reads sector `sector` of a disk whose sectors have the length of `image`; false on failure or a
/// short transfer.
bool readimage(void *handle, std::uint64_t sector, std::span<std::uint8_t> image);
/// Writes `image` to sector `sector`; the same.
bool writeimage(void *handle, std::uint64_t sector, std::span<const std::uint8_t> image);
/// Tells the system that the layout changed; true if that failed.
bool updatepartitiontable(void *handle);
/// Claims the disk behind a handle until that closes, as its first write would: 0, or 1 if
/// something else uses it. `refusal` says what.
int claimdisk(void *handle);
/// Why the last claim or write on a handle was refused, a sentence for the user; empty: not known.
std::string refusal(void *handle);
/// Whether the disk behind a handle is still there: its last failure is not "no such device", and
/// it reports a size that is not 0.
bool diskpresent(void *handle);
/// A buffer of `bytes` bytes, zeroed. If there is no memory for it, `message` is printed to the
/// standard error stream and the program ends with status 1.
std::unique_ptr<char[]> sectorbuffer(std::size_t bytes, const char *message);

// ---- enumeration -------------------------------------------------------------------------------

/// One detected disk.
struct DISKINFO {
    char devicepath[200] = {};     ///< device-interface path, NUL-terminated; what `opendisk` takes
    char model[80] = {};           ///< model text without any blank, NUL-terminated
    unsigned long long sizemb = 0; ///< size in units of 1,000,000 bytes, rounded down; 0 unknown
    bool runningos = false;        ///< `model` is that of the system's disk, or it is that disk
    char inuse[200] = {};          ///< who else uses it, for the user; empty: nobody
    bool guidtable = false;        ///< too many sectors for a master boot sector
    bool claimable = false;        ///< that use ends with the first write, or `claimdisk`
    DiskIdentity identity;         ///< what it is known by from now on
};

/// Appends one record for each usable disk, in the system's order. An empty list: none found.
void getallhdinfo(std::vector<DISKINFO> &list);
/// A disk that is present, but not usable.
struct UnlistedDisk {
    std::string node;   ///< under which the system knows it
    std::string reason; ///< a phrase for the user, or the system's own words
};
/// The present disks that are not in `list`, in the system's order.
std::vector<UnlistedDisk> unlisteddisks(const std::vector<DISKINFO> &list);
/// Appends the path of each present disk that opens and is not removable: 0, or 1 without a list.
int getalldevicenames(std::vector<std::string> &names);
/// Fills `model` (80 bytes): 0, -1 if the path can't be opened, -3 if the identity failed.
/// A path without usable parts and without an identity gives an empty model.
int getdisk(const char *path, char *model);
/// Whether the device reports removable media; false also if it can't be opened.
bool isusbflash(const char *path);
/// Takes the model out of a device path into `model` (80 bytes, cut to fit): 0, or -1 with an
/// empty model if the path has fewer than three parts or no `&` in the two middle ones.
int getusbsnmodel(const char *path, char *model);
/// Text of the ATA identity words `first` to `last`, inclusive, high byte first, without NULs and
/// blanks. The buffer is static and the next call overwrites it.
const char *getstring(const unsigned short *words, int first, int last);
/// The size in bytes by the first way that works. 0 also if none did, with `*size` as it was; -1
/// for `invaliddisk`.
int diskbytesize(void *handle, unsigned long long *size);
/// The same by path; -1 if it can't be opened.
int diskbytesize(char *path, unsigned long long *size);

// ---- sector tests ------------------------------------------------------------------------------

/// Sectors in one transfer of the batch tests.
inline constexpr int batchsectors = 20;

/// A test over a range of sectors, both ends inclusive: 0 healthy, 1 failed.
using TestFunction = int (*)(void *handle, unsigned long long first, unsigned long long last,
                             int bytespersector);
/// The same test with a `Reading` as its answer: `writerange` for `write_test`, else `readrange`.
RangeTest rangetest(TestFunction test);

/// `readrange`, `writerange` and `readsector` as ints: 0 good, else 1.
int read_test(void *handle, unsigned long long first, unsigned long long last, int bytespersector);
int write_test(void *handle, unsigned long long first, unsigned long long last, int bytespersector);
int readtestonesector(void *handle, unsigned long long sector, int bytespersector);
/// Writes one sector, flushes and reads it back: 0 equal, 1 seek, 2 write or flush, 3 read failed,
/// 4 different.
int writeandreadtestonesector(void *handle, unsigned long long sector, int bytespersector);
/// The first two sectors below `limit` that pass both single-sector tests; overwrites those that
/// pass the read test. An output keeps its value if no sector was found for it. Always 0.
int findfirsttwogoodsectors(void *handle, int bytespersector, unsigned long long limit,
                            unsigned long long &first, unsigned long long &second);
/// `roughcheck` as an int: 0 if all sectors were delivered, else 1.
int rough_test(void *handle, std::vector<SEG> &list, int bytespersector);

// ---- scan record on the disk -------------------------------------------------------------------

/// Magic words of the scan record, at offsets 0 and 4 of its sector.
inline constexpr std::uint32_t scanrecordmagic1 = 0x4165DCD9;
inline constexpr std::uint32_t scanrecordmagic2 = 0x06431B1F;

/// The sector image of a scan record: magic words, count, one bit a segment with segment 0 as the
/// highest bit of byte 12. At most (`bytespersector` - 12) x 8 segments fit; more are cut off.
std::vector<std::uint8_t> encodescanrecord(const SEG *segs, int count, int bytespersector);
/// Whether a sector image holds a scan record of exactly `count` segments.
bool isscanrecord(std::span<const std::uint8_t> sector, int count);
/// Sets `isbad` of `count` records to 0 or 1 from the image of a scan record.
void decodescanrecord(std::span<const std::uint8_t> sector, SEG *segs, int count);

/// Writes the record of `count` segments to `sector`: 0, or 1 if the write failed.
int writeseginfotodisk(void *handle, unsigned long long sector, SEG *segs, int count);
/// Sets the marks of `count` segments from the record in `sector`, which the caller has checked.
/// 0, or 1 if the sector could not be read; the marks then stay as they were.
int readseginfofromdisk(void *handle, unsigned long long sector, SEG *segs, int count);
/// The sector of a scan record of `count` segments: sector 1, or one of the sectors behind the
/// entries of a GUID table. `nosector` if there is none that can be read.
std::uint64_t findscanrecord(void *handle, int count);
/// Whether the disk holds a scan record of `count` segments.
bool hasseginfo(void *handle, int count);
