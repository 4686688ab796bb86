#include "core/tlcore.h"

#include "core/bytes.h"

#include <algorithm>
#include <array>
#include <ctime>

std::vector<char> MBRbuffer;
unsigned long long firstgoodsector = nosector;
unsigned long long secondgoodsector = nosector;
unsigned long long MBRoffset = nosector;
unsigned int extended_offset = 0;
LOGICALDISK *firstlogicaldisk = nullptr;

// Offsets inside a sector that carries a table; they hold for sectors of every length.
static constexpr int signatureoffset = 0x1B8;
static constexpr int tableoffset = 0x1BE;
static constexpr int markoffset = 0x1FE;

// The last cylinder that the head, sector and cylinder form can tell.
static constexpr unsigned long long lasthsccylinder = 1023;

// Type byte of a link from one extended boot record to the next.
static constexpr std::uint8_t linktype = 0x0F;

void makepteffective(char *sector)
{
    sector[markoffset] = static_cast<char>(0x55);
    sector[markoffset + 1] = static_cast<char>(0xAA);
}

PARTSLOT getpartslot(char *sector, int slot)
{
    return PARTSLOT(sector + tableoffset + slot * PARTSLOT::length);
}

// Writes a position to three bytes: head; sector from 1 with bits 8 and 9 of the cylinder above
// it; cylinder. A position behind cylinder 1023 shows as that cylinder's last sector.
static void writehsc(PARTSLOT *slot, int offset, unsigned long long lba)
{
    const unsigned long long sectors = g.sectorspertrack;
    const unsigned long long heads = g.heads;
    if (lba / (heads * sectors) > lasthsccylinder)
        lba = sectors * heads * (lasthsccylinder + 1) - 1;
    const unsigned long long track = lba / sectors;
    const unsigned long long cylinder = track / heads;
    slot->setbyte(offset, static_cast<std::uint8_t>(track % heads));
    slot->setbyte(offset + 1,
                  static_cast<std::uint8_t>((lba % sectors + 1) | (cylinder >> 8 << 6)));
    slot->setbyte(offset + 2, static_cast<std::uint8_t>(cylinder));
}

static void writelittle(PARTSLOT *slot, int offset, unsigned int value)
{
    for (int i = 0; i < 4; i++)
        slot->setbyte(offset + i, static_cast<std::uint8_t>(value >> 8 * i));
}

void writestarthsctopartslot(PARTSLOT *slot, unsigned long long lba)
{
    writehsc(slot, PARTSLOT::starthead, lba);
}

void writestophsctopartslot(PARTSLOT *slot, unsigned long long lba)
{
    writehsc(slot, PARTSLOT::stophead, lba);
}

void writestartsectortopartslot(PARTSLOT *slot, unsigned int startsector)
{
    writelittle(slot, PARTSLOT::startsector, startsector);
}

void writesectornumtopartslot(PARTSLOT *slot, unsigned int sectornum)
{
    writelittle(slot, PARTSLOT::sectornum, sectornum);
}

// Fills an entry: `start` and `stop` are absolute, the first-sector field counts from `base`.
static void fillslot(PARTSLOT slot, unsigned long long start, unsigned long long stop,
                     unsigned long long base, std::uint8_t bootflag, std::uint8_t systype)
{
    slot.setbyte(PARTSLOT::bootflag, bootflag);
    slot.setbyte(PARTSLOT::systype, systype);
    writestartsectortopartslot(&slot, static_cast<unsigned int>(start - base));
    writesectornumtopartslot(&slot, static_cast<unsigned int>(stop - start + 1));
    writestarthsctopartslot(&slot, start);
    writestophsctopartslot(&slot, stop);
}

void add_prim_partition(int slot, unsigned long long start, unsigned long long stop,
                        unsigned char bootflag, int systype)
{
    // the first track belongs to the master boot sector and the scan record
    if (start == 0)
        start = g.sectorspertrack;
    fillslot(getpartslot(MBRbuffer.data(), slot), start, stop, 0, bootflag,
             static_cast<std::uint8_t>(systype));
}

LOGICALDISK *add_logical_disk(unsigned long long start, unsigned long long stop,
                              unsigned char bootflag, int systype, LOGICALDISK *prev)
{
    auto *node = new LOGICALDISK;
    node->start = start;
    node->stop = stop;
    node->sector = sectorbuffer(g.bytespersector, "unable to allocate memory!\n").release();
    makepteffective(node->sector);
    // two bases meet here: the disk itself counts from its own record, a link from the start of
    // the extended partition
    fillslot(getpartslot(node->sector, 0), start + g.sectorspertrack, stop, start, bootflag,
             static_cast<std::uint8_t>(systype));
    if (prev) {
        fillslot(getpartslot(prev->sector, 1), start, stop, extended_offset, 0, linktype);
        prev->next = node;
    }
    return node;
}

void writepartresulttodisk(void *handle)
{
    // the results are not looked at: a sector that fails says so on the error stream
    MBRoffset = firstgoodsector;
    writeasector(handle, MBRoffset, MBRbuffer.data());
    for (const LOGICALDISK *node = firstlogicaldisk; node; node = node->next)
        writeasector(handle, node->start, node->sector);
}

void releasememory()
{
    while (firstlogicaldisk) {
        LOGICALDISK *node = firstlogicaldisk;
        firstlogicaldisk = node->next;
        delete[] node->sector;
        delete node;
    }
}

// Builds `MBRbuffer` and the chain of `parts`, all in memory.
static void buildtables(const std::vector<PART> &parts, std::uint64_t signature)
{
    releasememory();
    MBRbuffer.assign(g.bytespersector, 0);
    putlittle(reinterpret_cast<std::uint8_t *>(&MBRbuffer[signatureoffset]), signature, 4);
    makepteffective(MBRbuffer.data());

    LOGICALDISK *last = nullptr;
    for (const PART &part : parts) {
        switch (part.kind) {
        case 'e':
            extended_offset = static_cast<unsigned int>(part.start);
            [[fallthrough]];
        case 'p':
            add_prim_partition(part.index, part.start, part.stop, part.bootflag, part.systype);
            break;
        case 'l':
            last = add_logical_disk(part.start, part.stop, part.bootflag, part.systype, last);
            if (!firstlogicaldisk)
                firstlogicaldisk = last;
            break;
        default:
            break;
        }
    }
}

int batch_partition(void *handle, std::vector<PART> &parts)
{
    if (firstgoodsector == nosector)
        return 1;
    keepofftracks(parts, std::array<std::uint64_t, 2>{firstgoodsector, secondgoodsector},
                  g.sectorspertrack);
    if (!checkparts(parts, g, firstgoodsector, secondgoodsector).empty())
        return 1;
    // the clock serves as the disk's signature, 32 bits of it
    buildtables(parts, static_cast<std::uint64_t>(std::time(nullptr)));
    writepartresulttodisk(handle);
    const bool failed = updatepartitiontable(handle);
    releasememory();
    return failed ? 1 : 0;
}

std::vector<TABLEFAULT> verifytables(void *handle, const std::vector<PART> &parts)
{
    // the same tables once more: all but the clock follows from the list
    buildtables(parts, getlittle(reinterpret_cast<std::uint8_t *>(&MBRbuffer[signatureoffset]), 4));
    std::vector<char> sector(g.bytespersector);
    const auto stands = [&](std::uint64_t number, const char *image) {
        return readasector(handle, number, sector.data()) == 0 &&
               std::equal(sector.begin(), sector.end(), image);
    };
    std::vector<TABLEFAULT> faults;
    if (!stands(MBRoffset, MBRbuffer.data()))
        faults.push_back({MBRoffset, -1});
    const LOGICALDISK *node = firstlogicaldisk;
    for (int i = 0; node; i++) {
        if (parts[static_cast<std::size_t>(i)].kind != 'l')
            continue;
        if (!stands(node->start, node->sector))
            faults.push_back({node->start, i});
        node = node->next;
    }
    releasememory();
    return faults;
}
