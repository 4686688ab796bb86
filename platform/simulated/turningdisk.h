#pragma once

#include "platform/decorator.h"
#include "platform/simulated/sectorset.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace platform
{

/// The mechanics and the write cache of a disk, shared by its handles. All times are those of a
/// simulated clock, in seconds; nothing waits. The defaults: 7200 rpm, 150 MB/s, 64 MB of cache.
struct Turning {
    std::uint32_t bytespersector = 512;
    double revolution = 60.0 / 7200;
    double sectorspertrack = 2441; ///< 150 MB/s; tracks are skewed, so the next one costs no time
    double seek = 0.008;           ///< to any other track
    double command = 0.0001;       ///< overhead of each transfer
    double busrate = 550e6;        ///< bytes a second from and to the cache
    /// Bytes that writes may occupy. The drive begins to store them when the cache is half full,
    /// and stores all in a flush; until then reads are served from it, and nothing is on the
    /// medium. 0: a write waits for the medium. At most as many bytes are read ahead.
    std::uint64_t cachebytes = 64'000'000;
    SectorSet losing; ///< the cache takes them, and the medium keeps what it had

    double now = 0; ///< the clock

    // The state of the drive.
    struct Piece {
        std::uint64_t offset;
        std::vector<char> bytes;
    };
    std::deque<Piece> cache;  ///< in the order of their writes
    std::uint64_t cached = 0; ///< bytes in it
    double emptying = 0;      ///< since when the drive stores it
    std::uint64_t head = 0;   ///< sector behind the last one that passed
    double passed = 0;        ///< when that had passed; in the past if the drive reads ahead
    bool reading = false;     ///< the last access was a read: the drive reads on into its buffer
};

/// Gives a device the times and the write cache of a turning disk.
class TurningDisk : public Decorator
{
public:
    TurningDisk(std::unique_ptr<Device> decorated, std::shared_ptr<Turning> mechanics);

protected:
    Transfer doread(std::uint64_t offset, void *buffer, std::size_t bytes) override;
    Transfer dowrite(std::uint64_t offset, const void *buffer, std::size_t bytes) override;
    /// A flush empties the cache first; its failure is that of the medium.
    Status request(const char *name, const std::function<Status()> &call) override;

private:
    /// Has these bytes pass under the head, not before `earliest`; sets `passed`.
    void access(std::uint64_t offset, std::size_t bytes, bool reading, double earliest);
    /// Moves the oldest write from the cache to the medium.
    Status storeoldest();
    /// Writes to the medium all but the sectors that it loses.
    Transfer store(std::uint64_t offset, const char *source, std::size_t bytes);

    std::shared_ptr<Turning> disk;
};

} // namespace platform
