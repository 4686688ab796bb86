#pragma once

#include <cstdio>

/// The program's own files. A name may come from a device and is not trusted: only a plain file
/// opens, never a link, a folder, a pipe or a device.
namespace platform
{

/// Opens the plain file `name` in a mode of `fopen` ("rb", "wb" or "ab"); null on failure.
/// Symbolic links are not followed; the open fails.
std::FILE *openplainfile(const char *name, const char *mode);

/// Flushes `file` to the medium (fsync); true on success.
bool syncplainfile(std::FILE *file);

/// Truncates the file of this name to `bytes` bytes; true on success. Never extends a file, never
/// follows a link.
bool cutplainfile(const char *name, unsigned long long bytes);

} // namespace platform
