#pragma once

#include "core/geom.h"
#include "core/seg.h"

#include <QString>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <vector>

/// The scan result file: a `geom` of 56 bytes, then one record of 24 bytes for each tested segment,
/// in segment order. No magic number, no version, no checksum of the file. The reserved four bytes
/// of the `geom` hold the checksum of the disk's serial number (`serialchecksum`).

/// The name of the scan file for a disk's model: a plain name in the current directory on every
/// system. Characters that a file name can't hold on Windows or Linux are replaced by '_'.
std::string scanfilename(const char *model);
/// The name for a disk whose twin of the same model has that file: the end of the normalised serial
/// number stands behind the model.
std::string twinfilename(const char *model, const std::string &serial);

/// How reading a scan file ended.
enum class ScanFileState {
    unreadable, ///< it can't be opened or read
    damaged,    ///< no whole record, or its content contradicts itself
    partial,    ///< fewer records than the plan of its geometry has segments
    complete    ///< all records are present
};

/// The content of a scan file. Only a partial or complete one fills more than the state.
struct ScanFile {
    ScanFileState state = ScanFileState::unreadable;
    geom geometry{};              ///< of the header
    std::uint32_t checksum = 0;   ///< of the disk's serial number; 0: it has none, or an old file
    std::vector<SEG> segs{};      ///< the whole plan, with the marks of the records
    int records = 0;              ///< whole records, at most the plan's segments
    std::uint64_t wholebytes = 0; ///< length of the header and those records, in bytes
    bool ragged = false;          ///< part of a record follows them

    /// Whether it holds a result, of a whole scan or of its beginning.
    [[nodiscard]] bool holdsresult() const
    {
        return state == ScanFileState::partial || state == ScanFileState::complete;
    }
};

/// Reads a scan file's image. Records must be adjacent from cylinder 0 on, lie inside the disk, and
/// reach the plan's end or be followed by the rest of it. Bytes behind the last record of a
/// complete plan are ignored.
ScanFile parsescanfile(std::span<const std::uint8_t> image);
/// Reads the file of this name.
ScanFile readscanfile(const std::string &name);

/// While a new scan runs, the former result is kept beside it as `<name>.previous`.
///
/// Moves the result out of the way of a new scan: false if that fails. An interrupted result does
/// not replace a complete one that is kept already.
bool keepresult(const std::string &name);
/// Brings the kept result back if the file holds none, or at all if `always`. True if it did.
bool recallresult(const std::string &name, bool always = false);
/// Deletes the kept result.
void dropkeptresult(const std::string &name);
/// The name that it is kept by.
std::string keptname(const std::string &name);
/// The kept result; unreadable if there is none.
ScanFile readkeptresult(const std::string &name);

/// Writes the scan file of a run. Every record is handed to the system at once, which is enough for
/// a crash of the program. The medium gets them once a second, so a power cut costs that much of
/// the scan; a sync for each record would take a small disk longer than its test.
class ScanFileWriter
{
public:
    /// Opens the file of this name, which holds `wholerecords` whole records: "wb" empties or
    /// creates it, "ab" appends. False on failure.
    bool open(const std::string &filename, const char *mode, int wholerecords);
    /// Writes the header to the medium; false on failure.
    bool writeheader(const geom &geometry, std::uint32_t checksum);
    /// Cuts what follows the first `wholerecords` records; false on failure.
    bool cut(int wholerecords);
    /// Appends a record; the `last` one is synced. On failure the file is cut back to the records
    /// that were kept, and closed.
    bool append(const SEG &seg, bool last);
    /// Syncs and closes the file, if it is open.
    void close() { file.reset(); }
    /// The open file; null if it is closed.
    [[nodiscard]] std::FILE *stream() const { return file.get(); }

private:
    struct Closing {
        void operator()(std::FILE *stream) const;
    };

    std::string name;
    std::unique_ptr<std::FILE, Closing> file;
    int records = 0; ///< handed to the system
    int synced = 0;  ///< of these, on the medium
    std::chrono::steady_clock::time_point synctime;
};

/// Replaces the file whole or not at all by the header and `segs`: true on success.
/// On failure `why` has the system's words.
bool replacescanfile(const std::string &name, const geom &geometry, const std::vector<SEG> &segs,
                     std::uint32_t checksum = 0, QString *why = nullptr);
/// The header's image.
std::array<std::uint8_t, geomsize> encodescanheader(const geom &geometry, std::uint32_t checksum);
