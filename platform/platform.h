#pragma once

#include "platform/device.h"

#include <memory>
#include <string>
#include <vector>

/// The narrow door to the operating system. Handles are `void*`; a `Device` stands behind each.
namespace platform
{

/// What a caller wants to do with a disk.
enum class Access { read, readwrite };

/// The handle that stands for no open disk (all bits set).
extern void *const invalidhandle;

/// One way to reach disks: the native system's, or a simulated one.
class Backend
{
public:
    Backend() = default;
    Backend(const Backend &) = delete;
    Backend &operator=(const Backend &) = delete;
    virtual ~Backend() = default;

    /// Appends the paths of what holds the running system: of its volume, which may lack the parts
    /// of a disk path, or, as `listdisks` names them, of all disks that the volume lies on.
    virtual Status systemvolumes(std::vector<std::string> &paths) = 0;
    /// Appends the device-interface path of each present disk, in the system's own order.
    /// A path reads `<node>#<device part>#<instance part>#<class part>`.
    virtual Status listdisks(std::vector<std::string> &paths) = 0;
    /// Opens a disk or volume by its path; null on failure, with the reason in `status`.
    virtual std::unique_ptr<Device> open(const std::string &path, Access access,
                                         Status &status) = 0;
    /// Who else uses the disk of this path now, in words for the user ("mounted at /media/x");
    /// empty if nobody does. Default: a system that can't tell.
    virtual Status inuse(const std::string &, std::string &) { return {Fault::unsupported, 0}; }
};

/// The backend of the system that the program was built for.
Backend &nativebackend();
/// The backend in use: the native one until `setbackend` names another.
Backend &backend();
/// Uses another backend from now on (null: the native one again). The caller keeps it alive.
void setbackend(Backend *other);

/// Opens a disk on the backend in use; `invalidhandle` on failure.
void *open(const char *path, Access access, Status *status = nullptr);
/// Closes a handle from `open`; `invalidhandle` and null are passed over.
void close(void *handle);
/// The device behind a handle. For `invalidhandle` a device that refuses everything.
Device &device(void *handle);

} // namespace platform
