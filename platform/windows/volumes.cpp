#include "platform/windows/volumes.h"

#include "platform/windows/records.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <mutex>

#include <psapi.h>

namespace platform
{

namespace
{

/// The partition type of an EFI system partition, in UEFI.
constexpr GUID efisystem{
    0xC12A7328, 0xF81F, 0x11D2, {0xBA, 0x4B, 0x00, 0xA0, 0xC9, 0x3E, 0xC9, 0x3B}};

/// A program that scans a new volume holds it open for a moment, so a lock is tried again.
constexpr int locktries = 10;
constexpr DWORD lockpause = 100; // milliseconds

struct CloseVolumes {
    using pointer = HANDLE;
    void operator()(HANDLE search) const
    {
        if (search != INVALID_HANDLE_VALUE)
            ::FindVolumeClose(search);
    }
};

/// Adds the disks of a volume; false if they can't be had.
bool adddisks(const std::string &volume, std::map<DWORD, std::uint64_t> &disks)
{
    const FileHandle handle = openforrequests(volume);
    const auto answer = handle ? longanswer(handle.get(), IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS,
                                            sizeof(VOLUME_DISK_EXTENTS))
                               : std::vector<std::uint8_t>();
    DWORD count = 0;
    if (!answer.empty())
        std::memcpy(&count, answer.data(), sizeof count);
    for (std::size_t i = 0; i < count; ++i) {
        DISK_EXTENT extent;
        const std::size_t at = offsetof(VOLUME_DISK_EXTENTS, Extents) + i * sizeof extent;
        if (at + sizeof extent > answer.size())
            return false;
        std::memcpy(&extent, answer.data() + at, sizeof extent);
        const auto offset = static_cast<std::uint64_t>(extent.StartingOffset.QuadPart);
        const auto [known, added] = disks.emplace(extent.DiskNumber, offset);
        known->second = std::min(known->second, offset);
    }
    return count > 0;
}

/// The volume of a page file, which the system names in its own way (`\??\C:\pagefile.sys` or
/// `\Device\HarddiskVolume3\pagefile.sys`), as CreateFile takes it.
std::string pagefilevolume(const std::string &file)
{
    if (file.starts_with("\\Device\\"))
        return "\\\\?\\GLOBALROOT" + file.substr(0, file.find('\\', std::strlen("\\Device\\")));
    const std::size_t colon = file.find(':');
    return colon == std::string::npos || colon == 0
               ? std::string()
               : std::string("\\\\.\\") + file[colon - 1] + ":";
}

BOOL WINAPI addpagefile(LPVOID context, PENUM_PAGE_FILE_INFORMATION, LPCSTR file)
{
    adddisks(pagefilevolume(file), *static_cast<std::map<DWORD, std::uint64_t> *>(context));
    return TRUE;
}

/// Adds the disks of the partition that the machine boots from. Setup keeps its name; where it is
/// missing, any disk with an EFI system partition counts.
void addbootpartition(std::map<DWORD, std::uint64_t> &disks)
{
    std::array<char, 512> name{};
    DWORD bytes = name.size() - 1;
    if (::RegGetValueA(HKEY_LOCAL_MACHINE, "SYSTEM\\Setup", "SystemPartition", RRF_RT_REG_SZ,
                       nullptr, name.data(), &bytes) == ERROR_SUCCESS &&
        adddisks("\\\\?\\GLOBALROOT" + std::string(name.data()), disks))
        return;
    for (const Volume &volume : volumes()) {
        for (const auto &[disk, offset] : volume.disks) {
            const FileHandle handle =
                openforrequests("\\\\.\\PhysicalDrive" + std::to_string(disk));
            if (handle && haspartition(handle.get(), efisystem))
                disks.emplace(disk, offset);
        }
    }
}

bool control(HANDLE handle, DWORD code)
{
    DWORD returned = 0;
    return ::DeviceIoControl(handle, code, nullptr, 0, nullptr, 0, &returned, nullptr) != 0;
}

bool lockvolume(HANDLE handle)
{
    for (int i = 0; i < locktries; ++i) {
        if (i > 0)
            ::Sleep(lockpause);
        if (control(handle, FSCTL_LOCK_VOLUME))
            return true;
    }
    return false;
}

} // namespace

// The partition type of Storage Spaces (PARTITION_SPACES_GUID of the newer headers).
const GUID storagepool{
    0xE75CAF8F, 0xF680, 0x4CEE, {0xAF, 0xA3, 0xB0, 0x01, 0xE5, 0x6E, 0xFC, 0x2D}};

std::vector<std::uint8_t> longanswer(HANDLE handle, DWORD code, std::size_t minsize)
{
    for (std::size_t bytes = 4096; bytes <= std::size_t{1} << 20; bytes *= 2) {
        std::vector<std::uint8_t> answer(bytes);
        DWORD returned = 0;
        if (::DeviceIoControl(handle, code, nullptr, 0, answer.data(), static_cast<DWORD>(bytes),
                              &returned, nullptr)) {
            answer.resize(returned);
            return returned < minsize ? std::vector<std::uint8_t>() : answer;
        }
        const DWORD error = ::GetLastError();
        if (error != ERROR_MORE_DATA && error != ERROR_INSUFFICIENT_BUFFER)
            break;
    }
    return {};
}

FileHandle openforrequests(const std::string &path)
{
    return FileHandle(::CreateFileA(path.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, 0, nullptr));
}

std::optional<DWORD> disknumber(HANDLE handle)
{
    STORAGE_DEVICE_NUMBER answer{};
    DWORD returned = 0;
    if (::DeviceIoControl(handle, IOCTL_STORAGE_GET_DEVICE_NUMBER, nullptr, 0, &answer,
                          sizeof answer, &returned, nullptr) &&
        returned >= sizeof answer && answer.DeviceType == FILE_DEVICE_DISK)
        return answer.DeviceNumber;
    return std::nullopt;
}

Layout layoutof(HANDLE handle)
{
    constexpr std::size_t first = offsetof(DRIVE_LAYOUT_INFORMATION_EX, PartitionEntry);
    const auto answer = longanswer(handle, IOCTL_DISK_GET_DRIVE_LAYOUT_EX, first);
    Layout layout;
    DWORD count = 0;
    if (!answer.empty()) {
        std::memcpy(&layout.style, answer.data(), sizeof layout.style);
        std::memcpy(&count, answer.data() + offsetof(DRIVE_LAYOUT_INFORMATION_EX, PartitionCount),
                    sizeof count);
    }
    PARTITION_INFORMATION_EX entry;
    for (std::size_t at = first;
         layout.partitions.size() < count && at + sizeof entry <= answer.size();
         at += sizeof entry) {
        std::memcpy(&entry, answer.data() + at, sizeof entry);
        layout.partitions.push_back(entry);
    }
    return layout;
}

bool haspartition(HANDLE handle, const GUID &type)
{
    const Layout layout = layoutof(handle);
    return std::any_of(layout.partitions.begin(), layout.partitions.end(),
                       [&type](const auto &entry) {
                           return entry.PartitionStyle == PARTITION_STYLE_GPT &&
                                  std::memcmp(&entry.Gpt.PartitionType, &type, sizeof type) == 0;
                       });
}

std::vector<Volume> volumes()
{
    std::vector<Volume> found;
    std::array<char, MAX_PATH> name{};
    const std::unique_ptr<void, CloseVolumes> search(
        ::FindFirstVolumeA(name.data(), static_cast<DWORD>(name.size())));
    if (search.get() == INVALID_HANDLE_VALUE)
        return found;
    do {
        Volume volume;
        volume.path = name.data();
        // with the final backslash it is the root folder
        if (volume.path.ends_with('\\'))
            volume.path.pop_back();
        if (!adddisks(volume.path, volume.disks))
            continue;
        std::vector<char> mounts(32768);
        DWORD length = 0;
        if (::GetVolumePathNamesForVolumeNameA(name.data(), mounts.data(),
                                               static_cast<DWORD>(mounts.size()), &length)) {
            for (const char *next = mounts.data(); *next != '\0'; next += std::strlen(next) + 1) {
                volume.mounts.emplace_back(next);
                if (volume.mounts.back().ends_with('\\'))
                    volume.mounts.back().pop_back();
            }
        }
        found.push_back(std::move(volume));
    } while (::FindNextVolumeA(search.get(), name.data(), static_cast<DWORD>(name.size())));
    return found;
}

SystemDisks systemdisks()
{
    std::map<DWORD, std::uint64_t> needed, pagefiles;
    std::array<char, MAX_PATH> folder{};
    SystemDisks system;
    if (::GetSystemDirectoryA(folder.data(), static_cast<UINT>(folder.size())) != 0)
        system.known = adddisks(std::string("\\\\.\\") + folder[0] + ":", needed);
    addbootpartition(needed);
    ::K32EnumPageFilesA(addpagefile, &pagefiles);
    for (const auto &[disk, offset] : pagefiles)
        system.pagefiles.insert(disk);
    for (const auto &[disk, offset] : needed)
        system.disks.insert(disk);
    system.disks.insert(system.pagefiles.begin(), system.pagefiles.end());
    return system;
}

std::shared_ptr<VolumeClaim> VolumeClaim::make(DWORD disk, std::string &refusal)
{
    static std::mutex guard;
    static std::map<DWORD, std::weak_ptr<VolumeClaim>> claims;
    const std::lock_guard hold(guard);
    if (auto shared = claims[disk].lock())
        return shared;
    auto claim = std::make_shared<VolumeClaim>();
    // All are locked before one is dismounted, so that a refusal leaves every volume as it was.
    for (const Volume &volume : volumes()) {
        if (!volume.disks.contains(disk))
            continue;
        FileHandle handle(::CreateFileA(volume.path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                        0, nullptr));
        if (!handle || !lockvolume(handle.get())) {
            refusal = (volume.mounts.empty() ? "A volume without a drive letter on this disk"
                                             : "The volume " + volume.mounts.front()) +
                      " is in use by another program. Close the programs and windows that use "
                      "it, or take the disk offline in the system's disk management and try again.";
            return nullptr;
        }
        claim->locked.push_back(std::move(handle));
    }
    for (const FileHandle &handle : claim->locked) {
        // a locked volume without a file system has nothing to dismount
        if (!control(handle.get(), FSCTL_DISMOUNT_VOLUME) &&
            ::GetLastError() == ERROR_ACCESS_DENIED) {
            refusal = "Windows does not dismount a volume of this disk.";
            return nullptr;
        }
    }
    claims[disk] = claim;
    return claim;
}

} // namespace platform
