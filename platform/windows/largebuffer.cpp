#include "platform/largebuffer.h"

#include <new>

namespace platform
{

namespace
{

/// Enough for every sector length.
constexpr std::align_val_t page{4096};

} // namespace

void FreeLargeBuffer::operator()(char *memory) const
{
    ::operator delete(memory, page);
}

LargeBuffer largebuffer(std::size_t bytes)
{
    return LargeBuffer(static_cast<char *>(::operator new(bytes, page, std::nothrow)));
}

} // namespace platform
