#include "core/gpt.h"

#include "core/bytes.h"
#include "core/tlcore.h"

#include <algorithm>
#include <random>
#include <utility>

namespace
{

// Offsets and values of a header.
constexpr std::string_view headermark = "EFI PART";
constexpr std::uint32_t revision = 0x00010000;
constexpr std::uint32_t headerbytes = 92;
constexpr std::size_t crcoffset = 16;

// Attribute bit 2 of an entry: a legacy system may boot from it.
constexpr std::uint64_t legacybootbit = 1U << 2;
constexpr std::size_t namelength = 36;

// Partitions begin and end at multiples of this, in bytes, or of the smaller one if nothing is
// left.
constexpr std::uint64_t alignment = 1U << 20;
constexpr std::uint64_t physicalsector = 4096;

// The types that the field uses for the type bytes that have one.
struct TypeGuid {
    std::uint8_t systype;
    const char *guid;
};
constexpr const char *basicdata = "EBD0A0A2-B9E5-4433-87C0-68B6B72699C7";
constexpr const char *linuxdata = "0FC63DAF-8483-4772-8E79-3D69D8477DE4";
constexpr TypeGuid typeguids[] = {
    {0x01, basicdata},
    {0x04, basicdata},
    {0x06, basicdata},
    {0x07, basicdata},
    {0x0B, basicdata},
    {0x0C, basicdata},
    {0x0E, basicdata},
    {0x82, "0657FD6D-A4AB-43C4-84E5-0933C84B4F4F"}, // swap
    {0x8E, "E6D6D379-F507-44C2-A23C-238F2A3DF928"}, // volume group
    {0xAF, "48465300-0000-11AA-AA11-00306543ECAC"}, // HFS+
    {0xEF, "C12A7328-F81F-11D2-BA4B-00A0C93EC93B"}, // EFI system partition
    {0xFD, "A19D880F-05FC-4D3B-A006-743F0F84911E"}, // RAID
};

// The sector of the master boot sector that covers the disk for systems that know no GUID table.
std::vector<std::uint8_t> protectivesector(std::uint64_t disksectors, std::uint32_t bytespersector)
{
    std::vector<std::uint8_t> sector(bytespersector);
    // from sector 1, which is head 0, sector 2, to a position that the fields can't hold
    constexpr std::array<std::uint8_t, 8> entry = {0, 0, 2, 0, 0xEE, 0xFF, 0xFF, 0xFF};
    std::copy(entry.begin(), entry.end(), &sector[0x1BE]);
    putlittle(&sector[0x1C6], 1, 4);
    putlittle(&sector[0x1CA], std::min<std::uint64_t>(disksectors - 1, 0xFFFFFFFF), 4);
    makepteffective(reinterpret_cast<char *>(sector.data()));
    return sector;
}

// Adds `bytes`, whole sectors, as images from `sector` on.
void addimages(std::vector<SectorImage> &images, std::uint64_t sector, ImageKind kind,
               const std::vector<std::uint8_t> &bytes, std::uint32_t bytespersector)
{
    for (auto at = bytes.begin(); at != bytes.end(); at += bytespersector)
        images.push_back({sector++, kind, -1, {at, at + bytespersector}});
}

} // namespace

Guid newguid()
{
    std::random_device system;
    Guid guid;
    for (std::uint8_t &byte : guid)
        byte = static_cast<std::uint8_t>(system());
    guid[7] = (guid[7] & 0x0F) | 0x40; // version 4: random
    guid[8] = (guid[8] & 0x3F) | 0x80;
    return guid;
}

Guid guidof(std::string_view text)
{
    // the first three groups are little-endian numbers
    constexpr std::size_t places[] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
    Guid guid{};
    std::size_t digit = 0;
    for (const char c : text) {
        if (c == '-' || digit == 2 * guid.size())
            continue;
        const int value = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
        std::uint8_t &byte = guid[places[digit / 2]];
        byte = static_cast<std::uint8_t>(byte << 4 | value);
        ++digit;
    }
    return guid;
}

Guid gpttype(std::uint8_t systype)
{
    for (const TypeGuid &known : typeguids) {
        if (known.systype == systype)
            return guidof(known.guid);
    }
    return guidof(linuxdata);
}

std::vector<std::uint8_t> encodegptarray(std::span<const GptEntry> entries,
                                         std::uint32_t bytespersector)
{
    std::vector<std::uint8_t> array(gptarraysectors(bytespersector) * bytespersector);
    std::uint8_t *at = array.data();
    for (const GptEntry &entry : entries) {
        std::copy(entry.type.begin(), entry.type.end(), at);
        std::copy(entry.id.begin(), entry.id.end(), at + 16);
        putlittle(at + 32, entry.first, 8);
        putlittle(at + 40, entry.last, 8);
        putlittle(at + 48, entry.legacyboot ? legacybootbit : 0, 8);
        for (std::size_t i = 0; i < std::min(entry.name.size(), namelength); ++i)
            putlittle(at + 56 + 2 * i, static_cast<std::uint8_t>(entry.name[i]), 2);
        at += gptentrybytes;
    }
    return array;
}

std::vector<std::uint8_t> encodegptheader(const GptHeader &header, std::uint32_t bytespersector)
{
    std::vector<std::uint8_t> sector(bytespersector);
    std::copy(headermark.begin(), headermark.end(), sector.begin());
    putlittle(&sector[8], revision, 4);
    putlittle(&sector[12], headerbytes, 4);
    putlittle(&sector[24], header.own, 8);
    putlittle(&sector[32], header.other, 8);
    putlittle(&sector[40], header.firstusable, 8);
    putlittle(&sector[48], header.lastusable, 8);
    std::copy(header.disk.begin(), header.disk.end(), &sector[56]);
    putlittle(&sector[72], header.array, 8);
    putlittle(&sector[80], header.arraylength / gptentrybytes, 4);
    putlittle(&sector[84], gptentrybytes, 4);
    putlittle(&sector[88], header.arraycrc, 4);
    // the CRC is that of the header with its own field zero
    putlittle(&sector[crcoffset], crc32({sector.data(), headerbytes}), 4);
    return sector;
}

bool hasgptmark(std::span<const std::uint8_t> sector)
{
    return sector.size() >= headerbytes &&
           std::equal(headermark.begin(), headermark.end(), sector.begin());
}

std::optional<GptHeader> decodegptheader(std::span<const std::uint8_t> sector)
{
    if (!hasgptmark(sector))
        return {};
    const std::uint64_t length = getlittle(&sector[12], 4);
    if (length < headerbytes || length > sector.size())
        return {};
    std::vector<std::uint8_t> copy(sector.begin(), sector.begin() + static_cast<long>(length));
    putlittle(&copy[crcoffset], 0, 4);
    if (crc32(copy) != getlittle(&sector[crcoffset], 4))
        return {};
    GptHeader header;
    header.own = getlittle(&sector[24], 8);
    header.other = getlittle(&sector[32], 8);
    header.firstusable = getlittle(&sector[40], 8);
    header.lastusable = getlittle(&sector[48], 8);
    std::copy_n(&sector[56], header.disk.size(), header.disk.begin());
    header.array = getlittle(&sector[72], 8);
    header.arraylength =
        static_cast<std::uint32_t>(getlittle(&sector[80], 4) * getlittle(&sector[84], 4));
    header.arraycrc = static_cast<std::uint32_t>(getlittle(&sector[88], 4));
    return header;
}

Tables Tables::gpt(std::vector<PART> parts, const geom &geometry, const TableSectors &sectors,
                   std::span<const Guid> ids, std::span<const std::string> names,
                   std::span<const SEG> segs)
{
    Tables tables;
    const std::uint32_t bytespersector = geometry.bytespersector;
    const std::uint64_t arraysectors = gptarraysectors(bytespersector);
    const std::uint64_t unit = alignment / bytespersector;
    const std::uint64_t fineunit = std::max<std::uint64_t>(physicalsector / bytespersector, 1);
    const auto roundedup = [](std::uint64_t sector, std::uint64_t to) {
        return (sector + to - 1) / to * to;
    };
    std::uint64_t own = sectors.array + arraysectors; // first sector behind the program's own
    if (sectors.scanrecord != nosector)
        own = std::max<std::uint64_t>(own, sectors.scanrecord + 1);
    GptHeader header;
    header.other = sectors.disksectors - 1;
    header.firstusable = roundedup(own, unit);
    header.lastusable = header.other - arraysectors - 1;
    header.array = sectors.array;

    std::vector<GptEntry> entries;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        PART &part = parts[i];
        if (part.kind != 'p' && part.kind != 'l')
            continue;
        const std::uint64_t start = std::max(part.start, header.firstusable);
        const std::uint64_t behind = std::min(part.stop, header.lastusable) + 1;
        for (const std::uint64_t to : {unit, fineunit}) {
            part.start = roundedup(start, to);
            part.stop = behind / to * to - 1;
            part.size = part.stop + 1 > part.start ? part.stop + 1 - part.start : 0;
            if (part.size > 0)
                break;
        }
        const std::string name = "Partition " + std::to_string(entries.size() + 1);
        if (part.size == 0)
            tables.refusals.push_back({static_cast<int>(i), name + " would be left without a "
                                                                   "sector."});
        else if (part.systype == 0)
            tables.refusals.push_back({static_cast<int>(i), name + " has type 0, which other "
                                                                   "systems take for an empty "
                                                                   "entry. Give it a type."});
        entries.push_back({gpttype(static_cast<std::uint8_t>(part.systype)),
                           i + 1 < ids.size() ? ids[i + 1] : Guid{}, part.start, part.stop,
                           part.bootflag != 0, i < names.size() ? names[i] : std::string()});
    }
    tables.moved = std::move(parts);
    if (entries.size() > gptentries)
        tables.refusals.push_back(
            {-1, "A GUID partition table has room for 128 partitions, and there are " +
                     std::to_string(entries.size()) + "."});
    if (!tables.refusals.empty() || sectors.mbr == nosector)
        return tables;

    const std::vector<std::uint8_t> array = encodegptarray(entries, bytespersector);
    header.arraylength = gptentries * gptentrybytes;
    header.arraycrc = crc32({array.data(), header.arraylength});
    if (!ids.empty())
        header.disk = ids.front();
    GptHeader last = header;
    std::swap(last.own, last.other);
    last.array = last.own - arraysectors;
    std::vector<SectorImage> &images = tables.sectors;
    if (!segs.empty() && sectors.scanrecord != nosector)
        addimages(images, sectors.scanrecord, ImageKind::scanrecord,
                  encodescanrecord(segs.data(), static_cast<int>(segs.size()),
                                   static_cast<int>(bytespersector)),
                  bytespersector);
    addimages(images, header.array, ImageKind::gptarray, array, bytespersector);
    addimages(images, header.own, ImageKind::gptheader, encodegptheader(header, bytespersector),
              bytespersector);
    addimages(images, last.array, ImageKind::gptbackup, array, bytespersector);
    addimages(images, last.own, ImageKind::gptbackup, encodegptheader(last, bytespersector),
              bytespersector);
    addimages(images, 0, ImageKind::mbr, protectivesector(sectors.disksectors, bytespersector),
              bytespersector);
    return tables;
}
