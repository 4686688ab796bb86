#include "platform/plainfile.h"

#include "platform/windows/handle.h"

#include <cstring>

#include <fcntl.h>
#include <io.h>

namespace platform
{

namespace
{

/// Opens only a plain file. Truncates and writes nothing, so that a device of that name is not
/// changed.
FileHandle openplain(const char *name, DWORD access, DWORD disposition)
{
    // Shared in every way, since the program truncates a file while it has it open.
    FileHandle file(
        ::CreateFileA(name, access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                      disposition, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    // Fails for a disk device, whose file type is the same as that of a file.
    BY_HANDLE_FILE_INFORMATION info;
    if (file && ::GetFileType(file.get()) == FILE_TYPE_DISK &&
        ::GetFileInformationByHandle(file.get(), &info) &&
        (info.dwFileAttributes &
         (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DEVICE)) == 0)
        return file;
    return FileHandle();
}

bool truncate(const FileHandle &file, unsigned long long bytes)
{
    LARGE_INTEGER end;
    end.QuadPart = static_cast<LONGLONG>(bytes);
    return ::SetFilePointerEx(file.get(), end, nullptr, FILE_BEGIN) && ::SetEndOfFile(file.get());
}

} // namespace

std::FILE *openplainfile(const char *name, const char *mode)
{
    const bool reading = std::strcmp(mode, "rb") == 0;
    const bool emptied = std::strcmp(mode, "wb") == 0;
    if (!reading && !emptied && std::strcmp(mode, "ab") != 0)
        return nullptr;
    FileHandle file = openplain(name, reading ? GENERIC_READ : GENERIC_WRITE,
                                reading ? OPEN_EXISTING : OPEN_ALWAYS);
    if (!file || (emptied && !truncate(file, 0)))
        return nullptr;
    const int flags = _O_BINARY | (reading   ? _O_RDONLY
                                   : emptied ? _O_WRONLY
                                             : _O_WRONLY | _O_APPEND);
    const int descriptor = ::_open_osfhandle(reinterpret_cast<intptr_t>(file.get()), flags);
    if (descriptor < 0)
        return nullptr;
    file.release(); // the descriptor owns it now
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
    const FileHandle file = openplain(name, GENERIC_WRITE, OPEN_EXISTING);
    LARGE_INTEGER size;
    return file && ::GetFileSizeEx(file.get(), &size) &&
           bytes <= static_cast<unsigned long long>(size.QuadPart) && truncate(file, bytes);
}

} // namespace platform
