#include "platform/plainfile.h"

#include "platform/windows/windows.h"

#include <cstring>

#include <fcntl.h>
#include <io.h>

namespace platform
{

namespace
{

/// Opens a plain file, and nothing else. Nothing is cut or written here, so that a device of that
/// name stays as it is.
HANDLE openplain(const char *name, DWORD access, DWORD disposition)
{
    // Shared in every way: the program itself cuts a file that it has open.
    const HANDLE file =
        ::CreateFileA(name, access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                      disposition, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return file;
    // A device of the kind of a disk has no such information.
    BY_HANDLE_FILE_INFORMATION info;
    if (::GetFileType(file) == FILE_TYPE_DISK && ::GetFileInformationByHandle(file, &info) &&
        (info.dwFileAttributes &
         (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DEVICE)) == 0)
        return file;
    ::CloseHandle(file);
    return INVALID_HANDLE_VALUE;
}

bool cut(HANDLE file, unsigned long long bytes)
{
    LARGE_INTEGER end;
    end.QuadPart = static_cast<LONGLONG>(bytes);
    return ::SetFilePointerEx(file, end, nullptr, FILE_BEGIN) && ::SetEndOfFile(file);
}

} // namespace

std::FILE *openplainfile(const char *name, const char *mode)
{
    const bool reading = std::strcmp(mode, "rb") == 0;
    const bool anew = std::strcmp(mode, "wb") == 0;
    if (!reading && !anew && std::strcmp(mode, "ab") != 0)
        return nullptr;
    const HANDLE file = openplain(name, reading ? GENERIC_READ : GENERIC_WRITE,
                                  reading ? OPEN_EXISTING : OPEN_ALWAYS);
    if (file == INVALID_HANDLE_VALUE)
        return nullptr;
    const int flags = _O_BINARY | (reading ? _O_RDONLY : anew ? _O_WRONLY : _O_WRONLY | _O_APPEND);
    const int descriptor =
        !anew || cut(file, 0) ? ::_open_osfhandle(reinterpret_cast<intptr_t>(file), flags) : -1;
    if (descriptor < 0) {
        ::CloseHandle(file);
        return nullptr;
    }
    std::FILE *stream = ::_fdopen(descriptor, mode);
    if (stream == nullptr)
        ::_close(descriptor);
    return stream;
}

bool syncplainfile(std::FILE *file)
{
    return std::fflush(file) == 0 && ::_commit(::_fileno(file)) == 0;
}

bool cutplainfile(const char *name, unsigned long long bytes)
{
    const HANDLE file = openplain(name, GENERIC_WRITE, OPEN_EXISTING);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    // A file is cut, never filled up.
    LARGE_INTEGER size;
    const bool done = ::GetFileSizeEx(file, &size) &&
                      bytes <= static_cast<unsigned long long>(size.QuadPart) && cut(file, bytes);
    ::CloseHandle(file);
    return done;
}

} // namespace platform
