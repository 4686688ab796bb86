#pragma once

#include "platform/decorator.h"
#include "platform/simulated/sectorset.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace platform
{

/// The faults of a disk. Several handles may share one plan; it can be changed at any time.
struct FaultPlan {
    std::uint32_t bytespersector = 512;
    SectorSet unreadable;  ///< a read that touches one delivers nothing and fails (medium)
    SectorSet unwritable;  ///< a write that touches one moves nothing and fails (medium)
    SectorSet lying;       ///< a write succeeds, but stores other bytes
    SectorSet unreachable; ///< a transfer that starts in one can't be positioned (position)
    /// The next read that starts in this sector or behind it delivers at most so many bytes and
    /// succeeds; the entry is then removed. Of several entries the nearest one counts.
    std::map<std::uint64_t, std::uint64_t> shortreads;
    /// The same for writes.
    std::map<std::uint64_t, std::uint64_t> shortwrites;
    /// Operations (transfer, flush, request) until the disk is gone; not set: it stays. Counts
    /// down; at 0 every operation fails (gone) and the disk no longer opens.
    std::optional<std::uint64_t> vanishafter;
    /// Reads until the disk locks up: every read fails then (medium), its length unchanged. Not
    /// set: it does not. Counts down.
    std::optional<std::uint64_t> locksafter;
    /// How long a failing transfer takes, like a drive that retries.
    std::chrono::milliseconds faildelay{0};
    std::chrono::milliseconds delay{0}; ///< how long every transfer takes before that
    /// Sectors, both ends inclusive, where the disk is slow.
    struct Slow {
        std::uint64_t first = 0, last = 0;
        std::chrono::milliseconds time{0}; ///< what each read that touches them takes longer
    };
    std::vector<Slow> slow;
    /// Bytes a second that the medium delivers; 0: as many as the store does.
    std::uint64_t rate = 0;
    /// A simulated clock: what takes time moves it on and does not wait. Not set: it waits.
    std::optional<std::chrono::nanoseconds> clock;
};

/// Adds the faults of a plan to a device.
class FaultyDevice : public Decorator
{
public:
    FaultyDevice(std::unique_ptr<Device> decorated, std::shared_ptr<FaultPlan> faults);

protected:
    Transfer doread(std::uint64_t offset, void *buffer, std::size_t bytes) override;
    Transfer dowrite(std::uint64_t offset, const void *buffer, std::size_t bytes) override;
    Status request(const char *name, const std::function<Status()> &call) override;

private:
    void wait(std::chrono::nanoseconds time);
    /// Counts an operation; fails if the disk is gone.
    Status count();
    /// The same for a transfer; fails also if its offset can't be reached.
    Status count(std::uint64_t offset);

    std::shared_ptr<FaultPlan> plan;
};

} // namespace platform
