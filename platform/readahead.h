#pragma once

#include "platform/decorator.h"

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

namespace platform
{

/// Serves small reads that run on from each other out of large ones.
///
/// A piece ends at a multiple of its length, so that most pieces are aligned. What was fetched is
/// handed out once and in order, as the caller's own pass over the medium reaches it: a read at any
/// other place, or a write, drops it. A piece that fails or comes short is thrown away whole; the
/// read that was asked for is then made exactly, and so are all others until the position has left
/// that piece. A damaged place thus costs one failed transfer more, and never more than one.
///
/// Once a whole piece was used up, a thread keeps fetching up to two pieces behind the present one
/// while that is handed out, so that the disk need not wait for the caller. It ends with a piece
/// that fails. The device behind knows nothing of it: it is asked for one thing at a time, since
/// whatever else is to reach it waits until the thread rests.
class ReadAhead : public Decorator
{
public:
    /// Length of a piece in bytes. From here on larger reads gain nothing on any disk tried.
    static constexpr std::size_t piecelength = std::size_t{2} << 20;

    explicit ReadAhead(std::unique_ptr<Device> inner, std::size_t piece = piecelength);
    ~ReadAhead() override;

protected:
    Status ask(const char *name, const std::function<Status()> &request) override;
    Status doseek(std::uint64_t offset) override;
    Transfer doread(void *target, std::size_t bytes) override;
    Transfer dowrite(const void *source, std::size_t bytes) override;

private:
    static constexpr std::size_t mostahead = 2; ///< pieces behind the present one

    struct Freed {
        void operator()(char *memory) const;
    };

    /// Fetches the piece from `offset` to its end, if that is more than `bytes`.
    bool fetch(std::uint64_t offset, std::size_t bytes);
    /// Has the thread fetch on from `offset`.
    void startahead(std::uint64_t offset);
    /// What the thread does: pieces, while they are wanted and there is room.
    void fetchahead();
    /// Whether the thread has nothing to do. For whoever holds the lock.
    [[nodiscard]] bool rests() const { return !fetching && !(ahead && arrived < mostahead); }
    /// Forgets what was fetched, once the thread rests.
    void drop();
    /// Length in bytes of the piece from `offset` to its end; 0 if it is not to be fetched.
    [[nodiscard]] std::size_t lengthfrom(std::uint64_t offset) const;
    /// The place in the buffer of the piece so many behind the present one.
    [[nodiscard]] char *place(std::size_t behind) const;
    /// Makes a read as it was asked for.
    Transfer exact(std::uint64_t offset, void *target, std::size_t bytes);

    std::size_t piece;
    std::uint64_t devicebytes = 0;       ///< 0: unknown, nothing is fetched
    std::unique_ptr<char, Freed> buffer; ///< a ring: the present piece and those behind it
    std::uint64_t position = 0;          ///< where the caller's next transfer begins
    std::uint64_t expected = 0;          ///< where a read that runs on begins
    bool running = false;                ///< the last transfer was a read that succeeded
    std::uint64_t fetched = 0;           ///< first byte of the present piece
    std::uint64_t filled = 0;            ///< its length in bytes; 0: there is none
    std::uint64_t avoidfrom = 0;         ///< first byte of the last piece that failed
    std::uint64_t avoid = 0; ///< first byte behind it; reads in between are made exactly

    // What both threads use, under the lock. All else is the caller's, and does not change while
    // the thread is at it.
    std::mutex lock;
    std::condition_variable changed;
    bool ending = false;
    bool ahead = false;      ///< the thread is to fetch on
    bool fetching = false;   ///< it has a transfer under way
    bool failed = false;     ///< the last one failed; it fetches no further
    std::size_t present = 0; ///< number of the present piece's place in the ring
    std::size_t arrived = 0; ///< pieces fetched behind it
    std::uint64_t from = 0;  ///< first byte of the next one to fetch
    std::thread thread;
};

} // namespace platform
