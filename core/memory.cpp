#include "core/memory.h"

#include <cstdio>
#include <cstdlib>
#include <new>

std::unique_ptr<char[]> sectorbuffer(std::size_t bytes, const char *message)
{
    std::unique_ptr<char[]> buffer(new (std::nothrow) char[bytes]());
    if (!buffer) {
        std::fputs(message, stderr);
        std::exit(1);
    }
    return buffer;
}
