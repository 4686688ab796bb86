#include "scan/mapfile.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace
{

char statusof(SurfaceCell::State state)
{
    switch (state) {
    case SurfaceCell::State::bad:
        return '-';
    case SurfaceCell::State::untested:
    case SurfaceCell::State::working:
        return '?';
    default:
        return '+';
    }
}

std::string gbtext(std::uint64_t bytes)
{
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%.3f GB", static_cast<double>(bytes) / bytespergb);
    return text.data();
}

} // namespace

std::string encodemapfile(std::span<const SurfaceCell> cells, const geom &geometry,
                          std::uint64_t diskend, const std::string &comment)
{
    struct Block {
        ByteRange range;
        char status;
    };
    std::vector<Block> blocks;
    const auto add = [&blocks](ByteRange range, char status) {
        if (!blocks.empty() && blocks.back().status == status)
            blocks.back().range.end = range.end;
        else if (range.first < range.end)
            blocks.push_back({range, status});
    };
    bool whole = true;
    for (const SurfaceCell &cell : cells) {
        add(bytesof(cell, geometry), statusof(cell.state));
        whole = whole && statusof(cell.state) != '?';
    }
    const std::uint64_t planend = blocks.empty() ? 0 : blocks.back().range.end;
    add({planend, std::max(planend, diskend)}, '?');

    std::string text = "# Mapfile. Created by quarn\n# ";
    for (const char c : comment)
        text += c == '\n' ? "\n# " : std::string(1, c);
    text += "\n# current_pos  current_status  current_pass\n";
    text += whole ? "0x00000000     +               1\n" : "0x00000000     ?               1\n";
    text += "#      pos        size  status\n";
    for (const Block &block : blocks) {
        std::array<char, 60> line{};
        std::snprintf(line.data(), line.size(), "0x%08llX  0x%08llX  %c\n",
                      static_cast<unsigned long long>(block.range.first),
                      static_cast<unsigned long long>(block.range.end - block.range.first),
                      block.status);
        text += line.data();
    }
    return text;
}

void MapfileReader::leaveout(std::uint64_t first, std::uint64_t end)
{
    end = std::min(end, target.planend());
    untried += end > first ? end - first : 0;
}

std::string MapfileReader::take(const Words &words)
{
    const auto position = prefixednumber(words[0]);
    if (!position)
        return quoted(words[0]) + " is not a number of at most 64 bits.";
    if (!status) {
        const bool known = words.size() > 1 && words[1].size() == 1 &&
                           std::string_view("?*/-FG+").find(words[1][0]) != std::string_view::npos;
        // earlier versions of the tool wrote no pass
        if (!known || words.size() > 3 || (words.size() == 3 && !decimalnumber(words[2])))
            return "a mapfile begins with a position, a status and the number of a pass.";
        status = true;
        return {};
    }
    if (words.size() != 3 || words[2].size() != 1)
        return "a block of a mapfile has a position, a length and a status.";
    const auto length = prefixednumber(words[1]);
    if (!length || *position + *length < *position)
        return quoted(words[1]) + " is not a length of at most 64 bits.";
    if (blocks && *position != next)
        return "the block does not begin where the one before it ends.";
    const ByteRange range{*position, *position + *length};
    if (range.end > std::max(target.diskend(), target.geometry.totalbytes))
        return "the block ends at byte " + std::to_string(range.end) +
               ", behind the end of this "
               "disk at byte " +
               std::to_string(target.diskend()) + ".";
    if (!blocks)
        leaveout(0, range.first);
    switch (words[2][0]) {
    case '+':
        break;
    case '?':
        leaveout(range.first, range.end);
        break;
    case '-':
    case '*':
    case '/':
        target.mark(range);
        break;
    default:
        return quoted(words[2]) + " is not a block's status.";
    }
    blocks = true;
    next = range.end;
    return {};
}

std::string MapfileReader::end()
{
    if (!blocks)
        return "There is no block in the mapfile.";
    if (next != target.diskend() && next != target.geometry.totalbytes)
        return "It is that of a disk with " + std::to_string(next) + " bytes; this disk has " +
               std::to_string(target.diskend()) + " bytes.";
    if (untried > 0)
        return "The rescue is not finished: " + gbtext(untried) + " (" + std::to_string(untried) +
               " bytes) of this disk's " + gbtext(target.planend()) +
               " were not tried. Let the tool go on first.";
    return {};
}
