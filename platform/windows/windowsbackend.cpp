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

struct DestroyList {
    using pointer = HDEVINFO;
    void operator()(HDEVINFO list) const
    {
        if (list != INVALID_HANDLE_VALUE)
            ::SetupDiDestroyDeviceInfoList(list);
    }
};

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
        if (!::SetupDiGetDeviceInterfaceDetailA(
                list.get(), &found, detail, static_cast<DWORD>(buffer.size()), nullptr, nullptr))
            break;
        paths.emplace_back(detail->DevicePath);
    }
    return Status::success();
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

Backend &nativebackend()
{
    static WindowsBackend native;
    return native;
}

} // namespace platform
