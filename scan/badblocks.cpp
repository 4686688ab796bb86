#include "scan/badblocks.h"

#include <algorithm>

namespace
{

// The blocks that the ranges touch, as ascending and disjoint ranges of their numbers.
std::vector<ByteRange> blocksof(const std::vector<ByteRange> &ranges, std::uint32_t blocksize)
{
    std::vector<ByteRange> blocks;
    std::uint64_t next = 0;
    for (const ByteRange &range : ranges) {
        const ByteRange touched{std::max(range.first / blocksize, next),
                                (range.end - 1) / blocksize + 1};
        if (range.first >= range.end || touched.first >= touched.end)
            continue;
        blocks.push_back(touched);
        next = touched.end;
    }
    return blocks;
}

} // namespace

BlockListSize badblockssize(const std::vector<ByteRange> &ranges, std::uint32_t blocksize)
{
    BlockListSize size;
    for (auto [first, end] : blocksof(ranges, blocksize)) {
        size.blocks += end - first;
        // up to each power of ten the numbers have one length
        while (first < end) {
            const std::size_t digits = std::to_string(first).size();
            std::uint64_t stop = end;
            if (digits < std::to_string(end).size())
                stop = std::stoull('1' + std::string(digits, '0'));
            size.bytes += (stop - first) * (digits + 1);
            first = stop;
        }
    }
    return size;
}

bool writebadblocks(const std::vector<ByteRange> &ranges, std::uint32_t blocksize,
                    const std::function<bool(std::string_view)> &sink)
{
    constexpr std::size_t piecesize = 1 << 16;
    std::string piece;
    for (const auto &[first, end] : blocksof(ranges, blocksize)) {
        for (std::uint64_t block = first; block < end; ++block) {
            piece += std::to_string(block) + '\n';
            if (piece.size() < piecesize)
                continue;
            if (!sink(piece))
                return false;
            piece.clear();
        }
    }
    return sink(piece);
}

std::string BadBlocksReader::take(const Words &words)
{
    const auto block = decimalnumber(words[0]);
    if (!block || words.size() != 1)
        return "a list of bad blocks has one number of at most 64 bits on each line, not " +
               quoted(words[words.size() > 1 ? 1 : 0]) + ".";
    const std::uint64_t count = (target.diskend() + blocksize - 1) / blocksize;
    if (*block >= count)
        return "block " + std::to_string(*block) + " lies behind the end of this disk, which has " +
               std::to_string(count) + " blocks of " + std::to_string(blocksize) + " bytes.";
    target.mark({*block * blocksize, (*block + 1) * blocksize});
    blocks = true;
    return {};
}

std::string BadBlocksReader::end()
{
    if (blocks)
        return {};
    return "There is no block in the list. For a disk without bad sectors click \"Skip scan >\".";
}
