#pragma once

#include "platform/signatures.h"

#include <cstdint>
#include <vector>

/// What is left of earlier uses of a whole disk. A system may mount or assemble it by that, past
/// its partition table.
struct WholeDiskUses {
    std::vector<platform::Signature> signatures;
    bool damaged = false; ///< not all of the disk's start and end could be read
};

/// Disk: looks for such signatures at its start and end. Lengths of the whole disk in sectors and
/// of a sector in bytes. What can't be read holds none.
WholeDiskUses wholediskuses(void *handle, std::uint64_t disksectors, std::uint32_t bytespersector);
