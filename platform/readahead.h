#pragma once

#include "platform/decorator.h"
#include "platform/largebuffer.h"

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

namespace platform
{

/// Serves small sequential reads from large blocks.
///
/// A block ends at a multiple of its length, so that most blocks are aligned. Where reads are timed
/// (`timeby`) a block also ends where a range does, so that its time is that of one range; the
/// blocks behind are then whole again, and aligned to less than their length. Fetched bytes are
/// delivered once and in order; a read at any other offset, or a write, discards them. A block that
/// fails or is short is discarded as a whole; the caller's read is then made exactly as requested,
/// and so are all others inside that block. A damaged place thus costs at most one more failed
/// transfer.
///
/// Once a whole block was delivered, a thread fetches up to two blocks behind the present one while
/// that is delivered, so that the disk does not wait for the caller. The thread stops at a block
/// that fails. The inner device is never used concurrently: every other operation waits until the
/// thread is idle.
class ReadAhead : public Decorator
{
public:
    /// Length of a block in bytes. Longer reads were no faster on any disk measured.
    static constexpr std::size_t blocklength = std::size_t{2} << 20;

    explicit ReadAhead(std::unique_ptr<Device> inner, std::size_t length = blocklength);
    ~ReadAhead() override;

    void traceas(std::string path) override { inner->traceas(std::move(path)); }
    void timeby(std::shared_ptr<TransferTimes> newtimes) override;

protected:
    Status request(const char *name, const std::function<Status()> &call) override;
    Transfer doread(std::uint64_t offset, void *target, std::size_t bytes) override;
    Transfer doverify(std::uint64_t offset, std::size_t bytes) override;
    Transfer dowrite(std::uint64_t offset, const void *source, std::size_t bytes) override;

private:
    static constexpr std::size_t maxahead = 2; ///< blocks behind the present one

    /// Makes the block from `offset` to its end the present one, if it is longer than `bytes`.
    bool fetch(std::uint64_t offset, std::size_t bytes);
    /// Starts the thread's fetching at `offset`.
    void startahead(std::uint64_t offset);
    /// The thread: fetches blocks while `ahead` is set and the ring has room.
    void fetchahead();
    /// Whether the thread has nothing to do. The caller holds the lock.
    [[nodiscard]] bool idle() const { return !fetching && !(ahead && fetched < maxahead); }
    /// Stops the thread's fetching and discards all blocks.
    void drop();
    /// Length in bytes of the block from `offset` to its end; 0 if it is not to be fetched.
    [[nodiscard]] std::size_t lengthfrom(std::uint64_t offset) const;
    /// The buffer of the block so many behind the present one.
    [[nodiscard]] char *blockbuffer(std::size_t behind) const;

    std::size_t length;
    std::uint64_t devicebytes = 0; ///< 0: unknown, nothing is fetched
    LargeBuffer buffer;            ///< a ring: the present block and those behind it
    std::uint64_t expected = 0;    ///< offset of the next sequential read
    bool sequential = false;       ///< the last transfer was a read that succeeded
    std::uint64_t blockstart = 0;  ///< first byte of the present block
    std::uint64_t blockbytes = 0;  ///< its length in bytes; 0: there is none
    std::uint64_t failedstart = 0; ///< first byte of the last block that failed
    std::uint64_t failedend = 0;   ///< its end, exclusive; reads inside it are made exactly

    // Shared with the thread, under the lock. Of the members above, the thread reads `length`,
    // `devicebytes`, `buffer` and the failed range; the caller changes these while it is idle.
    std::mutex lock;
    std::condition_variable changed;
    bool ending = false;
    bool ahead = false;      ///< the thread shall fetch
    bool fetching = false;   ///< the thread has a transfer in progress
    bool failed = false;     ///< the thread's last transfer failed
    std::size_t present = 0; ///< index of the present block in the ring
    std::size_t fetched = 0; ///< number of blocks fetched behind it
    std::uint64_t next = 0;  ///< first byte of the next block to fetch
    std::thread thread;
};

} // namespace platform
