#pragma once

#include "platform/platform.h"
#include "platform/windows/handle.h"
#include "platform/windows/volumes.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace platform
{

/// An open disk or volume.
///
/// Transfers on a whole disk go through the raw file system, which has no cache and accepts only
/// whole sectors: each read reaches the drive. `FILE_FLAG_NO_BUFFERING` would only add alignment
/// rules for the caller's memory.
class WindowsDevice : public Device
{
public:
    /// Opens `path`; null on failure, with the reason in `status`.
    static std::unique_ptr<Device> open(const std::string &path, Access access, Status &status);
    WindowsDevice(FileHandle opened, Access wanted, std::string devicepath)
        : handle(std::move(opened)), access(wanted), path(std::move(devicepath))
    {
    }

    [[nodiscard]] std::string refusal() const override { return reason; }

protected:
    Transfer doread(std::uint64_t offset, void *buffer, std::size_t bytes) override;
    Transfer dowrite(std::uint64_t offset, const void *buffer, std::size_t bytes) override;
    Status doflush() override;
    Status dopartitionlength(std::uint64_t &bytes) override;
    Status dodrivegeometry(DriveGeometry &geometry) override;
    Status dofilesize(std::uint64_t &bytes) override;
    Status dofilesizelow(std::uint32_t &bytes) override;
    /// The length of the disk whatever its table, then its geometry's. GPT disks refuse the first
    /// way to the size.
    Status dolength(std::uint64_t &bytes) override;
    Status dosectorsize(std::uint32_t &bytes) override;
    Status doidentitymap(std::uint8_t &map) override;
    Status doidentify(const IdentifyCommand &command, IdentifyData &data) override;
    Status doremovable(bool &answer) override;
    /// The storage descriptor's texts; those of the drive's ATA identity go before them.
    Status dodescription(DiskDescription &answer) override;
    Status doupdateproperties() override;
    /// Locks and dismounts the disk's volumes.
    Status doclaim() override;

private:
    /// Sends a control request. An answer of fewer than `minsize` bytes is a failure.
    Status request(DWORD code, void *in, std::size_t insize, void *out, std::size_t outsize,
                   std::size_t minsize);
    /// Makes a transfer by `call`, ReadFile or WriteFile, in requests of at most `maxbytes`.
    template <class Call, class Memory>
    Transfer transfer(const Call &call, std::uint64_t offset, Memory *memory, std::size_t bytes);
    /// The failure of the transfer just made: `medium`, or `gone` if the disk has no size any more.
    Status transferfailure();

    /// The storage descriptor with its texts behind it, in a buffer of `descriptorsize` bytes.
    Status descriptor(std::uint8_t *bytes);
    /// Whether the handle is that of a file used as a disk.
    [[nodiscard]] bool isfile() const;

    std::string reason;                   ///< of a refused claim or write
    std::shared_ptr<VolumeClaim> claimed; ///< released after the disk's handle is closed
    FileHandle handle;
    Access access;
    std::string path;
};

} // namespace platform
