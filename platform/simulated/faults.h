#pragma once

#include "platform/decorator.h"
#include "platform/simulated/sectorset.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>

namespace platform
{

/// What shall go wrong on a disk. One plan may stand behind several handles; change it at any time.
struct FaultPlan {
    std::uint32_t bytespersector = 512;
    SectorSet unreadable; ///< a read that touches one delivers nothing and fails (medium)
    SectorSet unwritable; ///< a write that touches one moves nothing and fails (medium)
    SectorSet lying;      ///< a write succeeds, and other bytes land on the medium
    /// The next read that starts in this sector or behind it delivers at most so many bytes and
    /// succeeds; that uses the entry up. Of several entries the nearest one counts.
    std::map<std::uint64_t, std::uint64_t> shortreads;
    /// The same for writes.
    std::map<std::uint64_t, std::uint64_t> shortwrites;
    /// Operations (seek, transfer, flush, request) until the disk is gone; none: it stays. Counts
    /// down; at 0 every operation fails (gone) and the disk no longer opens.
    std::optional<std::uint64_t> vanishafter;
    /// How long a failing transfer takes, as a drive's own retries do.
    std::chrono::milliseconds faildelay{0};
};

/// Makes any device fail as a plan says.
class FaultyDevice : public Decorator
{
public:
    FaultyDevice(std::unique_ptr<Device> decorated, std::shared_ptr<FaultPlan> faults);

protected:
    Status doseek(std::uint64_t offset) override;
    Transfer doread(void *buffer, std::size_t bytes) override;
    Transfer dowrite(const void *buffer, std::size_t bytes) override;
    Status ask(const char *name, const std::function<Status()> &request) override;

private:
    Status pass();

    std::shared_ptr<FaultPlan> plan;
    std::uint64_t position = 0;
};

} // namespace platform
