#pragma once

#include "core/geom.h"
#include "core/seg.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// The scan result file: a `geom` of 56 bytes, then one record of 24 bytes for each finished
/// segment, in segment order. No magic number, no version, no checksum.

/// The name of the scan file for a disk's model: a plain name in the current directory on every
/// system. What a file name can't hold on Windows or Linux is replaced by '_'.
std::string scanfilename(const char *model);

/// How reading a scan file ended.
enum class ScanFileState {
    unreadable, ///< it can't be opened or read
    damaged,    ///< shorter than its header, or its content contradicts itself
    partial,    ///< fewer records than the plan of its geometry has segments
    complete    ///< all records are there
};

/// The content of a scan file, taken over only when it is sound.
struct ScanFile {
    ScanFileState state = ScanFileState::unreadable;
    geom geometry;                ///< of the header
    std::vector<SEG> segs;        ///< the whole plan, marks from the records at hand
    int records = 0;              ///< whole records at hand, at most the plan's segments
    std::uint64_t wholebytes = 0; ///< length of the header and those records, in bytes
    bool ragged = false;          ///< part of a record stands behind `wholebytes`
};

/// Reads a scan file's image. Records must follow each other from cylinder 0 without a gap, inside
/// the disk, and lead on to what the plan has left. Bytes behind the last record of a complete plan
/// are ignored.
ScanFile parsescanfile(std::span<const std::uint8_t> image);
/// Reads the file of this name.
ScanFile readscanfile(const std::string &name);

/// Replaces the file whole or not at all by the header and `segs`: true on success.
bool replacescanfile(const std::string &name, const geom &geometry, const std::vector<SEG> &segs);
