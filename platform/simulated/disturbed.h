#pragma once

#include "platform/platform.h"

#include <cstdint>
#include <vector>

namespace platform
{

/// What happens to one call of a session.
enum class Disturbance {
    none, ///< it goes through
    fail, ///< it alone fails
    cut,  ///< a transfer moves half its bytes and succeeds; of a write whole sectors alone land
    gone  ///< it and all later ones fail, as if the disks had been pulled out
};

/// Numbers all calls that reach another backend and its devices, closes apart, and disturbs one of
/// them. So a session can be repeated once for each of its calls.
class DisturbedBackend : public Backend
{
public:
    explicit DisturbedBackend(Backend &decorated) : inner(decorated) {}

    Disturbance disturbance = Disturbance::none;
    std::uint64_t victim = 0;           ///< number of the call that is disturbed, from 0
    std::uint32_t bytespersector = 512; ///< of the disks behind it
    std::vector<bool> calls;            ///< all calls so far; true: a transfer

    Status systemvolumes(std::vector<std::string> &paths) override;
    Status listdisks(std::vector<std::string> &paths) override;
    std::unique_ptr<Device> open(const std::string &path, Access access, Status &status) override;
    Status inuse(const std::string &path, std::string &reason) override;

    /// Counts a call: how it fails, or that it goes through. `cut` tells a transfer to be cut.
    Status enter(bool transfer = false, bool *cut = nullptr);

private:
    Backend &inner;
};

} // namespace platform
