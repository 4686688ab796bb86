#include "platform/linux/linuxdevice.h"

#include "platform/linux/ataidentity.h"
#include "platform/linux/describe.h"
#include "platform/linux/errors.h"
#include "platform/linux/layers.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <linux/fs.h>
#include <linux/hdreg.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace platform
{

namespace
{

/// BLKGETDISKSEQ: the kernel's number of a disk, never given twice. Since 5.15; not in all headers.
constexpr auto getdisksequence = _IOR(0x12, 128, std::uint64_t);
/// Sector length of a regular file.
constexpr std::uint32_t plainfilesector = 512;
/// Alignment for O_DIRECT, enough for every sector length in use.
constexpr std::size_t minalignment = 4096;
/// Size limit of the buffer in bytes; longer transfers need several system calls.
constexpr std::size_t maxbuffer = std::size_t{1} << 20;

// udev reopens a disk after a writer closes it, so a claim or a lock is retried.
constexpr std::chrono::milliseconds claimtimeout{300};
constexpr std::chrono::milliseconds locktimeout{30000};

/// Repeats `attempt` while it fails because the device is busy, until the timeout; its last result.
int retry(std::chrono::milliseconds timeout, const std::function<int()> &attempt)
{
    const auto end = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        const int result = attempt();
        if (result >= 0 || (errno != EBUSY && errno != EWOULDBLOCK && errno != EINTR) ||
            std::chrono::steady_clock::now() >= end)
            return result;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

/// Whether this memory is aligned for O_DIRECT.
bool isaligned(const void *memory)
{
    return reinterpret_cast<std::uintptr_t>(memory) % minalignment == 0;
}

} // namespace

/// O_EXCL claims a device for one open file description, so all handles of this process share this
/// one. Requests that need the claim use it.
struct LinuxDevice::Claim {
    Descriptor descriptor;
    bool locked = false;
    bool timedout = false; ///< the lock was not granted in time; later transfers don't wait again

    explicit Claim(Descriptor file) : descriptor(std::move(file)) {}

    /// An exclusive flock keeps udev from reading half-written tables until the last handle is
    /// closed.
    Status lock()
    {
        if (locked)
            return Status::success();
        const auto timeout = timedout ? std::chrono::milliseconds(0) : locktimeout;
        locked =
            retry(timeout, [this] { return ::flock(descriptor.get(), LOCK_EX | LOCK_NB); }) >= 0;
        timedout = !locked;
        if (locked)
            return Status::success();
        return {errno == EWOULDBLOCK ? Fault::busy : faultof(errno), errno};
    }
};

std::shared_ptr<LinuxDevice::Claim> LinuxDevice::claimnode(const std::string &node, dev_t number,
                                                           Status &status)
{
    static std::map<dev_t, std::weak_ptr<Claim>> claims;
    if (auto shared = claims[number].lock())
        return shared;
    const bool known = !Layers().userof({::major(number), ::minor(number)}).empty();
    Descriptor file(retry(known ? std::chrono::milliseconds(0) : claimtimeout,
                          [&node] { return ::open(node.c_str(), O_RDONLY | O_EXCL | O_CLOEXEC); }));
    if (!file.isopen()) {
        status = {faultof(errno), errno};
        return nullptr;
    }
    struct stat info;
    if (::fstat(file.get(), &info) != 0 || info.st_rdev != number) {
        status = {Fault::gone, ENODEV}; // the node is another device now
        return nullptr;
    }
    auto made = std::make_shared<Claim>(std::move(file));
    claims[number] = made;
    return made;
}

bool LinuxDevice::claimedbyother(const std::string &node)
{
    struct stat info;
    Status status;
    return ::stat(node.c_str(), &info) == 0 && S_ISBLK(info.st_mode) &&
           !claimnode(node, info.st_rdev, status) && status.fault == Fault::busy;
}

void LinuxDevice::Free::operator()(char *memory) const
{
    std::free(memory);
}

std::unique_ptr<Device> LinuxDevice::open(const std::string &node, Access access, Status &status)
{
    // The type is checked first: opening a pipe would block until it has a writer.
    struct stat info;
    if (::stat(node.c_str(), &info) != 0) {
        status = {faultof(errno), errno};
        return nullptr;
    }
    if (!S_ISBLK(info.st_mode) && !S_ISREG(info.st_mode)) {
        status = {Fault::badargument, ENOTBLK};
        return nullptr;
    }
    std::unique_ptr<LinuxDevice> device(new LinuxDevice);
    bool writable = access == Access::readwrite;
    if (writable && S_ISBLK(info.st_mode)) {
        device->claimed = claimnode(node, info.st_rdev, status);
        if (!device->claimed && status.fault != Fault::busy)
            return nullptr;
        writable = device->claimed != nullptr;
    }
    const int flags = (writable ? O_RDWR : O_RDONLY) | O_CLOEXEC;
    device->access = access;
    device->descriptor = Descriptor(::open(node.c_str(), flags | O_DIRECT));
    if (!device->descriptor.isopen() && errno == EINVAL && S_ISREG(info.st_mode)) {
        device->direct = false;
        device->descriptor = Descriptor(::open(node.c_str(), flags));
    }
    if (!device->descriptor.isopen()) {
        status = {faultof(errno), errno};
        return nullptr;
    }
    status = device->examine();
    if (!status.ok())
        return nullptr;
    return device;
}

Status LinuxDevice::examine()
{
    struct stat info;
    if (::fstat(descriptor.get(), &info) != 0)
        return {faultof(errno), errno};
    if (S_ISREG(info.st_mode)) {
        bytespersector = plainfilesector;
        return Status::success();
    }
    if (!S_ISBLK(info.st_mode) || !direct)
        return {Fault::badargument, ENOTBLK};
    if (claimed) {
        struct stat other;
        if (::fstat(claimed->descriptor.get(), &other) != 0 || other.st_rdev != info.st_rdev)
            return {Fault::gone, ENODEV};
    }
    isblock = true;
    major = ::major(info.st_rdev);
    minor = ::minor(info.st_rdev);
    int logical = 0;
    int readonly = 0;
    if (::ioctl(descriptor.get(), BLKSSZGET, &logical) != 0 ||
        ::ioctl(descriptor.get(), BLKROGET, &readonly) != 0)
        return {faultof(errno), errno};
    if (logical <= 0)
        return {Fault::other, 0};
    // Some kernels open a write-protected device for writing, and then fail the writes.
    if (readonly != 0 && access == Access::readwrite)
        return {Fault::denied, EROFS};
    bytespersector = static_cast<std::uint32_t>(logical);
    return Status::success();
}

Status LinuxDevice::prepare(std::uint64_t offset, std::size_t bytes, bool aligned)
{
    if (offset > static_cast<std::uint64_t>(INT64_MAX) - bytes)
        return {Fault::position, EINVAL};
    if (offset % bytespersector != 0 || bytes % bytespersector != 0)
        return {Fault::badargument, EINVAL};
    if (aligned)
        return Status::success();
    const std::size_t wanted = std::min(bytes, maxbuffer);
    if (wanted <= buffersize)
        return Status::success();
    void *memory = nullptr;
    const int error =
        ::posix_memalign(&memory, std::max<std::size_t>(minalignment, bytespersector), wanted);
    if (error != 0)
        return {Fault::other, error};
    buffer.reset(static_cast<char *>(memory));
    buffersize = wanted;
    return Status::success();
}

std::ptrdiff_t LinuxDevice::move(std::uint64_t offset, char *memory, std::size_t bytes,
                                 bool writing)
{
    const auto position = static_cast<off_t>(offset);
    for (;;) {
        const ssize_t moved = writing ? ::pwrite(descriptor.get(), memory, bytes, position)
                                      : ::pread(descriptor.get(), memory, bytes, position);
        if (moved >= 0)
            return moved;
        if (errno == EINVAL && !isblock && direct) {
            // The file system needs a larger alignment than a sector: use the cache.
            const int flags = ::fcntl(descriptor.get(), F_GETFL);
            if (flags < 0 || ::fcntl(descriptor.get(), F_SETFL, flags & ~O_DIRECT) != 0)
                return -1;
            direct = false;
        } else if (errno != EINTR) {
            return -1;
        }
    }
}

Transfer LinuxDevice::doread(std::uint64_t offset, void *target, std::size_t bytes)
{
    const bool aligned = isaligned(target);
    Transfer transfer{prepare(offset, bytes, aligned), 0};
    while (transfer.status.ok() && transfer.bytes < bytes) {
        char *const out = static_cast<char *>(target) + transfer.bytes;
        // after a short read the rest may be unaligned; the caller gets the short transfer
        if (aligned && !isaligned(out))
            break;
        const std::size_t length =
            aligned ? bytes - transfer.bytes : std::min(bytes - transfer.bytes, buffersize);
        const std::ptrdiff_t read =
            move(offset + transfer.bytes, aligned ? out : buffer.get(), length, false);
        if (read < 0) {
            transfer.status = failure(errno);
        } else if (read == 0) {
            // The end of the disk, or a disk that was removed.
            std::uint64_t size = 0;
            const Status status = disksize(size);
            if (status.fault == Fault::gone)
                transfer.status = status;
            break;
        } else {
            const auto count = static_cast<std::size_t>(read);
            if (!aligned)
                std::memcpy(out, buffer.get(), count);
            transfer.bytes += count;
            if (count % bytespersector != 0)
                break;
        }
    }
    return transfer;
}

Transfer LinuxDevice::dowrite(std::uint64_t offset, const void *source, std::size_t bytes)
{
    if (const Status status = doclaim(); !status.ok())
        return {status, 0};
    Transfer transfer{Status::success(), 0};
    while (transfer.bytes < bytes) {
        const std::uint64_t position = offset + transfer.bytes;
        const char *const from = static_cast<const char *>(source) + transfer.bytes;
        const bool aligned = isaligned(from);
        std::size_t length = bytes - transfer.bytes;
        transfer.status = prepare(position, length, aligned);
        if (!transfer.status.ok())
            break;
        if (!aligned)
            length = std::min(length, buffersize);
        if (!isblock) {
            // A file used as a disk must not grow.
            std::uint64_t size = 0;
            transfer.status = disksize(size);
            length = static_cast<std::size_t>(
                std::min<std::uint64_t>(length, size > position ? size - position : 0));
            if (transfer.status.ok() && length == 0)
                transfer.status = {Fault::other, ENOSPC};
            if (!transfer.status.ok())
                break;
        }
        if (!aligned)
            std::memcpy(buffer.get(), from, length);
        // `move` changes no memory when it writes
        char *const memory = aligned ? const_cast<char *>(from) : buffer.get();
        const std::ptrdiff_t written = move(position, memory, length, true);
        if (written < 0)
            transfer.status = failure(errno);
        else if (written == 0)
            transfer.status = {Fault::other, ENOSPC};
        if (!transfer.status.ok())
            break;
        transfer.bytes += static_cast<std::size_t>(written);
    }
    return transfer;
}

Status LinuxDevice::doclaim()
{
    if (access == Access::read)
        return {Fault::denied, EBADF};
    if (!isblock)
        return Status::success();
    const Status status = claimed ? claimed->lock() : Status{Fault::busy, EBUSY};
    reason.clear();
    if (status.fault == Fault::busy) {
        const std::string user = Layers().userof({major, minor});
        reason = user.empty() ? "Another program uses the disk, or it is mounted."
                              : "In use: " + user + ".";
    }
    return status;
}

Status LinuxDevice::doflush()
{
    while (::fsync(descriptor.get()) != 0) {
        if (errno != EINTR)
            return failure(errno);
    }
    return Status::success();
}

Status LinuxDevice::failure(int error) const
{
    const Status status{faultof(error), error};
    // Transfers on a removed disk fail like those on a damaged one, or as at the end of the disk.
    std::uint64_t size = 0;
    if (isblock && (status.fault == Fault::medium || status.fault == Fault::other) &&
        disksize(size).fault == Fault::gone)
        return {Fault::gone, error};
    return status;
}

Status LinuxDevice::disksize(std::uint64_t &bytes) const
{
    if (isblock) {
        std::uint64_t size = 0;
        if (::ioctl(descriptor.get(), BLKGETSIZE64, &size) != 0)
            return {faultof(errno), errno};
        // The node outlives its disk, with a size of 0.
        if (size == 0)
            return {Fault::gone, ENOMEDIUM};
        bytes = size;
        return Status::success();
    }
    struct stat info;
    if (::fstat(descriptor.get(), &info) != 0)
        return {faultof(errno), errno};
    bytes = static_cast<std::uint64_t>(info.st_size);
    return Status::success();
}

Status LinuxDevice::dopartitionlength(std::uint64_t &bytes)
{
    return disksize(bytes);
}

Status LinuxDevice::dodrivegeometry(DriveGeometry &geometry)
{
    if (!isblock)
        return {Fault::unsupported, 0};
    hd_geometry reported{};
    if (::ioctl(descriptor.get(), HDIO_GETGEO, &reported) != 0)
        return {faultof(errno), errno};
    if (reported.heads == 0 || reported.sectors == 0)
        return {Fault::unsupported, 0};
    std::uint64_t size = 0;
    const Status status = disksize(size);
    if (!status.ok())
        return status;
    // The request's own number of cylinders has only 16 bits.
    geometry.cylinders = size / (std::uint64_t{bytespersector} * reported.heads * reported.sectors);
    geometry.trackspercylinder = reported.heads;
    geometry.sectorspertrack = reported.sectors;
    geometry.bytespersector = bytespersector;
    return Status::success();
}

Status LinuxDevice::dofilesize(std::uint64_t &bytes)
{
    if (!isblock)
        return disksize(bytes);
    const off_t end = ::lseek(descriptor.get(), 0, SEEK_END);
    if (end < 0)
        return {faultof(errno), errno};
    if (end == 0)
        return {Fault::gone, ENOMEDIUM};
    bytes = static_cast<std::uint64_t>(end);
    return Status::success();
}

Status LinuxDevice::dofilesizelow(std::uint32_t &bytes)
{
    std::uint64_t size = 0;
    const Status status = dofilesize(size);
    if (status.ok())
        bytes = static_cast<std::uint32_t>(size & 0xFFFFFFFF);
    return status;
}

Status LinuxDevice::dosectorsize(std::uint32_t &bytes)
{
    bytes = bytespersector;
    return Status::success();
}

Status LinuxDevice::doidentitymap(std::uint8_t &map)
{
    if (!isblock)
        return {Fault::unsupported, 0};
    // Only an identify command shows whether the drive has an identity.
    constexpr IdentifyCommand command{0xEC, 0xA0, 0};
    if (!identity) {
        IdentifyData data;
        const Status status = ataidentity(descriptor.get(), command, data);
        if (!status.ok())
            return status;
        identity = data;
    }
    map = 1;
    return Status::success();
}

Status LinuxDevice::doidentify(const IdentifyCommand &command, IdentifyData &data)
{
    if (identity) {
        data = *identity;
        return Status::success();
    }
    return isblock ? ataidentity(descriptor.get(), command, data) : Status{Fault::unsupported, 0};
}

Status LinuxDevice::doremovable(bool &answer)
{
    if (!isblock) {
        answer = false;
        return Status::success();
    }
    const std::string folder =
        "/sys/dev/block/" + std::to_string(major) + ":" + std::to_string(minor);
    for (const char *name : {"/removable", "/../removable"}) {
        int value = 0;
        if (std::ifstream(folder + name) >> value) {
            answer = value != 0;
            return Status::success();
        }
    }
    return {Fault::unsupported, 0};
}

Status LinuxDevice::dodescription(DiskDescription &answer)
{
    if (!isblock)
        return {Fault::unsupported, 0};
    DiskDescription description =
        sysfsdescription("/sys/dev/block/" + std::to_string(major) + ":" + std::to_string(minor));
    // what the drive says by itself does not depend on a bridge
    std::uint8_t map = 0;
    if (doidentitymap(map).ok() && identity)
        describeata(*identity, description);
    std::uint64_t sequence = 0;
    if (::ioctl(descriptor.get(), getdisksequence, &sequence) == 0)
        description.instance = "diskseq " + std::to_string(sequence);
    answer = std::move(description);
    return Status::success();
}

Status LinuxDevice::doupdateproperties()
{
    if (isblock && access == Access::readwrite) {
        const Status status = doclaim();
        if (!status.ok())
            return status;
    }
    if (const Status status = doflush(); !status.ok() || !isblock)
        return status;
    // On a claimed device only the claiming file may do this.
    if (::ioctl(claimed ? claimed->descriptor.get() : descriptor.get(), BLKRRPART) == 0)
        return Status::success();
    const int error = errno;
    // A whole disk that does not know the request can't have partitions: nothing to update.
    std::error_code unknown;
    const bool whole = !std::filesystem::exists("/sys/dev/block/" + std::to_string(major) + ":" +
                                                    std::to_string(minor) + "/partition",
                                                unknown);
    if (whole && (error == EINVAL || error == ENOTTY))
        return Status::success();
    return failure(error);
}

} // namespace platform
