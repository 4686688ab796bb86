#pragma once

#include "platform/device.h"

#include <memory>
#include <string>
#include <vector>

/// The interface to the operating system. A handle is a `void*` to a `Device`.
namespace platform
{

/// What a caller wants to do with a disk.
enum class Access { read, readwrite };

/// The invalid handle (all bits set).
extern void *const invalidhandle;

/// A source of disks: the native system, or a simulation.
class Backend
{
public:
    Backend() = default;
    Backend(const Backend &) = delete;
    Backend &operator=(const Backend &) = delete;
    virtual ~Backend() = default;

    /// Appends the paths of the running system: either of its volume, which may lack the parts of a
    /// disk path, or of all disks below that volume, as in `listdisks`.
    virtual Status systemvolumes(std::vector<std::string> &paths) = 0;
    /// Appends the device-interface path of each present disk, in the system's own order.
    /// A path reads `<node>#<device part>#<instance part>#<class part>`.
    virtual Status listdisks(std::vector<std::string> &paths) = 0;
    /// Opens a disk or volume by its path; null on failure, with the reason in `status`.
    virtual std::unique_ptr<Device> open(const std::string &path, Access access,
                                         Status &status) = 0;
    /// Sets `reason` to the present user of the disk, in words ("mounted at /media/x"); empty if
    /// there is none. `claimable`: `Device::claim` ends that use, so the disk need not be refused.
    /// Default: unsupported.
    virtual Status inuse(const std::string &path, std::string &reason, bool &claimable)
    {
        static_cast<void>(path);
        static_cast<void>(reason);
        claimable = false;
        return {Fault::unsupported, 0};
    }
    /// Reads what the disk of this path holds: a few sectors at its start, at its end and in each
    /// partition, which a failing disk may take long to answer. Default: unsupported.
    virtual Status contents(const std::string &, DiskContents &) { return {Fault::unsupported, 0}; }
};

/// The backend of the system that the program was built for.
Backend &nativebackend();
/// The backend in use: the native one until `setbackend` names another.
Backend &backend();
/// Sets the backend in use (null: the native one). The caller keeps it alive.
void setbackend(Backend *other);

/// Opens a disk on the backend in use; `invalidhandle` on failure, with the reason in `status`. The
/// monitor of the calling thread watches the handle.
void *open(const char *path, Access access, Status *status = nullptr);
/// Closes a handle from `open`; ignores `invalidhandle` and null.
void close(void *handle);
/// The device of a handle; for `invalidhandle` and null one on which every operation fails.
Device &device(void *handle);

} // namespace platform
