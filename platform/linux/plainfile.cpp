#include "platform/plainfile.h"

#include "platform/linux/descriptor.h"

#include <cerrno>
#include <cstdint>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform
{

namespace
{

/// Opens only a plain file, and does not block on anything else. Truncates and writes nothing, so
/// that a device of that name is not changed.
Descriptor openplain(const char *name, int flags, struct stat &info)
{
    Descriptor file(::open(name, flags | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0644));
    if (!file.isopen() || (::fstat(file.get(), &info) == 0 && S_ISREG(info.st_mode)))
        return file;
    errno = EINVAL;
    return {};
}

bool truncate(const Descriptor &file, std::uint64_t bytes)
{
    while (::ftruncate(file.get(), static_cast<off_t>(bytes)) != 0) {
        if (errno != EINTR)
            return false;
    }
    return true;
}

} // namespace

std::FILE *openplainfile(const char *name, const char *mode)
{
    int flags = O_RDONLY;
    if (std::strcmp(mode, "wb") == 0) {
        flags = O_WRONLY | O_CREAT;
    } else if (std::strcmp(mode, "ab") == 0) {
        flags = O_WRONLY | O_CREAT | O_APPEND;
    } else if (std::strcmp(mode, "rb") != 0) {
        errno = EINVAL;
        return nullptr;
    }
    struct stat info;
    Descriptor file = openplain(name, flags, info);
    if (!file.isopen() || (flags == (O_WRONLY | O_CREAT) && !truncate(file, 0)))
        return nullptr;
    std::FILE *stream = ::fdopen(file.get(), mode);
    if (stream != nullptr)
        file.release();
    return stream;
}

bool syncplainfile(std::FILE *file)
{
    if (std::fflush(file) != 0)
        return false;
    while (::fsync(::fileno(file)) != 0) {
        if (errno != EINTR)
            return false;
    }
    return true;
}

bool cutplainfile(const char *name, unsigned long long bytes)
{
    struct stat info;
    const Descriptor file = openplain(name, O_WRONLY, info);
    return file.isopen() && bytes <= static_cast<unsigned long long>(info.st_size) &&
           truncate(file, bytes);
}

} // namespace platform
