#include "core/tlcore.h"

#include <algorithm>
#include <cstdlib>

// The first two bytes are the number of segments, the rest is the content of sector 1. A record
// that is accepted encodes as the same bytes.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size < 2)
        return 0;
    const int count = (data[0] | data[1] << 8) % 512;
    const std::span sector(data + 2, size - 2);
    if (!isscanrecord(sector, count))
        return 0;
    std::vector<SEG> segs(static_cast<std::size_t>(count), SEG{3, 5, 7});
    decodescanrecord(sector, segs.data(), count);
    const auto length = static_cast<std::size_t>(count + 7) / 8;
    std::vector<std::uint8_t> image =
        encodescanrecord(segs.data(), count, std::max<int>(512, static_cast<int>(sector.size())));
    // Bits behind the last segment are ignored.
    std::vector<std::uint8_t> marks(sector.begin() + 12, sector.begin() + 12 + length);
    if (count % 8 != 0)
        marks.back() &= static_cast<std::uint8_t>(0xFF << (8 - count % 8));
    const bool same = std::equal(sector.begin(), sector.begin() + 12, image.begin()) &&
                      std::equal(marks.begin(), marks.end(), image.begin() + 12);
    const bool plain = std::all_of(segs.begin(), segs.end(), [](const SEG &seg) {
        return seg.start == 3 && seg.stop == 5 && (seg.isbad == 0 || seg.isbad == 1);
    });
    if (!same || !plain)
        std::abort();
    return 0;
}
