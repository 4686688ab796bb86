#pragma once

#include "platform/decorator.h"
#include "platform/largebuffer.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace platform
{

/// Makes large aligned transfers of small writes that run on, between the steps of `Gathering`.
///
/// A block ends at a multiple of its length, or where the writes stop to run on. Blocks are written
/// in order, and before any other operation. A block that fails or is short is written again from
/// there on in pieces as long as the caller's, and after a short one sector by sector. The first
/// piece that fails ends the gathering: the caller's write, or the operation that comes next, fails
/// for it. What is held back when the device is closed is discarded.
class WriteGather : public Decorator
{
public:
    static constexpr std::size_t blocklength = std::size_t{2} << 20; ///< in bytes

    explicit WriteGather(std::unique_ptr<Device> decorated, std::size_t length = blocklength);

    void traceas(std::string path) override { inner->traceas(std::move(path)); }

protected:
    Status request(const char *name, const std::function<Status()> &call) override;
    Transfer doread(std::uint64_t offset, void *target, std::size_t bytes) override;
    Transfer doverify(std::uint64_t offset, std::size_t bytes) override;
    Transfer dowrite(std::uint64_t offset, const void *source, std::size_t bytes) override;
    Status dogatherwrites(Gathering step) override;

private:
    /// Writes the block that is held back.
    Status writeblock();

    std::size_t length;
    LargeBuffer buffer;
    std::uint32_t bytespersector = 0; ///< 0: unknown, nothing is held back
    bool gathering = false;
    std::uint64_t start = 0; ///< first byte of the block that is held back
    std::size_t held = 0;    ///< its length in bytes; 0: there is none
    std::size_t piece = 0;   ///< length in bytes of the caller's write that began the block
};

/// A native disk as it is used: times its reads, reads ahead, and gathers writes.
std::unique_ptr<Device> inlargeblocks(std::unique_ptr<Device> device);

} // namespace platform
