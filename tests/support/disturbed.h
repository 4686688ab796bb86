#pragma once

#include "platform/platform.h"

#include <cstdint>
#include <vector>

namespace platform
{

/// What happens to one call of a session.
enum class Disturbance {
    none, ///< nothing
    fail, ///< only this call fails
    cut,  ///< a transfer moves half its bytes and succeeds; a write stores only whole sectors
    gone  ///< this and all later calls fail, as if the disks had been removed
};

/// Counts all calls, except closes, to another backend and its devices, and disturbs one of them.
/// So a session can be repeated once for each of its calls.
class DisturbedBackend : public Backend
{
public:
    explicit DisturbedBackend(Backend &decorated) : inner(decorated) {}

    Disturbance disturbance = Disturbance::none;
    std::uint64_t victim = 0;           ///< number of the call that is disturbed, from 0
    std::uint32_t bytespersector = 512; ///< of the disks
    std::vector<bool> calls;            ///< all calls so far; true: a transfer

    Status systemvolumes(std::vector<std::string> &paths) override;
    Status listdisks(std::vector<std::string> &paths) override;
    std::unique_ptr<Device> open(const std::string &path, Access access, Status &status) override;
    Status inuse(const std::string &path, std::string &reason, bool &claimable) override;

    /// Counts a call; returns its failure or success. Sets `cut` for a transfer to be cut.
    Status enter(bool transfer = false, bool *cut = nullptr);

private:
    Backend &inner;
};

} // namespace platform
