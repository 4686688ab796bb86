#pragma once

#include "platform/platform.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <sys/types.h>

namespace platform
{

/// What an error number of the system means.
Fault faultof(int error);

/// An open block device, or a regular file taken as a disk of 512-byte sectors.
///
/// Every transfer goes around the page cache: a read that memory answers tells nothing about the
/// medium. The system then wants aligned memory, so the bytes of a caller that has none pass
/// through a buffer of the device's own. A regular file alone may fall back to the cache where its
/// file system knows no direct transfers.
///
/// Who opens a block device for writing takes it for this process, so that nothing is mounted on it
/// meanwhile. A device that somebody else has can still be looked at: it opens, but each write and
/// each request for a new layout is refused as busy, through a descriptor that could not write
/// anyway.
class LinuxDevice : public Device
{
public:
    /// Opens `node`; null on failure, with the reason in `status`.
    static std::unique_ptr<Device> open(const std::string &node, Access access, Status &status);
    ~LinuxDevice() override;

    /// Whether a block device is taken by another process or by the system itself.
    static bool taken(const std::string &node);

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
    Status doupdateproperties() override;

private:
    /// This process's hold on a device, one for all handles.
    struct Claim;

    LinuxDevice() = default;

    /// The hold on the device of this node and number, taken now or before; null if somebody else
    /// has it (busy) or it can't be opened.
    static std::shared_ptr<Claim> claim(const std::string &node, dev_t number, Status &status);

    /// Takes over `file`, already open, if it is something that a disk can be.
    Status take(int file, Access wanted);
    /// Checks a transfer's range; unless it is `direct` from or to the caller's memory, also makes
    /// room in the buffer.
    Status prepare(std::uint64_t offset, std::size_t bytes, bool straight);
    /// One system call, a read or write of `memory`; negative on failure.
    std::ptrdiff_t move(std::uint64_t offset, char *memory, std::size_t bytes, bool writing);
    /// The failure that `error` stands for on this device.
    [[nodiscard]] Status failure(int error) const;
    /// The length in bytes; a failure when it can't be had or the medium is out.
    Status length(std::uint64_t &bytes) const;

    int descriptor = -1;
    std::shared_ptr<Claim> claimed;       ///< of a block device that may be written
    std::optional<IdentifyData> identity; ///< fetched once
    bool isblock = false;
    bool direct = true;
    Access access = Access::read;
    unsigned int major = 0; ///< device number of a block device
    unsigned int minor = 0;
    std::uint32_t bytespersector = 0;
    std::size_t buffersize = 0;
    struct Freed {
        void operator()(char *memory) const;
    };
    std::unique_ptr<char, Freed> buffer;
};

} // namespace platform
