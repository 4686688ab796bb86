#include "platform/linux/linuxdevice.h"

#include "platform/linux/ataidentity.h"
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

/// The sector of a regular file, which has none of its own.
constexpr std::uint32_t plainfilesector = 512;
/// Alignment of the buffer, enough for every sector length in use.
constexpr std::size_t leastalignment = 4096;
/// A transfer is passed on in pieces of at most so many bytes.
constexpr std::size_t mostbuffer = std::size_t{1} << 20;

/// How long to wait for the system's own passing interest in a disk. It has a look at each one that
/// was open for writing, also after this program.
constexpr std::chrono::milliseconds claimpatience{300};
constexpr std::chrono::milliseconds lockpatience{30000};

/// Tries until it succeeds, fails for another reason than that somebody else is at it, or takes too
/// long; its last result.
int persist(std::chrono::milliseconds patience, const std::function<int()> &attempt)
{
    const auto end = std::chrono::steady_clock::now() + patience;
    for (;;) {
        const int result = attempt();
        if (result >= 0 || (errno != EBUSY && errno != EWOULDBLOCK && errno != EINTR) ||
            std::chrono::steady_clock::now() >= end)
            return result;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

} // namespace

Fault faultof(int error)
{
    switch (error) {
    case 0:
        return Fault::none;
    case EIO:
    case EREMOTEIO:
    case ENODATA:
    case EILSEQ:
    case EBADMSG:
    case ETIMEDOUT:
        return Fault::medium;
    case ENXIO:
    case ENODEV:
    case ENOMEDIUM:
    case ENOENT:
    case ENOTDIR:
    case ENOLINK:
    case ESHUTDOWN:
    case ENOTCONN:
        return Fault::gone;
    case EACCES:
    case EPERM:
    case EROFS:
        return Fault::denied;
    case EBUSY:
    case ETXTBSY:
    case EBADE: // another host has reserved the drive
        return Fault::busy;
    case EINVAL:
    case EBADF:
    case EFAULT:
    case ENOTBLK:
    case EISDIR:
        return Fault::badargument;
    case ENOTTY:
    case EOPNOTSUPP:
    case ENOSYS:
        return Fault::unsupported;
    default:
        return Fault::other;
    }
}

/// The system keeps two holders apart by their open files, so handles of this process share one
/// file that is open for nothing else. What only a holder may ask for goes through it.
struct LinuxDevice::Claim {
    int descriptor = -1;
    bool locked = false;
    bool refused = false; ///< the lock did not come in time; no later transfer waits for it again

    explicit Claim(int file) : descriptor(file) {}
    Claim(const Claim &) = delete;
    Claim &operator=(const Claim &) = delete;
    ~Claim() { ::close(descriptor); }

    /// Keeps the device manager away until the last handle is closed; it would read, and could take
    /// for the truth, tables that are half written.
    Status lock()
    {
        if (locked)
            return Status::success();
        const auto patience = refused ? std::chrono::milliseconds(0) : lockpatience;
        refused = persist(patience, [this] { return ::flock(descriptor, LOCK_EX | LOCK_NB); }) < 0;
        locked = !refused;
        if (locked)
            return Status::success();
        return {errno == EWOULDBLOCK ? Fault::busy : faultof(errno), errno};
    }
};

std::shared_ptr<LinuxDevice::Claim> LinuxDevice::claim(const std::string &node, dev_t number,
                                                       Status &status)
{
    static std::map<dev_t, std::weak_ptr<Claim>> claims;
    if (auto shared = claims[number].lock())
        return shared;
    const bool known = !Layers().userof({::major(number), ::minor(number)}).empty();
    const int file = persist(known ? std::chrono::milliseconds(0) : claimpatience, [&node] {
        return ::open(node.c_str(), O_RDONLY | O_EXCL | O_CLOEXEC);
    });
    if (file < 0) {
        status = {faultof(errno), errno};
        return nullptr;
    }
    auto own = std::make_shared<Claim>(file);
    struct stat info;
    if (::fstat(file, &info) != 0 || info.st_rdev != number) {
        status = {Fault::gone, ENODEV}; // another device stands there by now
        return nullptr;
    }
    claims[number] = own;
    return own;
}

bool LinuxDevice::taken(const std::string &node)
{
    struct stat info;
    Status status;
    return ::stat(node.c_str(), &info) == 0 && S_ISBLK(info.st_mode) &&
           !claim(node, info.st_rdev, status) && status.fault == Fault::busy;
}

void LinuxDevice::Freed::operator()(char *memory) const
{
    std::free(memory);
}

std::unique_ptr<Device> LinuxDevice::open(const std::string &node, Access access, Status &status)
{
    // Looked at first, since the open alone of a pipe would wait for its other end.
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
        device->claimed = claim(node, info.st_rdev, status);
        if (!device->claimed && status.fault != Fault::busy)
            return nullptr;
        writable = device->claimed != nullptr;
    }
    const int flags = (writable ? O_RDWR : O_RDONLY) | O_CLOEXEC;
    int file = ::open(node.c_str(), flags | O_DIRECT);
    if (file < 0 && errno == EINVAL && S_ISREG(info.st_mode)) {
        device->direct = false;
        file = ::open(node.c_str(), flags);
    }
    if (file < 0) {
        status = {faultof(errno), errno};
        return nullptr;
    }
    status = device->take(file, access);
    if (!status.ok())
        return nullptr;
    return device;
}

LinuxDevice::~LinuxDevice()
{
    if (descriptor >= 0)
        ::close(descriptor);
}

Status LinuxDevice::take(int file, Access wanted)
{
    descriptor = file;
    access = wanted;
    struct stat info;
    if (::fstat(descriptor, &info) != 0)
        return {faultof(errno), errno};
    if (S_ISREG(info.st_mode)) {
        bytespersector = plainfilesector;
        return Status::success();
    }
    if (!S_ISBLK(info.st_mode) || !direct)
        return {Fault::badargument, ENOTBLK};
    if (claimed) {
        struct stat held;
        if (::fstat(claimed->descriptor, &held) != 0 || held.st_rdev != info.st_rdev)
            return {Fault::gone, ENODEV};
    }
    isblock = true;
    major = ::major(info.st_rdev);
    minor = ::minor(info.st_rdev);
    int logical = 0;
    int readonly = 0;
    if (::ioctl(descriptor, BLKSSZGET, &logical) != 0 ||
        ::ioctl(descriptor, BLKROGET, &readonly) != 0)
        return {faultof(errno), errno};
    if (logical <= 0)
        return {Fault::other, 0};
    // Some kernels open a write-protected node for writing, and fail the writes.
    if (readonly != 0 && access == Access::readwrite)
        return {Fault::denied, EROFS};
    bytespersector = static_cast<std::uint32_t>(logical);
    return Status::success();
}

// Whether the system can move bytes from and to this memory directly.
static bool isaligned(const void *memory)
{
    return reinterpret_cast<std::uintptr_t>(memory) % leastalignment == 0;
}

Status LinuxDevice::prepare(std::uint64_t offset, std::size_t bytes, bool straight)
{
    if (offset > static_cast<std::uint64_t>(INT64_MAX) - bytes)
        return {Fault::position, EINVAL};
    if (offset % bytespersector != 0 || bytes % bytespersector != 0)
        return {Fault::badargument, EINVAL};
    if (straight)
        return Status::success();
    const std::size_t wanted = std::min(bytes, mostbuffer);
    if (wanted <= buffersize)
        return Status::success();
    void *memory = nullptr;
    const int error =
        ::posix_memalign(&memory, std::max<std::size_t>(leastalignment, bytespersector), wanted);
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
        const ssize_t moved = writing ? ::pwrite(descriptor, memory, bytes, position)
                                      : ::pread(descriptor, memory, bytes, position);
        if (moved >= 0)
            return moved;
        if (errno == EINVAL && !isblock && direct) {
            // The file system wants more than whole sectors.
            const int flags = ::fcntl(descriptor, F_GETFL);
            if (flags < 0 || ::fcntl(descriptor, F_SETFL, flags & ~O_DIRECT) != 0)
                return -1;
            direct = false;
        } else if (errno != EINTR) {
            return -1;
        }
    }
}

Transfer LinuxDevice::doread(std::uint64_t offset, void *target, std::size_t bytes)
{
    const bool straight = isaligned(target);
    Transfer transfer{prepare(offset, bytes, straight), 0};
    while (transfer.status.ok() && transfer.bytes < bytes) {
        char *const place = static_cast<char *>(target) + transfer.bytes;
        // what came short may have left the alignment behind; the caller sees how far it went
        if (straight && !isaligned(place))
            break;
        const std::size_t piece =
            straight ? bytes - transfer.bytes : std::min(bytes - transfer.bytes, buffersize);
        const std::ptrdiff_t came =
            move(offset + transfer.bytes, straight ? place : buffer.get(), piece, false);
        if (came < 0) {
            transfer.status = failure(errno);
        } else if (came == 0) {
            // The end; also what a disk answers that has been pulled out.
            std::uint64_t size = 0;
            const Status status = length(size);
            if (status.fault == Fault::gone)
                transfer.status = status;
            break;
        } else {
            const auto count = static_cast<std::size_t>(came);
            if (!straight)
                std::memcpy(place, buffer.get(), count);
            transfer.bytes += count;
            if (count % bytespersector != 0)
                break;
        }
    }
    return transfer;
}

Transfer LinuxDevice::dowrite(std::uint64_t offset, const void *source, std::size_t bytes)
{
    if (access == Access::read)
        return {{Fault::denied, EBADF}, 0};
    if (isblock) {
        const Status status = claimed ? claimed->lock() : Status{Fault::busy, EBUSY};
        if (!status.ok())
            return {status, 0};
    }
    Transfer transfer{prepare(offset, bytes, false), 0};
    while (transfer.status.ok() && transfer.bytes < bytes) {
        std::size_t piece = std::min(bytes - transfer.bytes, buffersize);
        if (!isblock) {
            // A disk doesn't grow, so a file taken as one must not either.
            std::uint64_t size = 0;
            transfer.status = length(size);
            const std::uint64_t position = offset + transfer.bytes;
            piece = static_cast<std::size_t>(
                std::min<std::uint64_t>(piece, size > position ? size - position : 0));
            if (transfer.status.ok() && piece == 0)
                transfer.status = {Fault::other, ENOSPC};
            if (!transfer.status.ok())
                break;
        }
        std::memcpy(buffer.get(), static_cast<const char *>(source) + transfer.bytes, piece);
        const std::ptrdiff_t went = move(offset + transfer.bytes, buffer.get(), piece, true);
        if (went < 0) {
            transfer.status = failure(errno);
        } else if (went == 0) {
            transfer.status = {Fault::other, ENOSPC};
        } else {
            transfer.bytes += static_cast<std::size_t>(went);
        }
    }
    return transfer;
}

Status LinuxDevice::doflush()
{
    while (::fsync(descriptor) != 0) {
        if (errno != EINTR)
            return failure(errno);
    }
    return Status::success();
}

Status LinuxDevice::failure(int error) const
{
    const Status status{faultof(error), error};
    // The transfers of a disk that was pulled out fail like those of a damaged one, or as if they
    // went beyond the end.
    std::uint64_t size = 0;
    if (isblock && (status.fault == Fault::medium || status.fault == Fault::other) &&
        length(size).fault == Fault::gone)
        return {Fault::gone, error};
    return status;
}

Status LinuxDevice::length(std::uint64_t &bytes) const
{
    if (isblock) {
        std::uint64_t size = 0;
        if (::ioctl(descriptor, BLKGETSIZE64, &size) != 0)
            return {faultof(errno), errno};
        // A node outlives its disk, and then has no length left.
        if (size == 0)
            return {Fault::gone, ENOMEDIUM};
        bytes = size;
        return Status::success();
    }
    struct stat info;
    if (::fstat(descriptor, &info) != 0)
        return {faultof(errno), errno};
    bytes = static_cast<std::uint64_t>(info.st_size);
    return Status::success();
}

Status LinuxDevice::dopartitionlength(std::uint64_t &bytes)
{
    return length(bytes);
}

Status LinuxDevice::dodrivegeometry(DriveGeometry &geometry)
{
    if (!isblock)
        return {Fault::unsupported, 0};
    hd_geometry reported{};
    if (::ioctl(descriptor, HDIO_GETGEO, &reported) != 0)
        return {faultof(errno), errno};
    if (reported.heads == 0 || reported.sectors == 0)
        return {Fault::unsupported, 0};
    std::uint64_t size = 0;
    const Status status = length(size);
    if (!status.ok())
        return status;
    // The request's own count of cylinders is cut at 16 bits.
    geometry.cylinders = size / (std::uint64_t{bytespersector} * reported.heads * reported.sectors);
    geometry.trackspercylinder = reported.heads;
    geometry.sectorspertrack = reported.sectors;
    geometry.bytespersector = bytespersector;
    return Status::success();
}

Status LinuxDevice::dofilesize(std::uint64_t &bytes)
{
    if (!isblock)
        return length(bytes);
    const off_t end = ::lseek(descriptor, 0, SEEK_END);
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
    // Which drives have one shows only when they are asked for it.
    constexpr IdentifyCommand command{0xEC, 0xA0, 0};
    if (!identity) {
        IdentifyData data;
        const Status status = ataidentity(descriptor, command, data);
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
    return isblock ? ataidentity(descriptor, command, data) : Status{Fault::unsupported, 0};
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

Status LinuxDevice::doupdateproperties()
{
    if (isblock && access == Access::readwrite) {
        const Status status = claimed ? claimed->lock() : Status{Fault::busy, EBUSY};
        if (!status.ok())
            return status;
    }
    if (const Status status = doflush(); !status.ok() || !isblock)
        return status;
    // Of a device that is taken, only the file that holds it may ask for this.
    if (::ioctl(claimed ? claimed->descriptor : descriptor, BLKRRPART) == 0)
        return Status::success();
    const int error = errno;
    // A whole disk that refuses the request as such is one without partitions: there is nobody
    // to tell.
    std::error_code unknown;
    const bool whole = !std::filesystem::exists("/sys/dev/block/" + std::to_string(major) + ":" +
                                                    std::to_string(minor) + "/partition",
                                                unknown);
    if (whole && (error == EINVAL || error == ENOTTY))
        return Status::success();
    return failure(error);
}

} // namespace platform
