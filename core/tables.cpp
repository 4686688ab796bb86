#include "core/tables.h"

#include "core/bytes.h"
#include "core/tlcore.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <iterator>
#include <memory>
#include <utility>

std::vector<char> MBRbuffer;
unsigned long long firstgoodsector = nosector;
unsigned long long secondgoodsector = nosector;
unsigned long long MBRoffset = nosector;
unsigned int extended_offset = 0;
LOGICALDISK *firstlogicaldisk = nullptr;

namespace
{

// Offsets inside a sector that holds a table, for sectors of every length.
constexpr int signatureoffset = 0x1B8;
constexpr int tableoffset = 0x1BE;
constexpr int markoffset = 0x1FE;

// The last cylinder of the head, sector and cylinder form.
constexpr std::uint64_t lasthsccylinder = 1023;

// The largest head and sector of that form.
constexpr std::uint64_t lasthschead = 255;
constexpr std::uint64_t lasthscsector = 63;

// Type byte of a link from one extended boot record to the next.
constexpr std::uint8_t linktype = 0x0F;
// Type bytes that other systems write for an extended partition or a link.
constexpr std::array<std::uint8_t, 3> extendedtypes = {0x05, linktype, 0x85};

// Writes a position to three bytes: head; sector from 1 with bits 8 and 9 of the cylinder above
// it; cylinder. A position that the fields can't hold, behind cylinder 1023 or in a geometry of
// more heads or sectors, becomes the last sector of cylinder 1023, as far as the fields hold that.
void writehsc(PARTSLOT *slot, int offset, std::uint64_t lba, const geom &geometry)
{
    const std::uint64_t sectors = geometry.sectorspertrack;
    const std::uint64_t heads = geometry.heads;
    std::uint64_t cylinder = lba / (heads * sectors);
    std::uint64_t head = lba / sectors % heads;
    std::uint64_t sector = lba % sectors + 1;
    if (cylinder > lasthsccylinder || head > lasthschead || sector > lasthscsector) {
        cylinder = lasthsccylinder;
        head = std::min(heads - 1, lasthschead);
        sector = std::min(sectors, lasthscsector);
    }
    slot->setbyte(offset, static_cast<std::uint8_t>(head));
    slot->setbyte(offset + 1, static_cast<std::uint8_t>(sector | (cylinder >> 8 << 6)));
    slot->setbyte(offset + 2, static_cast<std::uint8_t>(cylinder));
}

void writelittle(PARTSLOT *slot, int offset, unsigned int value)
{
    for (int i = 0; i < 4; ++i)
        slot->setbyte(offset + i, static_cast<std::uint8_t>(value >> 8 * i));
}

// Fills an entry: `start` and `stop` are absolute, the first-sector field counts from `base`.
void fillslot(PARTSLOT slot, std::uint64_t start, std::uint64_t stop, std::uint64_t base,
              std::uint8_t bootflag, std::uint8_t systype, const geom &geometry)
{
    slot.setbyte(PARTSLOT::bootflag, bootflag);
    slot.setbyte(PARTSLOT::systype, systype);
    writestartsectortopartslot(&slot, static_cast<unsigned int>(start - base));
    writesectornumtopartslot(&slot, static_cast<unsigned int>(stop - start + 1));
    writehsc(&slot, PARTSLOT::starthead, start, geometry);
    writehsc(&slot, PARTSLOT::stophead, stop, geometry);
}

// Fills the slot of the master boot sector that a part names by its index.
void fillprimary(char *sector, const PART &part, const geom &geometry)
{
    // the first track holds the master boot sector and the scan record
    const std::uint64_t start = part.start == 0 ? geometry.sectorspertrack : part.start;
    fillslot(getpartslot(sector, part.index), start, part.stop, 0, part.bootflag,
             static_cast<std::uint8_t>(part.systype), geometry);
}

// Fills slot 0 of the extended boot record at the part's start. The logical disk begins on the
// track behind, and is counted from its own record.
void filllogical(char *sector, const PART &part, const geom &geometry)
{
    makepteffective(sector);
    fillslot(getpartslot(sector, 0), part.start + geometry.sectorspertrack, part.stop, part.start,
             part.bootflag, static_cast<std::uint8_t>(part.systype), geometry);
}

// Fills slot 1 of an extended boot record with the link to the next one, which starts at `start`.
// Links are counted from the start of the extended partition.
void filllink(char *sector, std::uint64_t start, std::uint64_t stop, std::uint32_t extendedstart,
              const geom &geometry)
{
    fillslot(getpartslot(sector, 1), start, stop, extendedstart, 0, linktype, geometry);
}

char *chars(std::vector<std::uint8_t> &bytes)
{
    return reinterpret_cast<char *>(bytes.data());
}

bool isstored(void *handle, const SectorImage &image)
{
    std::vector<std::uint8_t> read(image.bytes.size());
    return readimage(handle, image.sector, read) && read == image.bytes;
}

// A node of the chain together with the image that it points to.
struct OwnedDisk : LOGICALDISK {
    std::unique_ptr<char[]> image;
};
std::vector<std::unique_ptr<OwnedDisk>> ownedchain;

} // namespace

Tables Tables::mbr(std::vector<PART> parts, const geom &geometry, const TableSectors &sectors,
                   std::uint32_t signature, std::span<const SEG> segs)
{
    Tables tables;
    tables.moved = std::move(parts);
    const std::uint64_t own[] = {sectors.mbr, sectors.scanrecord};
    keepofftracks(tables.moved, own, geometry.sectorspertrack);
    tables.refusals = checkparts(tables.moved, geometry, sectors.mbr, sectors.scanrecord);
    if (!tables.refusals.empty() || sectors.mbr == nosector)
        return tables;

    if (!segs.empty()) {
        tables.sectors.push_back({sectors.scanrecord, ImageKind::scanrecord, -1,
                                  encodescanrecord(segs.data(), static_cast<int>(segs.size()),
                                                   static_cast<int>(geometry.bytespersector))});
    }
    std::vector<std::uint8_t> table(geometry.bytespersector);
    putlittle(&table[signatureoffset], signature, 4);
    makepteffective(chars(table));
    std::uint32_t extendedstart = 0;
    std::vector<SectorImage> chain;
    for (std::size_t i = 0; i < tables.moved.size(); ++i) {
        const PART &part = tables.moved[i];
        if (part.kind == 'p' || part.kind == 'e')
            fillprimary(chars(table), part, geometry);
        if (part.kind == 'e')
            extendedstart = static_cast<std::uint32_t>(part.start);
        if (part.kind != 'l')
            continue;
        if (!chain.empty())
            filllink(chars(chain.back().bytes), part.start, part.stop, extendedstart, geometry);
        chain.push_back({part.start, ImageKind::ebr, static_cast<int>(i),
                         std::vector<std::uint8_t>(geometry.bytespersector)});
        filllogical(chars(chain.back().bytes), part, geometry);
    }
    tables.sectors.push_back({sectors.mbr, ImageKind::mbr, -1, std::move(table)});
    std::move(chain.begin(), chain.end(), std::back_inserter(tables.sectors));
    return tables;
}

Tables Tables::of(std::vector<SectorImage> images)
{
    Tables tables;
    tables.sectors = std::move(images);
    return tables;
}

void Tables::clear(std::uint64_t sector, std::uint32_t bytespersector)
{
    const bool used =
        std::any_of(sectors.begin(), sectors.end(),
                    [sector](const SectorImage &image) { return image.sector == sector; });
    if (!sectors.empty() && !used)
        sectors.push_back(
            {sector, ImageKind::cleared, -1, std::vector<std::uint8_t>(bytespersector)});
}

bool Tables::write(void *handle) const
{
    if (sectors.empty())
        return false;
    for (const SectorImage &image : sectors)
        writeimage(handle, image.sector, image.bytes);
    return !updatepartitiontable(handle);
}

std::vector<SectorImage> Tables::readback(void *handle) const
{
    std::vector<SectorImage> missing;
    for (const bool record : {false, true}) {
        for (const SectorImage &image : sectors) {
            if ((image.kind == ImageKind::scanrecord) == record && !isstored(handle, image))
                missing.push_back(image);
        }
    }
    return missing;
}

std::optional<std::vector<std::uint64_t>> extendedlinks(std::span<const std::uint8_t> sector)
{
    if (getlittle(&sector[markoffset], 2) != 0xAA55)
        return {};
    std::vector<std::uint64_t> starts;
    for (std::size_t i = 0; i < 4; ++i) {
        const std::uint8_t *entry = &sector[tableoffset + i * PARTSLOT::length];
        if ((entry[PARTSLOT::bootflag] & 0x7F) != 0)
            return {};
        if (std::ranges::find(extendedtypes, entry[PARTSLOT::systype]) != extendedtypes.end())
            starts.push_back(getlittle(entry + PARTSLOT::startsector, 4));
    }
    return starts;
}

// ---- the same by sectors and globals -----------------------------------------------------------

void makepteffective(char *sector)
{
    sector[markoffset] = static_cast<char>(0x55);
    sector[markoffset + 1] = static_cast<char>(0xAA);
}

PARTSLOT getpartslot(char *sector, int slot)
{
    return PARTSLOT(sector + tableoffset + slot * PARTSLOT::length);
}

void writestarthsctopartslot(PARTSLOT *slot, unsigned long long lba)
{
    writehsc(slot, PARTSLOT::starthead, lba, g);
}

void writestophsctopartslot(PARTSLOT *slot, unsigned long long lba)
{
    writehsc(slot, PARTSLOT::stophead, lba, g);
}

void writestartsectortopartslot(PARTSLOT *slot, unsigned int startsector)
{
    writelittle(slot, PARTSLOT::startsector, startsector);
}

void writesectornumtopartslot(PARTSLOT *slot, unsigned int sectornum)
{
    writelittle(slot, PARTSLOT::sectornum, sectornum);
}

void add_prim_partition(int slot, unsigned long long start, unsigned long long stop,
                        unsigned char bootflag, int systype)
{
    fillprimary(
        MBRbuffer.data(),
        {start, stop, 0, 'p', static_cast<char>(slot), bootflag, static_cast<char>(systype)}, g);
}

LOGICALDISK *add_logical_disk(unsigned long long start, unsigned long long stop,
                              unsigned char bootflag, int systype, LOGICALDISK *prev)
{
    auto node = std::make_unique<OwnedDisk>();
    node->start = start;
    node->stop = stop;
    node->image = sectorbuffer(g.bytespersector, "unable to allocate memory!\n");
    node->sector = node->image.get();
    filllogical(node->sector, {start, stop, 0, 'l', 0, bootflag, static_cast<char>(systype)}, g);
    if (prev) {
        filllink(prev->sector, start, stop, extended_offset, g);
        prev->next = node.get();
    }
    ownedchain.push_back(std::move(node));
    return ownedchain.back().get();
}

void writepartresulttodisk(void *handle)
{
    // the results are not used: `writeasector` prints a line for each failure
    MBRoffset = firstgoodsector;
    writeasector(handle, MBRoffset, MBRbuffer.data());
    for (const LOGICALDISK *node = firstlogicaldisk; node; node = node->next)
        writeasector(handle, node->start, node->sector);
}

void releasememory()
{
    ownedchain.clear();
    firstlogicaldisk = nullptr;
}

void publishtables(const Tables &tables)
{
    for (const SectorImage &image : tables.images()) {
        if (image.kind != ImageKind::mbr)
            continue;
        MBRbuffer.assign(image.bytes.begin(), image.bytes.end());
        MBRoffset = image.sector;
    }
    for (const PART &part : tables.parts()) {
        if (part.kind == 'e')
            extended_offset = static_cast<unsigned int>(part.start);
    }
}

int batch_partition(void *handle, std::vector<PART> &parts)
{
    if (firstgoodsector == nosector)
        return 1;
    releasememory();
    // the signature is the clock, 32 bits of it
    const Tables tables = Tables::mbr(parts, g, {firstgoodsector, secondgoodsector},
                                      static_cast<std::uint32_t>(std::time(nullptr)));
    parts = tables.parts();
    if (!tables.faults().empty())
        return 1;
    publishtables(tables);
    return tables.write(handle) ? 0 : 1;
}
