#pragma once

#include "platform/simulated/simulated.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace platform
{

/// One operation and its result.
struct Operation {
    enum class Kind { open, close, read, write, request };
    Kind kind = Kind::open;
    std::uint64_t offset = 0; ///< bytes from the start of the disk
    std::uint64_t bytes = 0;  ///< requested, of a transfer
    std::uint64_t moved = 0;  ///< bytes moved
    std::string what = {};    ///< name of a request ("flush", "updateproperties", …)
};

/// The operations on one disk, over all its handles. Opens that failed are not in it.
struct Recording {
    std::vector<Operation> operations;
    /// Operations begun, and those that a handle got while another one on it was not over.
    std::atomic<int> begun = 0, clashes = 0;

    /// What happens to the operation of number `victim`: nothing, it fails, or it moves half its
    /// bytes and succeeds; a write stores only whole sectors of 512 bytes.
    enum class Disturbance { none, fail, cut } disturbance = Disturbance::none;
    std::size_t victim = 0;

    /// The transfers and flushes since the last call, with first sector and number of sectors:
    /// "r0+20 w20+5 flush".
    std::string course(std::uint32_t bytespersector = 512);
    [[nodiscard]] std::size_t count(Operation::Kind kind) const;
    void clear() { operations.clear(); }
};

/// A simulated disk that records every operation.
struct RecordedDisk : SimulatedDisk {
    explicit RecordedDisk(const SimulatedDisk &disk);

    std::shared_ptr<Recording> recording = std::make_shared<Recording>();
};

/// As `simulateddisk`, recorded.
template <class... Arguments> std::shared_ptr<RecordedDisk> recordeddisk(Arguments... arguments)
{
    return std::make_shared<RecordedDisk>(*simulateddisk(arguments...));
}

} // namespace platform
