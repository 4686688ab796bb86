#include "platform/windows/windowsbackend.h"

#include "platform/windows/errors.h"
#include "platform/windows/volumes.h"
#include "platform/windows/windowsdevice.h"
#include "platform/writegather.h"

#include <array>
#include <cstddef>
#include <memory>
#include <type_traits>

#include <setupapi.h>

namespace platform
{

namespace
{

constexpr GUID diskinterface{
    0x53F56307, 0xB6BF, 0x11D0, {0x94, 0xF2, 0x00, 0xA0, 0xC9, 0x1E, 0xFB, 0x8B}};
constexpr DWORD presentinterfaces = DIGCF_PRESENT | DIGCF_DEVICEINTERFACE;
static_assert(presentinterfaces == 0x12);

// The system identifies both records by the length stored in them. The first contains a pointer (28
// or 32 bytes); the other is packed to bytes on 32-bit systems only, else padded (5 or 8 bytes).
static_assert(sizeof(SP_DEVICE_INTERFACE_DATA) == (sizeof(void *) == 4 ? 28 : 32));
static_assert(sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_A) == (sizeof(void *) == 4 ? 5 : 8));
static_assert(offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath) == 4);

/// DEVPKEY_Device_LastArrivalDate, a FILETIME.
constexpr DEVPROPKEY lastarrival{
    {0x83DA6326, 0x97A6, 0x4088, {0x94, 0x53, 0xA1, 0x92, 0x3F, 0x57, 0x3B, 0x29}}, 102};

struct DestroyList {
    using pointer = HDEVINFO;
    void operator()(HDEVINFO list) const
    {
        if (list != INVALID_HANDLE_VALUE)
            ::SetupDiDestroyDeviceInfoList(list);
    }
};

/// Calls `visit` with the path, the list and the device of each present disk while it returns true.
template <class Visit> Status visitdisks(const Visit &visit)
{
    const std::unique_ptr<std::remove_pointer_t<HDEVINFO>, DestroyList> list(
        ::SetupDiGetClassDevsA(&diskinterface, nullptr, nullptr, presentinterfaces));
    if (list.get() == INVALID_HANDLE_VALUE)
        return lastfailure();
    for (DWORD member = 0;; ++member) {
        SP_DEVICE_INTERFACE_DATA found{};
        found.cbSize = sizeof found;
        if (!::SetupDiEnumDeviceInterfaces(list.get(), nullptr, &diskinterface, member, &found))
            break;
        alignas(SP_DEVICE_INTERFACE_DETAIL_DATA_A) std::array<char, 4096> buffer{};
        auto *detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_A *>(buffer.data());
        detail->cbSize = sizeof *detail;
        SP_DEVINFO_DATA device{};
        device.cbSize = sizeof device;
        if (!::SetupDiGetDeviceInterfaceDetailA(
                list.get(), &found, detail, static_cast<DWORD>(buffer.size()), nullptr, &device) ||
            !visit(detail->DevicePath, list.get(), device))
            break;
    }
    return Status::success();
}

} // namespace

Status WindowsBackend::systemvolumes(std::vector<std::string> &paths)
{
    std::array<char, 1024> folder{};
    const UINT length = ::GetSystemDirectoryA(folder.data(), static_cast<UINT>(folder.size()));
    if (length == 0 || length >= folder.size())
        return lastfailure();
    paths.push_back(std::string("\\\\.\\") + folder[0] + ":");
    const SystemDisks system = systemdisks();
    std::vector<std::string> disks;
    const Status status = listdisks(disks);
    for (const std::string &disk : disks) {
        const FileHandle handle = openforrequests(disk);
        const auto number = handle ? disknumber(handle.get()) : std::nullopt;
        if (number && system.disks.contains(*number))
            paths.push_back(disk);
    }
    return status;
}

Status WindowsBackend::listdisks(std::vector<std::string> &paths)
{
    return visitdisks([&paths](const char *path, HDEVINFO, SP_DEVINFO_DATA &) {
        paths.emplace_back(path);
        return true;
    });
}

std::string deviceinstance(const std::string &path)
{
    std::string instance;
    static_cast<void>(visitdisks([&](const char *other, HDEVINFO list, SP_DEVINFO_DATA &device) {
        if (path != other)
            return true;
        std::array<char, 512> name{};
        FILETIME arrival{};
        DEVPROPTYPE type = 0;
        if (::SetupDiGetDeviceInstanceIdA(list, &device, name.data(), name.size() - 1, nullptr))
            instance = name.data();
        if (::SetupDiGetDevicePropertyW(list, &device, &lastarrival, &type,
                                        reinterpret_cast<BYTE *>(&arrival), sizeof arrival, nullptr,
                                        0))
            instance += " " + std::to_string(std::uint64_t{arrival.dwHighDateTime} << 32 |
                                             arrival.dwLowDateTime);
        return false;
    }));
    return instance;
}

std::unique_ptr<Device> WindowsBackend::open(const std::string &path, Access access, Status &status)
{
    auto device = WindowsDevice::open(path, access, status);
    if (!device)
        return nullptr;
    return inlargeblocks(std::move(device));
}

Status WindowsBackend::inuse(const std::string &path, std::string &reason, bool &claimable)
{
    claimable = false;
    const FileHandle handle = openforrequests(path);
    if (!handle)
        return lastfailure();
    const auto number = disknumber(handle.get());
    const SystemDisks system = systemdisks();
    if (!number || !system.known) {
        reason = "may be the system's disk, Windows does not say which that is";
        return Status::success();
    }
    if (haspartition(handle.get(), storagepool)) {
        reason = "part of a storage pool";
        return Status::success();
    }
    claimable = true;
    const auto add = [&reason](const std::string &words) {
        reason += (reason.empty() ? "" : ", ") + words;
    };
    if (system.pagefiles.contains(*number)) {
        add("holds a page file");
        claimable = false;
    }
    for (const Volume &volume : volumes()) {
        if (!volume.disks.contains(*number))
            continue;
        for (const std::string &mount : volume.mounts)
            add((mount.size() == 2 ? "mounted as " : "mounted at ") + mount);
    }
    return Status::success();
}

Status WindowsBackend::contents(const std::string &path, DiskContents &answer)
{
    const FileHandle handle = openforrequests(path);
    const auto number = handle ? disknumber(handle.get()) : std::nullopt;
    if (!number)
        return lastfailure();
    const Layout layout = layoutof(handle.get());
    const std::vector<Volume> present = volumes();
    answer = DiskContents();
    answer.table = layout.style == PARTITION_STYLE_GPT   ? "gpt"
                   : layout.style == PARTITION_STYLE_MBR ? "dos"
                                                         : "";
    for (const PARTITION_INFORMATION_EX &entry : layout.partitions) {
        if (entry.PartitionNumber == 0 || entry.PartitionLength.QuadPart == 0)
            continue; // an unused entry, or an extended partition
        DiskContents::Volume &partition = answer.volumes.emplace_back();
        partition.number = static_cast<int>(entry.PartitionNumber);
        partition.offset = static_cast<std::uint64_t>(entry.StartingOffset.QuadPart);
        partition.bytes = static_cast<std::uint64_t>(entry.PartitionLength.QuadPart);
        for (const Volume &volume : present) {
            const auto at = volume.disks.find(*number);
            if (at == volume.disks.end() || at->second != partition.offset)
                continue;
            std::array<char, MAX_PATH + 1> label{}, filesystem{};
            if (::GetVolumeInformationA((volume.path + "\\").c_str(), label.data(), label.size(),
                                        nullptr, nullptr, nullptr, filesystem.data(),
                                        filesystem.size())) {
                partition.label = label.data();
                partition.filesystem = filesystem.data();
            } else {
                partition.readable = ::GetLastError() == ERROR_UNRECOGNIZED_VOLUME;
            }
        }
    }
    return Status::success();
}

Backend &nativebackend()
{
    static WindowsBackend native;
    return native;
}

} // namespace platform
