#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// The device object behind every disk handle, and the answers that it gives.
///
/// For authors of a device or a decorator:
/// - Override the `do…` operations only; the public ones keep the last failure.
/// - A transfer reports the bytes that really moved, also when it fails half way.
/// - Positions and lengths are whole sectors of the device; a backend may refuse others.
/// - No decision is taken here. Which answer counts, and what a refusal means, is the core's.
namespace platform
{

/// What kind of failure an operation met. `none` is the only success.
enum class Fault {
    none,        ///< it worked
    medium,      ///< the medium could not be read or written there
    gone,        ///< no such device, or not any more
    denied,      ///< the rights are missing
    busy,        ///< something else holds the device
    unsupported, ///< this device or system has no such operation
    badargument, ///< a bad handle, an unaligned position or length
    other        ///< anything else; `Status::code` tells more
};

/// The outcome of one operation. `code` is the system's own error number, 0 if there is none.
struct Status {
    Fault fault = Fault::none;
    int code = 0;

    [[nodiscard]] bool ok() const { return fault == Fault::none; }
};

/// The outcome of one transfer: `bytes` moved, whether or not the operation succeeded.
struct Transfer {
    Status status;
    std::size_t bytes = 0;
};

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

/// One open disk.
class Device
{
public:
    Device() = default;
    Device(const Device &) = delete;
    Device &operator=(const Device &) = delete;
    virtual ~Device() = default;

    /// Sets the position of the next transfer, in bytes from the start of the disk.
    Status seek(std::uint64_t offset) { return kept(doseek(offset)); }
    /// Reads `bytes` bytes, whole sectors, at the position, which moves by what came.
    Transfer read(void *buffer, std::size_t bytes) { return kept(doread(buffer, bytes)); }
    /// Writes `bytes` bytes, whole sectors, at the position, which moves by what went.
    Transfer write(const void *buffer, std::size_t bytes) { return kept(dowrite(buffer, bytes)); }
    /// Has everything written so far reach the medium.
    Status flush() { return kept(doflush()); }

    /// First way to the size: the length in bytes of the "partition" that is the whole disk.
    Status partitionlength(std::uint64_t &bytes) { return dopartitionlength(bytes); }
    /// The drive's geometry; also the second way to the size.
    Status drivegeometry(DriveGeometry &geometry) { return dodrivegeometry(geometry); }
    /// Third way to the size: the device taken as a file, in bytes.
    Status filesize(std::uint64_t &bytes) { return dofilesize(bytes); }
    /// Last way to the size: the low 32 bits of the file's size, in bytes.
    Status filesizelow(std::uint32_t &bytes) { return dofilesizelow(bytes); }

    /// The length in bytes of a sector as the system addresses them, also of a disk that has no
    /// geometry.
    Status sectorsize(std::uint32_t &bytes) { return dosectorsize(bytes); }

    /// Which drives answer an identify command: bits 0 to 3 disks, 4 to 7 packet devices.
    Status identitymap(std::uint8_t &map) { return doidentitymap(map); }
    /// Sends an identify command and fetches the 512 bytes of identity.
    Status identify(const IdentifyCommand &command, IdentifyData &data)
    {
        return doidentify(command, data);
    }
    /// Whether the medium can be taken out of the drive.
    Status removable(bool &answer) { return doremovable(answer); }
    /// Tells the system that the disk's layout has changed, so that it reads the table anew.
    Status updateproperties() { return doupdateproperties(); }

    /// The last failed seek, transfer or flush on this handle; `none` if all worked so far.
    [[nodiscard]] Status lasterror() const { return last; }

protected:
    virtual Status doseek(std::uint64_t offset) = 0;
    virtual Transfer doread(void *buffer, std::size_t bytes) = 0;
    virtual Transfer dowrite(const void *buffer, std::size_t bytes) = 0;
    /// Default: there is nothing between the caller and the medium.
    virtual Status doflush() { return {}; }
    /// The defaults of all requests below: refused as unsupported.
    virtual Status dopartitionlength(std::uint64_t &) { return {Fault::unsupported, 0}; }
    virtual Status dodrivegeometry(DriveGeometry &) { return {Fault::unsupported, 0}; }
    virtual Status dofilesize(std::uint64_t &) { return {Fault::unsupported, 0}; }
    virtual Status dofilesizelow(std::uint32_t &) { return {Fault::unsupported, 0}; }
    virtual Status dosectorsize(std::uint32_t &) { return {Fault::unsupported, 0}; }
    virtual Status doidentitymap(std::uint8_t &) { return {Fault::unsupported, 0}; }
    virtual Status doidentify(const IdentifyCommand &, IdentifyData &)
    {
        return {Fault::unsupported, 0};
    }
    virtual Status doremovable(bool &) { return {Fault::unsupported, 0}; }
    virtual Status doupdateproperties() { return {Fault::unsupported, 0}; }

private:
    Status kept(Status status)
    {
        if (!status.ok())
            last = status;
        return status;
    }
    Transfer kept(Transfer transfer)
    {
        kept(transfer.status);
        return transfer;
    }

    Status last;
};

} // namespace platform
