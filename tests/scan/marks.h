#pragma once

#include "core/seg.h"

#include <span>
#include <string>
#include <vector>

/// Marks as letters: a 'B' for each bad segment, a dot for each good one.

/// A plan of segments with `length` cylinders each, marked so.
inline std::vector<SEG> marked(const std::string &marks, std::uint64_t length = 1)
{
    std::vector<SEG> segs;
    for (std::uint64_t start = 0; const char mark : marks) {
        segs.push_back({start, start + length - 1, mark == 'B'});
        start += length;
    }
    return segs;
}

inline std::string marksof(std::span<const SEG> segs)
{
    std::string marks;
    for (const SEG &seg : segs)
        marks += seg.isbad ? 'B' : '.';
    return marks;
}
