#include "platform/largebuffer.h"

#include <cstdlib>

#include <sys/mman.h>

namespace platform
{

void FreeLargeBuffer::operator()(char *memory) const
{
    std::free(memory);
}

LargeBuffer largebuffer(std::size_t bytes)
{
    constexpr std::size_t hugepage = std::size_t{2} << 20;
    constexpr std::size_t page = 4096;
    const bool huge = bytes >= hugepage;
    void *memory = nullptr;
    if (::posix_memalign(&memory, huge ? hugepage : page, bytes) != 0)
        return nullptr;
    if (huge) // if there are none, small pages do
        static_cast<void>(::madvise(memory, bytes, MADV_HUGEPAGE));
    return LargeBuffer(static_cast<char *>(memory));
}

} // namespace platform
