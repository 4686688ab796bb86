#pragma once

#include "platform/windows/windows.h"

#include <memory>

namespace platform
{

struct CloseFile {
    void operator()(HANDLE handle) const { ::CloseHandle(handle); }
};

/// Owns the handle of an open file; null: none.
class FileHandle : public std::unique_ptr<void, CloseFile>
{
public:
    /// Takes the result of CreateFile, INVALID_HANDLE_VALUE on failure.
    explicit FileHandle(HANDLE opened = nullptr)
        : unique_ptr(opened != INVALID_HANDLE_VALUE ? opened : nullptr)
    {
    }
};

} // namespace platform
