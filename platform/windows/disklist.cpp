#include "platform/windows/disklist.h"

#include "platform/windows/errors.h"

#include <array>
#include <cstddef>
#include <cstdint>
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

Status listdiskpaths(std::vector<std::string> &paths)
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

} // namespace platform
