#pragma once

#include "platform/linux/descriptor.h"
#include "platform/platform.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <sys/types.h>

namespace platform
{

/// An open block device, or a regular file used as a disk of 512-byte sectors.
///
/// Transfers bypass the page cache (O_DIRECT), since a read from the cache does not test the
/// medium. O_DIRECT needs aligned memory; a caller's unaligned bytes are copied through a buffer.
/// Only a regular file falls back to the cache, if its file system does not support O_DIRECT.
///
/// O_EXCL claims a block device that is opened for writing, so that nothing can be mounted on it.
/// If the device is claimed by something else, it is opened read-only: reads work, and each write
/// and each update of the layout fails as busy.
class LinuxDevice : public Device
{
public:
    /// Opens `node`; null on failure, with the reason in `status`.
    static std::unique_ptr<Device> open(const std::string &node, Access access, Status &status);

    /// Whether another process or the kernel has claimed a block device.
    static bool claimedbyother(const std::string &node);

    [[nodiscard]] std::string refusal() const override { return reason; }

protected:
    Transfer doread(std::uint64_t offset, void *target, std::size_t bytes) override;
    Transfer dowrite(std::uint64_t offset, const void *source, std::size_t bytes) override;
    Status doflush() override;
    Status dopartitionlength(std::uint64_t &bytes) override;
    Status dodrivegeometry(DriveGeometry &geometry) override;
    Status dofilesize(std::uint64_t &bytes) override;
    Status dofilesizelow(std::uint32_t &bytes) override;
    Status dosectorsize(std::uint32_t &bytes) override;
    Status doidentitymap(std::uint8_t &map) override;
    Status doidentify(const IdentifyCommand &command, IdentifyData &data) override;
    Status doremovable(bool &answer) override;
    Status dodescription(DiskDescription &answer) override;
    Status doupdateproperties() override;
    /// Locks a claimed block device before it is modified; busy if it is not claimed.
    Status doclaim() override;

private:
    /// This process's claim on a device, shared by all handles.
    struct Claim;

    LinuxDevice() = default;

    /// The claim on the device of this node and number, made now or before; null if something else
    /// has claimed it (busy) or it can't be opened.
    static std::shared_ptr<Claim> claimnode(const std::string &node, dev_t number, Status &status);

    /// Examines the open `descriptor`; fails if it can't be used as a disk.
    Status examine();
    /// Checks a transfer's range. Allocates the buffer unless the memory is `aligned`.
    Status prepare(std::uint64_t offset, std::size_t bytes, bool aligned);
    /// One system call, a read or write of `memory`; negative on failure.
    std::ptrdiff_t move(std::uint64_t offset, char *memory, std::size_t bytes, bool writing);
    /// The failure of an error number on this device; `gone` if the device has no size any more.
    [[nodiscard]] Status failure(int error) const;
    /// The size in bytes; `gone` if the medium was removed.
    Status disksize(std::uint64_t &bytes) const;

    std::string reason;                   ///< of a refused claim
    std::shared_ptr<Claim> claimed;       ///< on a block device opened for writing
    Descriptor descriptor;                ///< closed before the claim is released
    std::optional<IdentifyData> identity; ///< read once
    bool isblock = false;
    bool direct = true;
    Access access = Access::read;
    unsigned int major = 0; ///< device number of a block device
    unsigned int minor = 0;
    std::uint32_t bytespersector = 0;
    std::size_t buffersize = 0;
    struct Free {
        void operator()(char *memory) const;
    };
    std::unique_ptr<char, Free> buffer;
};

} // namespace platform
