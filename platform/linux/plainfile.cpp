#include "platform/plainfile.h"

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

/// Opens a plain file, and nothing else, without waiting for whatever else it may be. Nothing is
/// cut or written here, so that a device of that name stays as it is. Negative on failure.
int openplain(const char *name, int flags, struct stat &info)
{
    const int file = ::open(name, flags | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0644);
    if (file < 0)
        return -1;
    if (::fstat(file, &info) == 0 && S_ISREG(info.st_mode))
        return file;
    ::close(file);
    errno = EINVAL;
    return -1;
}

bool cut(int file, std::uint64_t bytes)
{
    while (::ftruncate(file, static_cast<off_t>(bytes)) != 0) {
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
    const int file = openplain(name, flags, info);
    if (file < 0)
        return nullptr;
    std::FILE *stream =
        flags != (O_WRONLY | O_CREAT) || cut(file, 0) ? ::fdopen(file, mode) : nullptr;
    if (stream == nullptr)
        ::close(file);
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
    const int file = openplain(name, O_WRONLY, info);
    if (file < 0)
        return false;
    // A file is cut, never filled up.
    const bool done = bytes <= static_cast<unsigned long long>(info.st_size) && cut(file, bytes);
    ::close(file);
    return done;
}

} // namespace platform
