#pragma once

#include "platform/description.h"
#include "platform/monitor.h"
#include "platform/status.h"
#include "platform/trace.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// The device object behind every disk handle, and the answers that it gives.
///
/// For authors of a device or a decorator:
/// - Override the `do…` operations only; the public ones keep the last failure.
/// - A transfer reports the bytes that it moved, also when it fails half way.
/// - Offsets and lengths are whole sectors of the device; a device may refuse others.
/// - An offset that the device can't address fails with `Fault::position`, before anything moves.
/// - A device decides nothing. Which answer counts, and what a refusal means, is up to the core.
namespace platform
{

class TransferTimes;

/// A drive's own geometry, as the system reports it (the fields of `DISK_GEOMETRY`).
struct DriveGeometry {
    std::uint64_t cylinders = 0;
    std::uint32_t trackspercylinder = 0;
    std::uint32_t sectorspertrack = 0;
    std::uint32_t bytespersector = 0;
};

/// The task registers of an identify command (the fields of `SENDCMDINPARAMS` that vary).
struct IdentifyCommand {
    std::uint8_t command = 0;   ///< 0xEC for a disk, 0xA1 for a packet device
    std::uint8_t drivehead = 0; ///< drive and head register
    std::uint8_t drive = 0;     ///< drive number on its controller
};

/// The 256 words of an ATA identity as the wire has them: little-endian words.
using IdentifyData = std::array<std::uint8_t, 512>;

/// The steps of gathering writes. In between a write may be held back to be made together with
/// those that run on from it; if it fails, a later write fails, or another operation, or `finish`.
enum class Gathering {
    begin,  ///< from now on writes may be held back
    finish, ///< makes what was held back; fails if any of it does
    drop    ///< discards what was held back
};

/// One open disk.
class Device
{
public:
    Device() = default;
    Device(const Device &) = delete;
    Device &operator=(const Device &) = delete;
    virtual ~Device() = default;

    /// Reads `bytes` bytes, whole sectors, from `offset` bytes behind the start of the disk.
    Transfer read(std::uint64_t offset, void *buffer, std::size_t bytes)
    {
        if (monitor && !monitor->begintransfer(offset, false, counted))
            return {{Fault::cancelled}, 0};
        return kept("read", doread(offset, buffer, bytes), offset, bytes);
    }
    /// Reads the same, but delivers nothing: for a test that needs no content.
    Transfer verify(std::uint64_t offset, std::size_t bytes)
    {
        if (monitor && !monitor->begintransfer(offset, false, counted))
            return {{Fault::cancelled}, 0};
        return kept("read", doverify(offset, bytes), offset, bytes);
    }
    /// Writes `bytes` bytes, whole sectors, to `offset` bytes behind the start of the disk.
    Transfer write(std::uint64_t offset, const void *buffer, std::size_t bytes)
    {
        if (monitor && !monitor->begintransfer(offset, true, counted))
            return {{Fault::cancelled}, 0};
        return kept("write", dowrite(offset, buffer, bytes), offset, bytes);
    }
    /// Begins or ends the gathering of writes. A device that gathers none makes each write at once.
    Status gatherwrites(Gathering step) { return kept("write", dogatherwrites(step)); }
    /// Flushes all caches, so that everything written so far is on the medium.
    Status flush() { return kept("flush", doflush()); }

    /// First way to the size: the length in bytes of the "partition" that is the whole disk.
    Status partitionlength(std::uint64_t &bytes)
    {
        return traced("partitionlength", dopartitionlength(bytes));
    }
    /// The drive's geometry; also the second way to the size.
    Status drivegeometry(DriveGeometry &geometry)
    {
        return traced("drivegeometry", dodrivegeometry(geometry));
    }
    /// Third way to the size: the size of the device as a file, in bytes.
    Status filesize(std::uint64_t &bytes) { return traced("filesize", dofilesize(bytes)); }
    /// Last way to the size: the low 32 bits of the file's size, in bytes.
    Status filesizelow(std::uint32_t &bytes) { return traced("filesizelow", dofilesizelow(bytes)); }

    /// The length in bytes by the best way that the system has, unlike the four above, whose order
    /// and answers are given.
    Status length(std::uint64_t &bytes) { return traced("length", dolength(bytes)); }
    /// The length in bytes of a logical sector, also of a disk that has no geometry.
    Status sectorsize(std::uint32_t &bytes) { return traced("sectorsize", dosectorsize(bytes)); }

    /// Which drives answer an identify command: bits 0 to 3 disks, 4 to 7 packet devices.
    Status identitymap(std::uint8_t &map) { return traced("identitymap", doidentitymap(map)); }
    /// Sends an identify command; the answer is the 512 bytes of identity.
    Status identify(const IdentifyCommand &command, IdentifyData &data)
    {
        return traced("identify", doidentify(command, data));
    }
    /// Whether the medium is removable.
    Status removable(bool &answer) { return traced("removable", doremovable(answer)); }
    /// How the disk describes itself.
    Status description(DiskDescription &answer)
    {
        return traced("description", dodescription(answer));
    }
    /// Has the system read the partition table again.
    Status updateproperties() { return kept("updateproperties", doupdateproperties()); }
    /// Claims the disk until the handle closes, so that no other user of it refuses or changes what
    /// is written. The first write does it by itself; a caller may do it earlier, any number of
    /// times. `busy` if something else uses the disk; `refusal` then says what.
    Status claim() { return traced("claim", doclaim()); }
    /// Why the last claim or write was refused, and what to do about it: a sentence for the user.
    /// Empty if nothing was refused, or the reason is not known.
    [[nodiscard]] virtual std::string refusal() const { return {}; }

    /// The last failed transfer, flush or update on this handle; a success if none has failed.
    [[nodiscard]] Status lasterror() const { return last; }

    /// Traces failed operations from now on, with this path. By default those of this device; a
    /// decorator that hides failures of its inner device has that one traced instead.
    virtual void traceas(std::string path) { tracepath = std::move(path); }
    /// Has `watcher` follow and cancel the transfers from now on. A decorator's inner device is
    /// cancelled with it, but only transfers of a device that `counts` are followed.
    virtual void watchby(std::shared_ptr<Monitor> watcher, bool counts = true)
    {
        monitor = std::move(watcher);
        counted = counts;
    }

    /// Has the reads from now on timed there, range by range; null: no more. No read that a
    /// decorator makes by itself then crosses the end of a range. The first read of a handle, which
    /// may wait for the disk to spin up, is left out.
    virtual void timeby(std::shared_ptr<TransferTimes> newtimes) { timed = std::move(newtimes); }
    /// What `timeby` was given; null if nothing.
    [[nodiscard]] const std::shared_ptr<TransferTimes> &times() const { return timed; }

protected:
    virtual Transfer doread(std::uint64_t offset, void *buffer, std::size_t bytes) = 0;
    virtual Transfer dowrite(std::uint64_t offset, const void *buffer, std::size_t bytes) = 0;
    /// Default: a read into a buffer of the device.
    virtual Transfer doverify(std::uint64_t offset, std::size_t bytes)
    {
        if (scratch.size() < bytes)
            scratch.resize(bytes);
        return doread(offset, scratch.data(), bytes);
    }
    /// Default: nothing is held back.
    virtual Status dogatherwrites(Gathering) { return Status::success(); }
    /// Default: a device without caches, nothing to do.
    virtual Status doflush() { return Status::success(); }
    /// Default of the requests below, if they say nothing else: unsupported.
    virtual Status dopartitionlength(std::uint64_t &) { return {Fault::unsupported, 0}; }
    virtual Status dodrivegeometry(DriveGeometry &) { return {Fault::unsupported, 0}; }
    virtual Status dofilesize(std::uint64_t &) { return {Fault::unsupported, 0}; }
    virtual Status dofilesizelow(std::uint32_t &) { return {Fault::unsupported, 0}; }
    /// Default: the first way to the size.
    virtual Status dolength(std::uint64_t &bytes) { return dopartitionlength(bytes); }
    virtual Status dosectorsize(std::uint32_t &) { return {Fault::unsupported, 0}; }
    virtual Status doidentitymap(std::uint8_t &) { return {Fault::unsupported, 0}; }
    virtual Status doidentify(const IdentifyCommand &, IdentifyData &)
    {
        return {Fault::unsupported, 0};
    }
    virtual Status doremovable(bool &) { return {Fault::unsupported, 0}; }
    virtual Status dodescription(DiskDescription &) { return {Fault::unsupported, 0}; }
    virtual Status doupdateproperties() { return {Fault::unsupported, 0}; }
    /// Default: a disk that nobody else can use.
    virtual Status doclaim() { return Status::success(); }

private:
    Status traced(const char *operation, Status status, std::uint64_t offset = 0,
                  std::size_t bytes = 0) const
    {
        if (tracing && !status.ok() && !tracepath.empty())
            trace(operation, tracepath, status, offset, bytes);
        return status;
    }
    Status kept(const char *operation, Status status, std::uint64_t offset = 0,
                std::size_t bytes = 0)
    {
        if (!status.ok())
            last = status;
        return traced(operation, status, offset, bytes);
    }
    Transfer kept(const char *operation, Transfer transfer, std::uint64_t offset, std::size_t bytes)
    {
        transfer.status = kept(operation, transfer.status, offset, bytes);
        return transfer;
    }

    Status last = Status::success();
    std::vector<char> scratch; ///< for `doverify`
    std::string tracepath;     ///< empty: not traced
    std::shared_ptr<Monitor> monitor;
    std::shared_ptr<TransferTimes> timed;
    bool counted = false; ///< whether the monitor counts this device's transfers
};

} // namespace platform
