#include "core/tlcore.h"

#include "core/bytes.h"
#include "core/gpt.h"

#include <algorithm>
#include <climits>

namespace
{

// Offsets inside the record's sector.
constexpr std::size_t magic1offset = 0;
constexpr std::size_t magic2offset = 4;
constexpr std::size_t countoffset = 8;
constexpr std::size_t bitsoffset = 12;

// Sectors behind the entries of a GUID table that are searched for the record.
constexpr std::uint64_t maxrecordsearch = 128;

constexpr const char *norecordbuffer = "can not allocate memory!\n";

} // namespace

std::array<std::uint8_t, segsize> encodeseg(const SEG &seg)
{
    std::array<std::uint8_t, segsize> image{};
    putlittle(image.data(), seg.start, 8);
    putlittle(&image[8], seg.stop, 8);
    putlittle(&image[16], static_cast<std::uint32_t>(seg.isbad), 4);
    return image;
}

SEG decodeseg(std::span<const std::uint8_t, segsize> image)
{
    SEG seg;
    seg.start = getlittle(image.data(), 8);
    seg.stop = getlittle(&image[8], 8);
    seg.isbad = static_cast<std::int32_t>(static_cast<std::uint32_t>(getlittle(&image[16], 4)));
    return seg;
}

std::vector<std::uint8_t> encodescanrecord(const SEG *segs, int count, int bytespersector)
{
    std::vector<std::uint8_t> sector(static_cast<std::size_t>(bytespersector));
    putlittle(&sector[magic1offset], scanrecordmagic1, 4);
    putlittle(&sector[magic2offset], scanrecordmagic2, 4);
    putlittle(&sector[countoffset], static_cast<std::uint32_t>(count), 4);
    const int room = static_cast<int>(sector.size() - bitsoffset) * CHAR_BIT;
    for (int i = 0; i < std::min(count, room); ++i) {
        if (segs[i].isbad != 0)
            sector[bitsoffset + static_cast<std::size_t>(i / 8)] |=
                static_cast<std::uint8_t>(0x80 >> i % 8);
    }
    return sector;
}

bool isscanrecord(std::span<const std::uint8_t> sector, int count)
{
    if (count <= 0 || sector.size() < bitsoffset + (static_cast<std::size_t>(count) + 7) / 8)
        return false;
    return getlittle(&sector[magic1offset], 4) == scanrecordmagic1 &&
           getlittle(&sector[magic2offset], 4) == scanrecordmagic2 &&
           getlittle(&sector[countoffset], 4) == static_cast<std::uint32_t>(count);
}

void decodescanrecord(std::span<const std::uint8_t> sector, SEG *segs, int count)
{
    for (int i = 0; i < count; ++i)
        segs[i].isbad = (sector[bitsoffset + static_cast<std::size_t>(i / 8)] & 0x80 >> i % 8) != 0;
}

int writeseginfotodisk(void *handle, unsigned long long sector, SEG *segs, int count)
{
    std::vector<std::uint8_t> image =
        encodescanrecord(segs, count, static_cast<int>(g.bytespersector));
    return writeasector(handle, sector, reinterpret_cast<char *>(image.data()));
}

int readseginfofromdisk(void *handle, unsigned long long sector, SEG *segs, int count)
{
    const auto buffer = sectorbuffer(g.bytespersector, norecordbuffer);
    if (readasector(handle, sector, buffer.get()) != 0)
        return 1;
    decodescanrecord({reinterpret_cast<const std::uint8_t *>(buffer.get()), g.bytespersector}, segs,
                     count);
    return 0;
}

std::uint64_t findscanrecord(void *handle, int count)
{
    std::vector<std::uint8_t> sector(g.bytespersector);
    if (!readimage(handle, 1, sector))
        return nosector;
    if (isscanrecord(sector, count))
        return 1;
    const auto header = decodegptheader(sector);
    if (!header)
        return nosector;
    // the first good sector behind the entries, in front of the partitions
    const std::uint64_t first =
        header->array + (header->arraylength + sector.size() - 1) / sector.size();
    const std::uint64_t end = std::min(header->firstusable, first + maxrecordsearch);
    for (std::uint64_t at = first; at < end; ++at) {
        if (readimage(handle, at, sector) && isscanrecord(sector, count))
            return at;
    }
    return nosector;
}

bool hasseginfo(void *handle, int count)
{
    return findscanrecord(handle, count) != nosector;
}
