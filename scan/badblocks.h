#pragma once

#include "scan/maplines.h"

#include <functional>

/// The list that badblocks writes, and e2fsck and mke2fs take: the number of a bad block on each
/// line, counted from 0 in blocks of a length that the list does not tell.

/// What a list holds.
struct BlockListSize {
    std::uint64_t blocks = 0;
    std::uint64_t bytes = 0; ///< of the text
};

/// The size of the list that `writebadblocks` would write.
BlockListSize badblockssize(const std::vector<ByteRange> &ranges, std::uint32_t blocksize);
/// Hands the list to `sink` by pieces: every block that touches one of the ascending ranges, once.
/// False if the sink returned false, which ends it.
bool writebadblocks(const std::vector<ByteRange> &ranges, std::uint32_t blocksize,
                    const std::function<bool(std::string_view)> &sink);

/// Reads a list in any order, as several passes of badblocks leave it. A block marks every segment
/// that it touches. A list without a number is refused, since it may be of a run that was ended.
class BadBlocksReader : public MapReader
{
public:
    /// `blocksize` bytes are a block, and not 0.
    BadBlocksReader(MapTarget disk, std::uint32_t blocksize)
        : MapReader(std::move(disk)), blocksize(blocksize)
    {
    }

protected:
    std::string take(const Words &words) override;
    std::string end() override;

private:
    std::uint32_t blocksize;
    bool blocks = false; ///< whether a number has come
};
