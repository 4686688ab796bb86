#pragma once

#include "platform/status.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace platform
{

/// Whether the environment variable QUARN_TRACE is set and not empty; read once, at the start.
extern const bool tracing;

/// Writes a line about a failed operation on the disk of this path to stderr: offset and bytes of a
/// transfer, the fault, the system's error number and its text.
void trace(const char *operation, const std::string &path, const Status &status,
           std::uint64_t offset = 0, std::size_t bytes = 0);

/// The name of a fault, as in the enumeration.
const char *faultname(Fault fault);

} // namespace platform
