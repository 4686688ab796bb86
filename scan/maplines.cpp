#include "scan/maplines.h"

#include <algorithm>
#include <charconv>

namespace
{

// No line of a map is longer, apart from comments.
constexpr std::size_t longestline = 200;

constexpr bool isblank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

std::vector<std::string_view> wordsof(std::string_view line)
{
    std::vector<std::string_view> words;
    while (true) {
        const auto *const begin = std::find_if_not(line.begin(), line.end(), isblank);
        const auto *const end = std::find_if(begin, line.end(), isblank);
        if (begin == end)
            return words;
        words.emplace_back(begin, end);
        line = {end, line.end()};
    }
}

std::optional<std::uint64_t> number(std::string_view digits, int base)
{
    std::uint64_t value = 0;
    const char *const end = digits.data() + digits.size();
    const auto [stopped, error] = std::from_chars(digits.data(), end, value, base);
    if (error != std::errc() || stopped != end)
        return {};
    return value;
}

/// Stops at the first line with words.
class FirstLine : public MapLines
{
public:
    std::optional<bool> isnumber;

protected:
    std::string take(const Words &words) override
    {
        isnumber = words.size() == 1 && decimalnumber(words[0]);
        return "known";
    }
};

} // namespace

ByteRange bytesof(const SurfaceCell &cell, const geom &geometry)
{
    return {cell.start * geometry.bytespercyl, (cell.stop + 1) * geometry.bytespercyl};
}

std::vector<ByteRange> bytesof(std::span<const SurfaceCell> cells, const geom &geometry,
                               std::initializer_list<SurfaceCell::State> states)
{
    std::vector<ByteRange> ranges;
    for (const SurfaceCell &cell : cells) {
        if (std::find(states.begin(), states.end(), cell.state) == states.end())
            continue;
        const ByteRange range = bytesof(cell, geometry);
        if (!ranges.empty() && ranges.back().end == range.first)
            ranges.back().end = range.end;
        else
            ranges.push_back(range);
    }
    return ranges;
}

void MapTarget::mark(ByteRange range)
{
    if (range.first >= range.end)
        return;
    const std::uint64_t first = range.first / geometry.bytespercyl,
                        last = (range.end - 1) / geometry.bytespercyl;
    auto seg = std::partition_point(plan.begin(), plan.end(),
                                    [first](const SEG &one) { return one.stop < first; });
    for (; seg != plan.end() && seg->start <= last; ++seg)
        seg->isbad = 1;
}

bool MapLines::feed(std::string_view piece)
{
    for (const char c : piece) {
        if (!refusal.empty())
            return false;
        if (c == '\n') {
            takeline();
        } else if (!comment) {
            comment = c == '#' && (line.empty() || isblank(line.back()));
            if (!comment)
                line += c;
            if (line.size() > longestline)
                takeline();
        }
    }
    return refusal.empty();
}

bool MapLines::takeline()
{
    const Words words = wordsof(line);
    if (line.size() > longestline)
        refusal = "it is too long for a map.";
    else if (!words.empty())
        refusal = take(words);
    if (!refusal.empty())
        refusal = "Line " + std::to_string(number) + ": " + refusal;
    ++number;
    line.clear();
    comment = false;
    return refusal.empty();
}

const std::string &MapLines::finish()
{
    if (refusal.empty() && takeline())
        refusal = end();
    return refusal;
}

MapReader::MapReader(MapTarget disk) : target(std::move(disk))
{
    for (SEG &seg : target.plan)
        seg.isbad = 0;
}

std::optional<bool> islistofnumbers(std::string_view beginning)
{
    FirstLine first;
    if (first.feed(beginning))
        first.finish();
    return first.isnumber;
}

std::optional<std::uint64_t> decimalnumber(std::string_view word)
{
    return number(word, 10);
}

std::optional<std::uint64_t> prefixednumber(std::string_view word)
{
    if (word.starts_with("0x") || word.starts_with("0X"))
        return number(word.substr(2), 16);
    return number(word, word.starts_with('0') ? 8 : 10);
}

std::string quoted(std::string_view word)
{
    constexpr std::size_t longest = 30;
    std::string text(word.substr(0, longest));
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c < 0x20 || c >= 0x7F; }, '?');
    return '"' + text + (word.size() > longest ? "...\"" : "\"");
}
