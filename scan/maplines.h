#pragma once

#include "core/geom.h"
#include "core/seg.h"
#include "core/surface.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// What the formats of other tools have in common: bytes of a disk, and lines of words.

/// A range of bytes of a disk.
struct ByteRange {
    std::uint64_t first = 0; ///< first byte
    std::uint64_t end = 0;   ///< the byte behind the last one

    bool operator==(const ByteRange &) const = default;
};

/// The bytes of a cell.
ByteRange bytesof(const SurfaceCell &cell, const geom &geometry);
/// The bytes of all cells in one of these states, ascending; adjacent ones are joined.
std::vector<ByteRange> bytesof(std::span<const SurfaceCell> cells, const geom &geometry,
                               std::initializer_list<SurfaceCell::State> states);

/// The disk that a map is laid onto.
struct MapTarget {
    geom geometry;
    std::vector<SEG> plan;   ///< of this geometry, at least one segment
    std::uint64_t bytes = 0; ///< length of the disk; 0: not known

    /// The byte behind the plan's last one.
    [[nodiscard]] std::uint64_t planend() const
    {
        return (plan.back().stop + 1) * geometry.bytespercyl;
    }
    /// The byte behind the disk's last one, as far as it is known.
    [[nodiscard]] std::uint64_t diskend() const { return bytes ? bytes : geometry.totalbytes; }
    /// Marks the segments that touch the range. What lies behind the plan is ignored.
    void mark(ByteRange range);
};

/// Reads a text by pieces: lines that end with LF or CR LF, words between blanks, and comments from
/// a '#' at the beginning of a word to the end of the line. It holds one line at a time, so that a
/// file may have any length.
class MapLines
{
public:
    virtual ~MapLines() = default;

    /// Takes the next piece of the text; false once a line was refused, and no more is needed.
    bool feed(std::string_view piece);
    /// The text has ended. Why it is refused, with the line's number where there is one; empty: it
    /// is accepted.
    const std::string &finish();

protected:
    using Words = std::vector<std::string_view>;
    /// Takes a line with at least one word. Why it is refused, or empty.
    virtual std::string take(const Words &words) = 0;
    /// The same at the end of the text.
    virtual std::string end() { return {}; }

private:
    bool takeline();

    std::string line; ///< so far, without the comment
    bool comment = false;
    std::uint64_t number = 1;
    std::string refusal;
};

/// Lays a map onto a disk's plan. After a refusal the marks mean nothing.
class MapReader : public MapLines
{
public:
    /// Forgets the plan's marks.
    explicit MapReader(MapTarget disk);
    /// The plan with the marks of the map.
    [[nodiscard]] const std::vector<SEG> &plan() const { return target.plan; }

protected:
    MapTarget target;
};

/// Whether a text begins as a list of numbers, one a line. Nothing: it has no line that could tell.
std::optional<bool> islistofnumbers(std::string_view beginning);

/// A whole decimal number of at most 64 bits.
std::optional<std::uint64_t> decimalnumber(std::string_view word);
/// The same, octal behind a 0 and hexadecimal behind 0x, as integers are written in C.
std::optional<std::uint64_t> prefixednumber(std::string_view word);
/// A word of a refused line for the user: cut to fit, without what does not print.
std::string quoted(std::string_view word);
