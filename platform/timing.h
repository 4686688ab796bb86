#pragma once

#include "platform/decorator.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace platform
{

/// How long a disk's reads took, by the ranges that it is cut into. Any thread may use it.
///
/// Writes are not timed: a drive takes them into its cache, which tells nothing of the place.
class TransferTimes
{
public:
    /// What was read in one range.
    struct Range {
        double slowest = -1;     ///< seconds of the slowest read, failed or not; negative: none
        double seconds = 0;      ///< of all reads that succeeded
        std::uint64_t bytes = 0; ///< that those delivered
    };

    /// Range n begins where range n - 1 ends. `ends`: their ends in bytes, exclusive, ascending.
    explicit TransferTimes(std::vector<std::uint64_t> ends);

    /// The end of the range that this byte lies in; behind the last range no number is above it.
    [[nodiscard]] std::uint64_t endof(std::uint64_t offset) const;
    /// Counts a read of `bytes` bytes, `moved` of which were delivered, for each range it touches.
    void add(std::uint64_t offset, std::size_t bytes, std::size_t moved, double seconds);
    [[nodiscard]] Range range(std::size_t index) const;
    /// Number of reads that delivered something.
    [[nodiscard]] std::uint64_t goodreads() const;

private:
    const std::vector<std::uint64_t> ends;
    mutable std::mutex lock;
    std::vector<Range> ranges;
    std::uint64_t good = 0;
};

/// Times the reads of another device for `Device::times`. Below a read-ahead it sees what the disk
/// really did, on the read-ahead's thread too.
///
/// The first transfer of a handle is not counted: a disk that has slept spins up for it.
class Timing : public Decorator
{
public:
    /// The time since some fixed point. Not set: that of the steady clock.
    using Clock = std::function<std::chrono::nanoseconds()>;

    explicit Timing(std::unique_ptr<Device> decorated, Clock clock = {});

protected:
    Transfer doread(std::uint64_t offset, void *target, std::size_t bytes) override;
    Transfer doverify(std::uint64_t offset, std::size_t bytes) override;
    Transfer dowrite(std::uint64_t offset, const void *source, std::size_t bytes) override;

private:
    template <typename Read> Transfer timed(std::uint64_t offset, std::size_t bytes, Read read);

    Clock clock;
    bool awake = false; ///< a transfer was made
};

} // namespace platform
