#pragma once

#include "core/seg.h"

#include <cstdint>
#include <vector>

namespace platform
{
struct Status;
}

/// What a test found: the one answer that goes from the transfer to whoever marks.
enum class Reading {
    good,      ///< everything was transferred, and came back as written
    bad,       ///< the medium failed there
    gone,      ///< the disk is not there any more; says nothing about the medium
    cancelled, ///< the work was cancelled; says nothing about the medium
    refused ///< the system refused this program (busy, rights, argument); nothing about the medium
};

/// The reading of a status. A failed one asks the device for its size, since a disk that was
/// unplugged often fails as a bad sector does: no size means `gone`.
Reading readingof(void *handle, const platform::Status &status);

/// A test over the sectors `first` to `last`, both inclusive.
using RangeTest = Reading (*)(void *handle, std::uint64_t first, std::uint64_t last,
                              int bytespersector);

/// Reads the range in batches; a transfer that delivers nothing ends it at once.
Reading readrange(void *handle, std::uint64_t first, std::uint64_t last, int bytespersector);
/// Writes the range, flushes, reads it back and compares. Destroys what was there.
///
/// The whole range is written before any of it is read. A batch that is read back at once comes out
/// of the drive's cache, which tells nothing about the medium, or takes two turns of the disk. A
/// range that is longer than the cache is read from the medium. A write may be held back to be made
/// with those that run on from it (`platform::Gathering`), so its failure may show at a later
/// batch; it still fails the range.
Reading writerange(void *handle, std::uint64_t first, std::uint64_t last, int bytespersector);
/// Reads one sector. One that is not transferred whole, as behind the disk's end, is `refused`.
Reading readsector(void *handle, std::uint64_t sector, int bytespersector);
/// Reads the first sector of each good record (cylinders x `g.sectorspercyl`), up to the first that
/// is not delivered. Bad records are skipped.
Reading roughcheck(void *handle, const std::vector<SEG> &list, int bytespersector);
