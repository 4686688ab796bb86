#include "platform/windows/windowsdevice.h"

#include "platform/atadescription.h"
#include "platform/windows/disklist.h"
#include "platform/windows/errors.h"
#include "platform/windows/records.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace platform
{

namespace
{

/// Most bytes in one call: its count has 32 bits, and this is a multiple of every sector length.
constexpr std::size_t maxbytes = std::size_t{1} << 30;

/// The bus of a disk for the user (STORAGE_BUS_TYPE; the headers of some compilers end before
/// NVMe).
std::string busname(int bus)
{
    constexpr std::array<const char *, 18> names{
        "",    "SCSI",         "ATAPI",        "ATA", "IEEE 1394", "SSA",     "Fibre Channel",
        "USB", "RAID",         "iSCSI",        "SAS", "SATA",      "SD card", "MMC",
        "",    "virtual disk", "storage pool", "NVMe"};
    return bus > 0 && static_cast<std::size_t>(bus) < names.size()
               ? names[static_cast<std::size_t>(bus)]
               : "";
}

} // namespace

std::unique_ptr<Device> WindowsDevice::open(const std::string &path, Access access, Status &status)
{
    const bool writing = access == Access::readwrite;
    FileHandle handle(::CreateFileA(path.c_str(),
                                    writing ? GENERIC_READ | GENERIC_WRITE : GENERIC_READ,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                    writing ? 0 : FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!handle) {
        status = lastfailure();
        return nullptr;
    }
    return std::make_unique<WindowsDevice>(std::move(handle), access, path);
}

template <class Call, class Memory>
Transfer WindowsDevice::transfer(const Call &call, std::uint64_t offset, Memory *memory,
                                 std::size_t bytes)
{
    // the two largest offsets mean "at the end" and "at the file pointer"
    if (offset > static_cast<std::uint64_t>(INT64_MAX) - bytes)
        return {{Fault::position, ERROR_NEGATIVE_SEEK}, 0};
    Transfer transfer{Status::success(), 0};
    while (transfer.bytes < bytes) {
        // On a synchronous handle this is the offset alone, and the call waits for its end.
        const std::uint64_t position = offset + transfer.bytes;
        OVERLAPPED place{};
        place.Offset = static_cast<DWORD>(position & 0xFFFFFFFF);
        place.OffsetHigh = static_cast<DWORD>(position >> 32);
        DWORD moved = 0;
        const auto wanted = static_cast<DWORD>(std::min(bytes - transfer.bytes, maxbytes));
        const bool good = call(handle.get(), memory + transfer.bytes, wanted, &moved, &place);
        // With an offset, a read at the end fails by this code; without one it moves nothing.
        if (!good && ::GetLastError() != ERROR_HANDLE_EOF)
            transfer.status = transferfailure();
        transfer.bytes += moved;
        if (!good || moved < wanted)
            break;
    }
    return transfer;
}

Transfer WindowsDevice::doread(std::uint64_t offset, void *buffer, std::size_t bytes)
{
    return transfer(::ReadFile, offset, static_cast<char *>(buffer), bytes);
}

Transfer WindowsDevice::dowrite(std::uint64_t offset, const void *buffer, std::size_t bytes)
{
    if (const Status status = doclaim(); !status.ok())
        return {status, 0};
    const Transfer written =
        transfer(::WriteFile, offset, static_cast<const char *>(buffer), bytes);
    if (written.status.fault == Fault::denied || written.status.fault == Fault::busy)
        reason =
            "Windows refuses to write to the disk: it is write-protected, or a volume on it has "
            "been mounted meanwhile.";
    return written;
}

Status WindowsDevice::doflush()
{
    if (::FlushFileBuffers(handle.get()))
        return Status::success();
    const Status status = lastfailure();
    // a drive without a write cache has nothing to flush
    return status.fault == Fault::unsupported ? Status::success() : status;
}

Status WindowsDevice::transferfailure()
{
    const Status status = lastfailure();
    std::uint64_t length = 0;
    if ((status.fault == Fault::medium || status.fault == Fault::other) &&
        dolength(length).fault == Fault::gone)
        return {Fault::gone, status.code};
    return status;
}

Status WindowsDevice::request(DWORD code, void *in, std::size_t insize, void *out,
                              std::size_t outsize, std::size_t minsize)
{
    DWORD returned = 0;
    if (!::DeviceIoControl(handle.get(), code, in, static_cast<DWORD>(insize), out,
                           static_cast<DWORD>(outsize), &returned, nullptr))
        return lastfailure();
    return returned < minsize ? Status{Fault::other, ERROR_BAD_LENGTH} : Status::success();
}

Status WindowsDevice::dopartitionlength(std::uint64_t &bytes)
{
    PARTITION_INFORMATION answer{};
    const Status status = request(IOCTL_DISK_GET_PARTITION_INFO, &answer, sizeof answer, &answer,
                                  sizeof answer, sizeof answer);
    if (status.ok())
        bytes = static_cast<std::uint64_t>(answer.PartitionLength.QuadPart);
    return status;
}

Status WindowsDevice::dodrivegeometry(DriveGeometry &geometry)
{
    DISK_GEOMETRY answer{};
    const Status status =
        request(IOCTL_DISK_GET_DRIVE_GEOMETRY, nullptr, 0, &answer, sizeof answer, sizeof answer);
    if (status.ok())
        geometry = {static_cast<std::uint64_t>(answer.Cylinders.QuadPart), answer.TracksPerCylinder,
                    answer.SectorsPerTrack, answer.BytesPerSector};
    return status;
}

Status WindowsDevice::dofilesize(std::uint64_t &bytes)
{
    LARGE_INTEGER size;
    if (!::GetFileSizeEx(handle.get(), &size))
        return lastfailure();
    bytes = static_cast<std::uint64_t>(size.QuadPart);
    return Status::success();
}

Status WindowsDevice::dofilesizelow(std::uint32_t &bytes)
{
    const DWORD low = ::GetFileSize(handle.get(), nullptr);
    if (low == INVALID_FILE_SIZE)
        return lastfailure();
    bytes = low;
    return Status::success();
}

Status WindowsDevice::dolength(std::uint64_t &bytes)
{
    GET_LENGTH_INFORMATION answer{};
    Status status =
        request(IOCTL_DISK_GET_LENGTH_INFO, nullptr, 0, &answer, sizeof answer, sizeof answer);
    if (status.ok()) {
        bytes = static_cast<std::uint64_t>(answer.Length.QuadPart);
        return status;
    }
    DriveGeometry drive;
    if (status.fault == Fault::gone || !dodrivegeometry(drive).ok())
        return status;
    bytes =
        drive.cylinders * drive.trackspercylinder * drive.sectorspertrack * drive.bytespersector;
    return Status::success();
}

Status WindowsDevice::dosectorsize(std::uint32_t &bytes)
{
    // valid even if the other fields are no usable geometry
    DriveGeometry geometry;
    const Status status = dodrivegeometry(geometry);
    if (status.ok())
        bytes = geometry.bytespersector;
    return status;
}

Status WindowsDevice::doidentitymap(std::uint8_t &map)
{
    GETVERSIONINPARAMS answer{};
    const Status status =
        request(SMART_GET_VERSION, nullptr, 0, &answer, sizeof answer, sizeof answer);
    if (status.ok())
        map = answer.bIDEDeviceMap;
    return status;
}

Status WindowsDevice::doidentify(const IdentifyCommand &command, IdentifyData &data)
{
    static_assert(std::tuple_size_v<IdentifyData> == records::identitysize);
    SENDCMDINPARAMS wanted{};
    wanted.irDriveRegs.bSectorCountReg = 1;
    wanted.irDriveRegs.bSectorNumberReg = 1;
    wanted.irDriveRegs.bDriveHeadReg = command.drivehead;
    wanted.irDriveRegs.bCommandReg = command.command;
    wanted.bDriveNumber = command.drive;
    alignas(SENDCMDOUTPARAMS) std::array<std::uint8_t, records::identifyanswersize> answer{};
    const Status status = request(SMART_RCV_DRIVE_DATA, &wanted, records::identifyrequestsize,
                                  answer.data(), answer.size(), answer.size());
    // some drivers answer with less than an identity: an answer all the same, without a model
    const bool isshort = status.fault == Fault::other && status.code == ERROR_BAD_LENGTH;
    if (isshort)
        answer.fill(0);
    if (status.ok() || isshort)
        std::memcpy(data.data(), answer.data() + records::identityoffset, data.size());
    return isshort ? Status::success() : status;
}

Status WindowsDevice::descriptor(std::uint8_t *bytes)
{
    STORAGE_PROPERTY_QUERY query{};
    query.PropertyId = StorageDeviceProperty;
    query.QueryType = PropertyStandardQuery;
    return request(IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof query, bytes,
                   records::descriptorsize,
                   offsetof(STORAGE_DEVICE_DESCRIPTOR, RemovableMedia) + 1);
}

Status WindowsDevice::doremovable(bool &answer)
{
    std::array<std::uint8_t, records::descriptorsize> bytes{};
    const Status status = descriptor(bytes.data());
    if (status.ok())
        answer = bytes[offsetof(STORAGE_DEVICE_DESCRIPTOR, RemovableMedia)] != 0;
    return status;
}

Status WindowsDevice::dodescription(DiskDescription &answer)
{
    std::array<std::uint8_t, records::descriptorsize + 1> bytes{}; // the last text ends in any case
    const Status status = descriptor(bytes.data());
    if (!status.ok())
        return status;
    STORAGE_DEVICE_DESCRIPTOR known;
    std::memcpy(&known, bytes.data(), sizeof known);
    // 0 or all bits set: there is none
    const auto text = [&bytes](DWORD offset) {
        return offset == 0 || offset >= bytes.size()
                   ? std::string()
                   : trimmed(reinterpret_cast<const char *>(bytes.data() + offset));
    };
    answer = DiskDescription();
    answer.vendor = text(known.VendorIdOffset);
    answer.model = text(known.ProductIdOffset);
    answer.serial = text(known.SerialNumberOffset);
    answer.bus = busname(known.BusType);
    answer.instance = deviceinstance(path);
    std::uint8_t map = 0;
    IdentifyData identity{};
    if (doidentitymap(map).ok() && (map & 0x0F) != 0) {
        const auto drive = static_cast<std::uint8_t>(std::countr_zero(map));
        const auto head = static_cast<std::uint8_t>((drive & 1) != 0 ? 0xB0 : 0xA0);
        if (doidentify({0xEC, head, drive}, identity).ok())
            describeata(identity, answer);
    }
    return Status::success();
}

Status WindowsDevice::doupdateproperties()
{
    const Status status = request(IOCTL_DISK_UPDATE_PROPERTIES, nullptr, 0, nullptr, 0, 0);
    // A file used as a disk has no partition table that the system knows: nothing to update.
    return status.fault == Fault::unsupported && isfile() ? Status::success() : status;
}

bool WindowsDevice::isfile() const
{
    BY_HANDLE_FILE_INFORMATION info;
    return ::GetFileInformationByHandle(handle.get(), &info) != 0;
}

Status WindowsDevice::doclaim()
{
    if (access == Access::read)
        return {Fault::denied, ERROR_ACCESS_DENIED};
    if (claimed || isfile())
        return Status::success();
    const auto number = disknumber(handle.get());
    if (number)
        claimed = VolumeClaim::make(*number, reason);
    else
        reason = "Windows does not say which volumes are on the disk.";
    return claimed ? Status::success() : Status{Fault::busy, ERROR_DRIVE_LOCKED};
}

} // namespace platform
