#pragma once

#include "platform/decorator.h"

#include <cstdint>
#include <future>
#include <memory>

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
/// Once a whole piece was used up, the one behind the present piece is fetched while that is handed
/// out, so that the disk need not wait for the caller. This is done by a thread that lives as long
/// as that one transfer. The device behind knows nothing of it: it is asked for one thing at a
/// time, since whatever else is to reach it waits for the transfer to end.
class ReadAhead : public Decorator
{
public:
    /// Length of a piece in bytes. From here on larger reads gain nothing on any disk tried.
    static constexpr std::size_t piecelength = std::size_t{4} << 20;

    explicit ReadAhead(std::unique_ptr<Device> inner, std::size_t piece = piecelength);
    ~ReadAhead() override;

protected:
    Status ask(const char *name, const std::function<Status()> &request) override;
    Status doseek(std::uint64_t offset) override;
    Transfer doread(void *target, std::size_t bytes) override;
    Transfer dowrite(const void *source, std::size_t bytes) override;

private:
    struct Freed {
        void operator()(char *memory) const;
    };

    /// First byte behind the piece that `offset` lies in.
    [[nodiscard]] std::uint64_t pieceend(std::uint64_t offset) const;
    /// Whether the last piece that failed begins in front of `offset` and reaches beyond it.
    [[nodiscard]] bool isavoided(std::uint64_t offset) const;
    /// Fetches the piece from `offset` to its end, if that is more than `bytes`.
    bool fetch(std::uint64_t offset, std::size_t bytes);
    /// Starts to fetch the piece behind the present one.
    void fetchnext();
    /// Forgets what was fetched and what is on its way.
    void drop();
    /// Makes a read as it was asked for.
    Transfer exact(std::uint64_t offset, void *target, std::size_t bytes);

    std::size_t piece;
    std::uint64_t devicebytes = 0;       ///< 0: unknown, nothing is fetched
    std::unique_ptr<char, Freed> buffer; ///< two pieces: the present one and the one on its way
    std::size_t present = 0;             ///< where in the buffer the present one is
    std::uint64_t position = 0;          ///< where the caller's next transfer begins
    std::uint64_t expected = 0;          ///< where a read that runs on begins
    bool running = false;                ///< the last transfer was a read that succeeded
    std::uint64_t fetched = 0;           ///< first byte of the present piece
    std::uint64_t filled = 0;            ///< its length in bytes; 0: there is none
    std::uint64_t avoidfrom = 0;         ///< first byte of the last piece that failed
    std::uint64_t avoid = 0;    ///< first byte behind it; reads in between are made exactly
    std::future<Transfer> next; ///< the piece on its way. Last, since it uses all the others.
};

} // namespace platform
