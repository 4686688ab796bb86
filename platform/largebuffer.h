#pragma once

#include <cstddef>
#include <memory>

namespace platform
{

/// Frees a large buffer.
struct FreeLargeBuffer {
    void operator()(char *memory) const;
};
using LargeBuffer = std::unique_ptr<char, FreeLargeBuffer>;

/// Memory that is aligned for direct transfers on every device, in large pages where the system has
/// them: each transfer costs time for each page. Null if there is none.
LargeBuffer largebuffer(std::size_t bytes);

} // namespace platform
