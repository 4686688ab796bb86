#pragma once

#include "platform/decorator.h"

#include <cstdint>
#include <memory>

namespace platform
{

/// Serves small reads that run on from each other out of one large read.
///
/// A piece ends at a multiple of its length, so that most pieces are aligned. What was fetched is
/// handed out once and in order, as the caller's own pass over the medium reaches it: a read at any
/// other place, or a write, drops it. A piece that fails or comes short is thrown away whole; the
/// read that was asked for is then made exactly, and so are all others until the position has left
/// that piece. A damaged place thus costs one failed transfer more, and never more than one.
class ReadAhead : public Decorator
{
public:
    /// Length of a piece in bytes. From here on larger reads gain nothing on any disk tried.
    static constexpr std::size_t piecelength = std::size_t{4} << 20;

    explicit ReadAhead(std::unique_ptr<Device> inner, std::size_t piece = piecelength);
    ~ReadAhead() override;

protected:
    Status doseek(std::uint64_t offset) override;
    Transfer doread(void *target, std::size_t bytes) override;
    Transfer dowrite(const void *source, std::size_t bytes) override;

private:
    struct Freed {
        void operator()(char *memory) const;
    };

    /// Fetches the piece from `offset` to its end, if that is more than `bytes`.
    bool fetch(std::uint64_t offset, std::size_t bytes);
    /// Makes a read as it was asked for.
    Transfer exact(std::uint64_t offset, void *target, std::size_t bytes);

    std::size_t piece;
    std::uint64_t devicebytes = 0; ///< 0: unknown, nothing is fetched
    std::unique_ptr<char, Freed> buffer;
    std::uint64_t position = 0;  ///< where the caller's next transfer begins
    std::uint64_t expected = 0;  ///< where a read that runs on begins
    bool running = false;        ///< the last transfer was a read that succeeded
    std::uint64_t fetched = 0;   ///< first byte in the buffer
    std::uint64_t filled = 0;    ///< bytes in the buffer
    std::uint64_t avoidfrom = 0; ///< first byte of the last piece that failed
    std::uint64_t avoid = 0;     ///< first byte behind it; reads in between are made exactly
};

} // namespace platform
