#include "core/part.h"

#include <string>

// A table entry tells positions and counts in 32 bits.
static constexpr std::uint64_t sectorlimit = 1ULL << 32;
// Entries in a table.
static constexpr int tableslots = 4;

// Moves a record that holds `sector` behind that sector's track. A start behind the stop is left
// for the check to refuse.
static void keepofftrack(PART &part, std::uint64_t sector, std::uint32_t sectorspertrack)
{
    if (sector == nosector || sector < part.start || sector > part.stop)
        return;
    part.start = (sector / sectorspertrack + 1) * sectorspertrack;
    part.size = part.stop + 1 > part.start ? part.stop + 1 - part.start : 0;
}

void keepofftracks(std::vector<PART> &parts, std::span<const std::uint64_t> sectors,
                   std::uint32_t sectorspertrack)
{
    for (PART &part : parts) {
        keepofftrack(part, 0, sectorspertrack);
        for (const std::uint64_t sector : sectors)
            keepofftrack(part, sector, sectorspertrack);
    }
}

static std::string partname(const PART &part, int number)
{
    const char *kind = part.kind == 'l'   ? "Logical disk "
                       : part.kind == 'e' ? "Extended partition "
                                          : "Primary partition ";
    return kind + std::to_string(number);
}

std::vector<PARTFAULT> checkparts(const std::vector<PART> &parts, const geom &geometry,
                                  std::uint64_t mbrsector, std::uint64_t recordsector)
{
    std::vector<PARTFAULT> faults;
    const PART *extended = nullptr;
    int top = 0;
    int logical = 0;
    for (int i = 0; i < static_cast<int>(parts.size()); i++) {
        const PART &part = parts[static_cast<std::size_t>(i)];
        const bool isextended = part.kind == 'e';
        const bool islogical = part.kind == 'l';
        if (part.kind != 'p' && !isextended && !islogical)
            continue;
        const std::string name = partname(part, islogical ? ++logical : ++top);
        const auto fault = [&](const std::string &text) { faults.push_back({i, name + text}); };

        // where the partition proper begins: a logical disk stands behind its record's track, and
        // a record at the disk's start gives its first track away
        std::uint64_t first = part.start;
        if (islogical || part.start == 0)
            first += geometry.sectorspertrack;

        if (part.stop < first)
            fault(" would be left without a sector.");
        else if (part.stop >= sectorlimit)
            fault(" reaches beyond sector 4294967295, the last one that a partition table can "
                  "tell.");
        if (islogical) {
            if (!extended)
                fault(" has no extended partition around it.");
            else if (part.start < extended->start || part.stop > extended->stop)
                fault(" lies outside the extended partition. Move the logical disks into disk "
                      "order.");
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
