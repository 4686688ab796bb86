#pragma once

#include "scan/maplines.h"

#include <string>

/// The mapfile of GNU ddrescue: a text of comments, one line with position, status and pass, and
/// lines with position, length and status of blocks that follow each other. Numbers are bytes.

/// The mapfile of a scan over a disk of `diskend` bytes: '+' is good, a slow segment and the margin
/// too, '-' is bad, '?' not tested, as what lies behind the plan. `comment` becomes the first
/// lines, each behind a '#'.
std::string encodemapfile(std::span<const SurfaceCell> cells, const geom &geometry,
                          std::uint64_t diskend, const std::string &comment);

/// Reads a mapfile. Bad is what was tried and failed ('-', '*' and '/'); one that has left out a
/// part of the plan ('?') is refused, and one of a disk with another length.
class MapfileReader : public MapReader
{
public:
    using MapReader::MapReader;

protected:
    std::string take(const Words &words) override;
    std::string end() override;

private:
    void leaveout(std::uint64_t first, std::uint64_t end);

    bool status = false;       ///< whether the status line has come
    bool blocks = false;       ///< whether a block has come
    std::uint64_t next = 0;    ///< the byte behind the last block
    std::uint64_t untried = 0; ///< bytes of the plan
};
