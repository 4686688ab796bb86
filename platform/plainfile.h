#pragma once

#include <cstdio>

/// Files that the program keeps beside itself. A name may come from a device, so it is trusted
/// with nothing: what opens is a plain file, never a link, a folder, a pipe or a device.
namespace platform
{

/// Opens the plain file `name` in a mode of `fopen` ("rb", "wb" or "ab"); null on failure.
/// A symbolic link of that name is not followed, the open fails.
std::FILE *openplainfile(const char *name, const char *mode);

/// Hands what was written to `file` to the medium; true on success.
bool syncplainfile(std::FILE *file);

/// Cuts the file of this name to `bytes` bytes; true on success. Never follows a link.
bool cutplainfile(const char *name, unsigned long long bytes);

} // namespace platform
