#pragma once

#include <cstddef>
#include <string>

namespace platform
{

/// The kind of a failure. `none` is the only success.
enum class Fault {
    none,        ///< success
    medium,      ///< the medium could not be read or written there
    gone,        ///< the device does not exist, or no longer
    denied,      ///< the rights are missing
    busy,        ///< something else holds the device
    unsupported, ///< this device or system has no such operation
    badargument, ///< a bad handle, an unaligned offset or length
    position,    ///< the device can't be positioned there; nothing moved
    cancelled,   ///< another thread cancelled the work; nothing moved
    other        ///< anything else; `Status::code` tells more
};

/// The result of one operation; a failure until something else is stored.
struct [[nodiscard]] Status {
    Fault fault = Fault::other;
    int code = 0; ///< the system's own error number, 0 if there is none

    static constexpr Status success() { return {Fault::none, 0}; }
    [[nodiscard]] bool ok() const { return fault == Fault::none; }
};

/// The reason of a failure for the user: the fault, and the system's own words if it gave any.
std::string reasontext(const Status &status);

/// The result of one transfer: `bytes` moved, whether or not the operation succeeded.
struct [[nodiscard]] Transfer {
    Status status;
    std::size_t bytes = 0;
};

} // namespace platform
