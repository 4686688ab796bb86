#include "core/part.h"

#include <string>

namespace
{

// An entry holds positions and counts in 32 bits.
constexpr std::uint64_t sectorlimit = 1ULL << 32;
// Entries in a table.
constexpr int tableslots = 4;

// Moves a part that holds `sector` to the first track behind it. A part that ends up with its start
// behind its stop is left for `checkparts` to refuse.
void keepofftrack(PART &part, std::uint64_t sector, std::uint32_t sectorspertrack)
{
    if (sector == nosector || sector < part.start || sector > part.stop)
        return;
    part.start = (sector / sectorspertrack + 1) * sectorspertrack;
    part.size = part.stop + 1 > part.start ? part.stop + 1 - part.start : 0;
}

// The part in words for the user; `number` counts within its level, from 1.
std::string entryname(const PART &part, int number)
{
    const char *kind = part.kind == 'l'   ? "Logical disk "
                       : part.kind == 'e' ? "Extended partition "
                                          : "Primary partition ";
    return kind + std::to_string(number);
}

// Whether the order of the logical disks' rows puts some of them outside the extended partition,
// which reaches from the first row's start to the last row's stop.
bool brokenbyorder(const std::vector<PART> &parts)
{
    const PART *extended = nullptr;
    std::uint64_t mark = 0;
    bool ascending = true;
    bool inside = true;
    for (const PART &part : parts) {
        if (part.kind == 'e')
            extended = &part;
        if (part.kind != 'l' || !extended)
            continue;
        ascending = ascending && part.start >= mark;
        mark = part.start;
        inside = inside && part.start >= extended->start && part.stop <= extended->stop;
    }
    return !ascending && !inside;
}

} // namespace

void keepofftracks(std::vector<PART> &parts, std::span<const std::uint64_t> sectors,
                   std::uint32_t sectorspertrack)
{
    for (PART &part : parts) {
        keepofftrack(part, 0, sectorspertrack);
        for (const std::uint64_t sector : sectors)
            keepofftrack(part, sector, sectorspertrack);
    }
}

std::vector<PARTFAULT> checkparts(const std::vector<PART> &parts, const geom &geometry,
                                  std::uint64_t mbrsector, std::uint64_t recordsector)
{
    std::vector<PARTFAULT> faults;
    const bool disordered = brokenbyorder(parts);
    if (disordered)
        faults.push_back({-1, "The logical disks are not in disk order: the extended partition "
                              "reaches from the first row to the last, and others lie outside it. "
                              "Move the rows into disk order with Up and Down."});
    const PART *extended = nullptr;
    int top = 0;
    int logical = 0;
    for (int i = 0; i < static_cast<int>(parts.size()); ++i) {
        const PART &part = parts[static_cast<std::size_t>(i)];
        const bool isextended = part.kind == 'e';
        const bool islogical = part.kind == 'l';
        if (part.kind != 'p' && !isextended && !islogical)
            continue;
        const std::string name = entryname(part, islogical ? ++logical : ++top);
        const auto fault = [&](const std::string &text) { faults.push_back({i, name + text}); };

        // the first sector of the partition itself: a logical disk begins on the track behind its
        // boot record, and a part at the disk's start on the disk's second track
        std::uint64_t first = part.start;
        if (islogical || part.start == 0)
            first += geometry.sectorspertrack;

        if (part.stop < first && !(isextended && disordered))
            fault(" would be left without a sector.");
        else if (part.stop >= sectorlimit)
            fault(" reaches beyond sector 4294967295, the last one that a partition table can "
                  "tell.");
        if (part.systype == 0)
            fault(" has type 0, which other systems take for an empty entry. Give it a type.");
        if (islogical) {
            if (!extended)
                fault(" has no extended partition around it.");
            else if (!disordered && (part.start < extended->start || part.stop > extended->stop))
                fault(" lies outside the extended partition.");
            if (part.start == mbrsector || part.start == recordsector)
                fault(" would put its boot record over the disk's own first sectors.");
        } else if (top > tableslots || part.index < 0 || part.index >= tableslots) {
            fault(" is one too many: a partition table has room for four.");
        }
        if (isextended)
            extended = &part;
    }
    return faults;
}
