#include "core/seg.h"

#include "core/bytes.h"

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
