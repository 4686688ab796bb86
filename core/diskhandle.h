#pragma once

#include "core/tlcore.h"

#include <string>
#include <utility>

/// Owns an open disk and closes it at the end of its scope.
class DiskHandle
{
public:
    DiskHandle() = default;
    /// Opens a disk for reading and writing.
    explicit DiskHandle(const char *devicepath) : handle(opendisk(devicepath)) {}
    /// Owns a handle that is open already.
    explicit DiskHandle(void *opened) : handle(opened) {}
    DiskHandle(DiskHandle &&other) noexcept : handle(other.release()) {}
    DiskHandle &operator=(DiskHandle &&other) noexcept
    {
        if (this != &other) {
            reset();
            handle = other.release();
        }
        return *this;
    }
    DiskHandle(const DiskHandle &) = delete;
    DiskHandle &operator=(const DiskHandle &) = delete;
    ~DiskHandle() { reset(); }

    /// Whether a disk is open.
    explicit operator bool() const { return handle != invaliddisk; }
    /// The handle for the functions of the core; `invaliddisk` if none is open.
    [[nodiscard]] void *get() const { return handle; }
    /// Closes the disk.
    void reset() { closedisk(release()); }
    /// Gives the handle away without closing it.
    [[nodiscard]] void *release() { return std::exchange(handle, invaliddisk); }

private:
    void *handle = invaliddisk;
};

/// The identity of the disk behind a handle, as far as it tells. `devicepath` gives the node.
DiskIdentity readidentity(void *handle, std::string_view devicepath);

/// Opens the chosen disk for reading and writing; the one way to it once it was chosen. If another
/// disk is behind its node now, that one is left alone, and the chosen disk is looked for under all
/// other nodes. None open: `refusal` says so to the user, with the reason on a line of its own.
/// `where`, if it isn't null, becomes the path by which it was opened.
DiskHandle openchosen(const DISKINFO &chosen, std::string &refusal, std::string *where = nullptr);
/// Why the last transfer or claim on a handle failed, a sentence for the user: who uses the disk,
/// or what the system says.
std::string failurereason(void *handle);
