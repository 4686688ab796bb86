#include "tests/wine/standin.h"

#include "platform/windows/windows.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <list>
#include <map>
#include <mutex>
#include <sstream>
#include <vector>

#include <psapi.h>
#include <setupapi.h>

/// The system's own functions, not by the import table, which may be that of this module.
namespace real
{

template <class Function> Function *own(Function *, const char *dll, const char *name)
{
    return reinterpret_cast<Function *>(
        reinterpret_cast<void *>(::GetProcAddress(::LoadLibraryA(dll), name)));
}

const auto createfile = own(::CreateFileA, "kernel32", "CreateFileA");
const auto closehandle = own(::CloseHandle, "kernel32", "CloseHandle");
const auto readfile = own(::ReadFile, "kernel32", "ReadFile");
const auto writefile = own(::WriteFile, "kernel32", "WriteFile");
const auto deviceiocontrol = own(::DeviceIoControl, "kernel32", "DeviceIoControl");
const auto fileinformation =
    own(::GetFileInformationByHandle, "kernel32", "GetFileInformationByHandle");
const auto reggetvalue = own(::RegGetValueA, "advapi32", "RegGetValueA");

} // namespace real

namespace
{

/// The words of one line of the description.
struct Item {
    std::map<std::string, std::string> words;
    bool locked = false;
    bool dismounted = false;

    const std::string &operator[](const char *name) { return words[name]; }
    bool has(const char *name) const { return words.count(name) != 0; }
    std::uint64_t number(const char *name)
    {
        return std::strtoull(words[name].c_str(), nullptr, 10);
    }
};

/// What the program opened.
struct Opened {
    Item *disk = nullptr;
    Item *volume = nullptr;
    unsigned reads = 0;
    std::uint64_t readbytes = 0;
    bool locks = false;
};

std::mutex guard;
std::list<Item> disks;
std::list<Item> volumes;
std::map<HANDLE, Opened> handles;
std::string log;

void note(const std::string &line)
{
    log += line + "\n";
    if (const char *file = std::getenv("QUARN_STANDIN_LOG"))
        std::ofstream(file, std::ios::app) << line << "\n";
}

BOOL fail(DWORD error)
{
    ::SetLastError(error);
    return FALSE;
}

/// Copies an answer; the documented error if the buffer is too small for it.
BOOL answer(const void *bytes, std::size_t size, void *out, DWORD room, DWORD *returned)
{
    if (room < size)
        return fail(ERROR_INSUFFICIENT_BUFFER);
    std::memcpy(out, bytes, size);
    *returned = static_cast<DWORD>(size);
    return TRUE;
}

bool startswith(const std::string &text, const std::string &front)
{
    return ::_strnicmp(text.c_str(), front.c_str(), front.size()) == 0;
}

std::vector<std::string> mounts(Item &volume)
{
    std::vector<std::string> found;
    std::istringstream text(volume["mounts"]);
    for (std::string mount; std::getline(text, mount, ',');)
        found.push_back(mount);
    return found;
}

/// A volume by one of its names: its own, a drive letter, or the kernel's name of the device.
Item *volumeof(const std::string &path)
{
    for (Item &volume : volumes) {
        if (path == volume["name"] || path == "\\\\?\\GLOBALROOT" + volume["device"])
            return &volume;
        for (const std::string &mount : mounts(volume)) {
            if (mount.size() == 3 && startswith(path, "\\\\.\\" + mount.substr(0, 2)))
                return &volume;
        }
    }
    return nullptr;
}

HANDLE WINAPI createfile(LPCSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                         DWORD disposition, DWORD flags, HANDLE pattern)
{
    Opened opened;
    std::string file;
    {
        const std::lock_guard hold(guard);
        for (Item &disk : disks) {
            if (::_stricmp(path, disk["path"].c_str()) == 0 ||
                ::_stricmp(path, ("\\\\.\\PhysicalDrive" + disk["number"]).c_str()) == 0)
                opened.disk = &disk;
        }
        opened.volume = opened.disk ? nullptr : volumeof(path);
        file = opened.disk ? (*opened.disk)["file"] : opened.volume ? "NUL" : path;
    }
    const HANDLE handle =
        real::createfile(file.c_str(), access, share, security, disposition, flags, pattern);
    const std::lock_guard hold(guard);
    if (handle != INVALID_HANDLE_VALUE && (opened.disk || opened.volume))
        handles[handle] = opened;
    return handle;
}

BOOL WINAPI closehandle(HANDLE handle)
{
    {
        const std::lock_guard hold(guard);
        if (const auto found = handles.find(handle); found != handles.end()) {
            Opened &opened = found->second;
            // closing the handle unlocks the volume, and the next access mounts it again
            // (FSCTL_LOCK_VOLUME, FSCTL_DISMOUNT_VOLUME)
            if (opened.locks)
                opened.volume->locked = opened.volume->dismounted = false;
            if (opened.disk && opened.reads > 0)
                note("closed " + (*opened.disk)["number"] + ": " + std::to_string(opened.reads) +
                     " reads, " + std::to_string(opened.readbytes) + " bytes");
            handles.erase(found);
        }
    }
    return real::closehandle(handle);
}

std::uint64_t positionof(const OVERLAPPED *place)
{
    return place ? std::uint64_t{place->OffsetHigh} << 32 | place->Offset : 0;
}

BOOL WINAPI readfile(HANDLE handle, LPVOID buffer, DWORD bytes, LPDWORD moved, LPOVERLAPPED place)
{
    {
        const std::lock_guard hold(guard);
        if (const auto found = handles.find(handle); found != handles.end()) {
            ++found->second.reads;
            found->second.readbytes += bytes;
        }
    }
    return real::readfile(handle, buffer, bytes, moved, place);
}

// A write on a disk's handle is refused inside a volume's extents while its file system is mounted,
// unless the volume is locked or dismounted (WriteFile, remarks on direct writes to disks).
BOOL WINAPI writefile(HANDLE handle, LPCVOID buffer, DWORD bytes, LPDWORD moved, LPOVERLAPPED place)
{
    {
        const std::lock_guard hold(guard);
        const auto found = handles.find(handle);
        Item *disk = found != handles.end() ? found->second.disk : nullptr;
        const std::uint64_t from = positionof(place);
        for (Item &volume : volumes) {
            if (disk == nullptr || volume["disk"] != (*disk)["number"] || volume.locked ||
                volume.dismounted || from >= volume.number("offset") + volume.number("length") ||
                from + bytes <= volume.number("offset"))
                continue;
            note("refused " + std::to_string(from) + " " + std::to_string(bytes));
            *moved = 0;
            return fail(ERROR_ACCESS_DENIED);
        }
    }
    return real::writefile(handle, buffer, bytes, moved, place);
}

// A handle of a device, not of a file.
BOOL WINAPI fileinformation(HANDLE handle, LPBY_HANDLE_FILE_INFORMATION info)
{
    {
        const std::lock_guard hold(guard);
        if (handles.count(handle) != 0)
            return fail(ERROR_INVALID_FUNCTION);
    }
    return real::fileinformation(handle, info);
}

BOOL volumecontrol(Opened &opened, DWORD code, void *out, DWORD room, DWORD *returned)
{
    Item &volume = *opened.volume;
    const std::string name = volume.has("mounts") ? volume["mounts"] : volume["name"];
    switch (code) {
    case IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS: {
        VOLUME_DISK_EXTENTS extents{};
        extents.NumberOfDiskExtents = 1;
        extents.Extents[0].DiskNumber = static_cast<DWORD>(volume.number("disk"));
        extents.Extents[0].StartingOffset.QuadPart = static_cast<LONGLONG>(volume.number("offset"));
        extents.Extents[0].ExtentLength.QuadPart = static_cast<LONGLONG>(volume.number("length"));
        return answer(&extents, sizeof extents, out, room, returned);
    }
    case FSCTL_LOCK_VOLUME:
        // fails with open files, on the system's volume and on one with a page file
        if (volume.locked || volume.has("open") || volume.has("system") || volume.has("pagefile"))
            return fail(ERROR_ACCESS_DENIED);
        volume.locked = opened.locks = true;
        note("lock " + name);
        return TRUE;
    case FSCTL_DISMOUNT_VOLUME:
        volume.dismounted = true;
        note("dismount " + name);
        return TRUE;
    default:
        return fail(ERROR_INVALID_FUNCTION);
    }
}

BOOL layout(Item &disk, void *out, DWORD room, DWORD *returned)
{
    const bool mbr = disk["table"] == "mbr";
    std::vector<PARTITION_INFORMATION_EX> entries;
    for (Item &volume : volumes) {
        if (volume["disk"] != disk["number"])
            continue;
        PARTITION_INFORMATION_EX &entry = entries.emplace_back();
        entry.PartitionStyle = mbr ? PARTITION_STYLE_MBR : PARTITION_STYLE_GPT;
        entry.StartingOffset.QuadPart = static_cast<LONGLONG>(volume.number("offset"));
        entry.PartitionLength.QuadPart = static_cast<LONGLONG>(volume.number("length"));
        entry.PartitionNumber = static_cast<DWORD>(entries.size());
    }
    if (disk["table"] == "pool") {
        entries.emplace_back().PartitionStyle = PARTITION_STYLE_GPT;
        // PARTITION_SPACES_GUID
        entries.back().Gpt.PartitionType = {
            0xE75CAF8F, 0xF680, 0x4CEE, {0xAF, 0xA3, 0xB0, 0x01, 0xE5, 0x6E, 0xFC, 0x2D}};
    }
    DRIVE_LAYOUT_INFORMATION_EX known{};
    known.PartitionStyle = mbr ? PARTITION_STYLE_MBR : PARTITION_STYLE_GPT;
    known.PartitionCount = static_cast<DWORD>(entries.size());
    const auto *front = reinterpret_cast<const std::uint8_t *>(&known);
    std::vector<std::uint8_t> bytes(front,
                                    front + offsetof(DRIVE_LAYOUT_INFORMATION_EX, PartitionEntry));
    for (const PARTITION_INFORMATION_EX &entry : entries) {
        const auto *image = reinterpret_cast<const std::uint8_t *>(&entry);
        bytes.insert(bytes.end(), image, image + sizeof entry);
    }
    return answer(bytes.data(), bytes.size(), out, room, returned);
}

BOOL descriptor(Item &disk, void *out, DWORD room, DWORD *returned)
{
    std::vector<std::uint8_t> bytes(sizeof(STORAGE_DEVICE_DESCRIPTOR));
    const auto add = [&](const std::string &text) -> DWORD {
        if (text.empty())
            return 0;
        const auto at = static_cast<DWORD>(bytes.size());
        bytes.insert(bytes.end(), text.c_str(), text.c_str() + text.size() + 1);
        return at;
    };
    const DWORD vendor = add(disk["vendor"]);
    const DWORD product = add(disk["product"]);
    const DWORD serial = add(disk["serial"]);
    auto *known = reinterpret_cast<STORAGE_DEVICE_DESCRIPTOR *>(bytes.data());
    known->Version = sizeof *known;
    known->Size = static_cast<DWORD>(bytes.size());
    known->VendorIdOffset = vendor;
    known->ProductIdOffset = product;
    known->SerialNumberOffset = serial;
    known->BusType = static_cast<STORAGE_BUS_TYPE>(disk.number("bus"));
    // the caller gets what fits; Size tells how much there is
    return answer(bytes.data(), std::min<std::size_t>(bytes.size(), room), out, room, returned);
}

BOOL identity(Item &disk, void *out, DWORD room, DWORD *returned)
{
    std::vector<std::uint8_t> bytes(offsetof(SENDCMDOUTPARAMS, bBuffer) + 512);
    std::string model = disk["identity"];
    if (model == "short")
        return answer(bytes.data(), 100, out, room, returned);
    model.resize(40, ' ');
    for (std::size_t i = 0; i < model.size(); ++i)
        bytes[offsetof(SENDCMDOUTPARAMS, bBuffer) + 54 + (i ^ 1)] =
            static_cast<std::uint8_t>(model[i]);
    return answer(bytes.data(), bytes.size(), out, room, returned);
}

BOOL diskcontrol(Opened &opened, DWORD code, void *out, DWORD room, DWORD *returned)
{
    Item &disk = *opened.disk;
    const auto length = static_cast<LONGLONG>(disk.number("length"));
    switch (code) {
    case IOCTL_STORAGE_GET_DEVICE_NUMBER: {
        const STORAGE_DEVICE_NUMBER number{FILE_DEVICE_DISK,
                                           static_cast<DWORD>(disk.number("number")), 0};
        return answer(&number, sizeof number, out, room, returned);
    }
    case IOCTL_DISK_GET_LENGTH_INFO:
        return answer(&length, sizeof length, out, room, returned);
    case IOCTL_DISK_GET_DRIVE_GEOMETRY: {
        if (disk.has("nogeometry"))
            return fail(ERROR_INVALID_FUNCTION);
        DISK_GEOMETRY geometry{};
        geometry.Cylinders.QuadPart = length / (255 * 63 * 512);
        geometry.MediaType = FixedMedia;
        geometry.TracksPerCylinder = 255;
        geometry.SectorsPerTrack = 63;
        geometry.BytesPerSector = 512;
        return answer(&geometry, sizeof geometry, out, room, returned);
    }
    case IOCTL_DISK_GET_PARTITION_INFO: {
        // not supported on GPT disks (its table of supported disks)
        if (disk["table"] != "mbr")
            return fail(ERROR_INVALID_FUNCTION);
        PARTITION_INFORMATION whole{};
        whole.PartitionLength.QuadPart = length;
        return answer(&whole, sizeof whole, out, room, returned);
    }
    case IOCTL_DISK_GET_DRIVE_LAYOUT_EX:
        return layout(disk, out, room, returned);
    case IOCTL_STORAGE_QUERY_PROPERTY:
        return descriptor(disk, out, room, returned);
    case SMART_GET_VERSION: {
        // an ATA request: an NVMe driver does not know it
        if (!disk.has("identity"))
            return fail(ERROR_INVALID_FUNCTION);
        GETVERSIONINPARAMS version{};
        version.bIDEDeviceMap = 1;
        return answer(&version, sizeof version, out, room, returned);
    }
    case SMART_RCV_DRIVE_DATA:
        return disk.has("identity") ? identity(disk, out, room, returned)
                                    : fail(ERROR_INVALID_FUNCTION);
    case IOCTL_DISK_UPDATE_PROPERTIES:
        note("update " + disk["number"]);
        return TRUE;
    default:
        return fail(ERROR_INVALID_FUNCTION);
    }
}

BOOL WINAPI deviceiocontrol(HANDLE handle, DWORD code, LPVOID in, DWORD insize, LPVOID out,
                            DWORD room, LPDWORD returned, LPOVERLAPPED place)
{
    {
        const std::lock_guard hold(guard);
        if (const auto found = handles.find(handle); found != handles.end()) {
            *returned = 0;
            return found->second.disk ? diskcontrol(found->second, code, out, room, returned)
                                      : volumecontrol(found->second, code, out, room, returned);
        }
    }
    return real::deviceiocontrol(handle, code, in, insize, out, room, returned, place);
}

// A search is the number of the next volume, from 1.
BOOL volumename(std::uintptr_t number, LPSTR name, DWORD room)
{
    const std::lock_guard hold(guard);
    if (number > volumes.size())
        return fail(ERROR_NO_MORE_FILES);
    const std::string text = (*std::next(volumes.begin(), number - 1))["name"] + "\\";
    return text.size() < room ? (std::strcpy(name, text.c_str()), TRUE)
                              : fail(ERROR_FILENAME_EXCED_RANGE);
}

std::uintptr_t search;

HANDLE WINAPI findfirstvolume(LPSTR name, DWORD room)
{
    search = 1;
    return volumename(search, name, room) ? static_cast<HANDLE>(&search) : INVALID_HANDLE_VALUE;
}

BOOL WINAPI findnextvolume(HANDLE, LPSTR name, DWORD room)
{
    return volumename(++search, name, room);
}

BOOL WINAPI findvolumeclose(HANDLE)
{
    return TRUE;
}

BOOL WINAPI volumepaths(LPCSTR name, LPSTR out, DWORD room, PDWORD returned)
{
    const std::lock_guard hold(guard);
    Item *volume = volumeof(std::string(name, std::strlen(name) - 1));
    if (volume == nullptr)
        return fail(ERROR_FILE_NOT_FOUND);
    std::string text;
    for (const std::string &mount : mounts(*volume))
        text += mount + '\0';
    text += '\0';
    if (text.size() > room)
        return fail(ERROR_MORE_DATA);
    std::memcpy(out, text.data(), text.size());
    *returned = static_cast<DWORD>(text.size());
    return TRUE;
}

BOOL WINAPI enumpagefiles(PENUM_PAGE_FILE_CALLBACKA callback, LPVOID context)
{
    std::vector<std::string> files;
    {
        const std::lock_guard hold(guard);
        for (Item &volume : volumes) {
            if (volume.has("pagefile"))
                files.push_back("\\??\\" + mounts(volume).at(0) + "pagefile.sys");
        }
    }
    for (const std::string &file : files)
        callback(context, nullptr, file.c_str());
    return TRUE;
}

LONG WINAPI reggetvalue(HKEY key, LPCSTR folder, LPCSTR name, DWORD flags, LPDWORD type, PVOID out,
                        LPDWORD bytes)
{
    if (std::strcmp(name, "SystemPartition") != 0)
        return real::reggetvalue(key, folder, name, flags, type, out, bytes);
    const std::lock_guard hold(guard);
    for (Item &volume : volumes) {
        if (!volume.has("boot"))
            continue;
        std::strcpy(static_cast<char *>(out), volume["device"].c_str());
        return ERROR_SUCCESS;
    }
    return ERROR_FILE_NOT_FOUND;
}

HDEVINFO WINAPI getclassdevs(const GUID *, PCSTR, HWND, DWORD)
{
    return &search;
}

BOOL WINAPI enuminterfaces(HDEVINFO, PSP_DEVINFO_DATA, const GUID *, DWORD member,
                           PSP_DEVICE_INTERFACE_DATA data)
{
    data->Reserved = member;
    return member < disks.size() ? TRUE : fail(ERROR_NO_MORE_ITEMS);
}

BOOL WINAPI interfacedetail(HDEVINFO, PSP_DEVICE_INTERFACE_DATA data,
                            PSP_DEVICE_INTERFACE_DETAIL_DATA_A detail, DWORD room, PDWORD,
                            PSP_DEVINFO_DATA device)
{
    const std::string &path = (*std::next(disks.begin(), data->Reserved))["path"];
    if (room < offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath) + path.size() + 1)
        return fail(ERROR_INSUFFICIENT_BUFFER);
    if (device != nullptr)
        device->DevInst = static_cast<DWORD>(data->Reserved);
    std::strcpy(detail->DevicePath, path.c_str());
    return TRUE;
}

BOOL WINAPI instanceid(HDEVINFO, PSP_DEVINFO_DATA device, PSTR id, DWORD room, PDWORD)
{
    std::snprintf(id, room, "SCSI\\DISK\\%lu", device->DevInst);
    return TRUE;
}

BOOL WINAPI deviceproperty(HDEVINFO, PSP_DEVINFO_DATA device, const DEVPROPKEY *, DEVPROPTYPE *,
                           PBYTE out, DWORD, PDWORD, DWORD)
{
    const std::uint64_t arrival = std::next(disks.begin(), device->DevInst)->number("arrival");
    std::memcpy(out, &arrival, sizeof arrival);
    return TRUE;
}

BOOL WINAPI volumeinformation(LPCSTR root, LPSTR label, DWORD, LPDWORD, LPDWORD, LPDWORD,
                              LPSTR filesystem, DWORD)
{
    const std::lock_guard hold(guard);
    Item *volume = volumeof(std::string(root, std::strlen(root) - 1));
    if (volume == nullptr || !volume->has("filesystem"))
        return fail(ERROR_UNRECOGNIZED_VOLUME);
    std::strcpy(label, (*volume)["label"].c_str());
    std::strcpy(filesystem, (*volume)["filesystem"].c_str());
    return TRUE;
}

BOOL WINAPI destroylist(HDEVINFO)
{
    return TRUE;
}

template <class Function> void *address(Function *function)
{
    return reinterpret_cast<void *>(function);
}

const std::map<std::string, void *> replacements{
    {"CreateFileA", address(createfile)},
    {"CloseHandle", address(closehandle)},
    {"ReadFile", address(readfile)},
    {"WriteFile", address(writefile)},
    {"DeviceIoControl", address(deviceiocontrol)},
    {"GetFileInformationByHandle", address(fileinformation)},
    {"FindFirstVolumeA", address(findfirstvolume)},
    {"FindNextVolumeA", address(findnextvolume)},
    {"FindVolumeClose", address(findvolumeclose)},
    {"GetVolumePathNamesForVolumeNameA", address(volumepaths)},
    {"K32EnumPageFilesA", address(enumpagefiles)},
    {"RegGetValueA", address(reggetvalue)},
    {"SetupDiGetClassDevsA", address(getclassdevs)},
    {"SetupDiEnumDeviceInterfaces", address(enuminterfaces)},
    {"SetupDiGetDeviceInterfaceDetailA", address(interfacedetail)},
    {"SetupDiGetDeviceInstanceIdA", address(instanceid)},
    {"SetupDiGetDevicePropertyW", address(deviceproperty)},
    {"GetVolumeInformationA", address(volumeinformation)},
    {"SetupDiDestroyDeviceInfoList", address(destroylist)},
};

} // namespace

namespace standin
{

// A program calls the system through the addresses in its import table (PE format, import
// directory).
void install()
{
    auto *base = reinterpret_cast<std::uint8_t *>(::GetModuleHandleA(nullptr));
    const auto *dos = reinterpret_cast<const IMAGE_DOS_HEADER *>(base);
    const auto *headers = reinterpret_cast<const IMAGE_NT_HEADERS *>(base + dos->e_lfanew);
    const IMAGE_DATA_DIRECTORY &imports =
        headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (auto *dll = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR *>(base + imports.VirtualAddress);
         dll->Name != 0; ++dll) {
        auto *name = reinterpret_cast<const IMAGE_THUNK_DATA *>(base + dll->OriginalFirstThunk);
        auto *slot = reinterpret_cast<IMAGE_THUNK_DATA *>(base + dll->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++slot) {
            if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal))
                continue;
            const auto *import =
                reinterpret_cast<const IMAGE_IMPORT_BY_NAME *>(base + name->u1.AddressOfData);
            const auto found = replacements.find(reinterpret_cast<const char *>(import->Name));
            DWORD old = 0;
            if (found == replacements.end() ||
                !::VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &old))
                continue;
            slot->u1.Function = reinterpret_cast<std::uintptr_t>(found->second);
            ::VirtualProtect(slot, sizeof *slot, old, &old);
        }
    }
}

void describe(const std::string &description)
{
    const std::lock_guard hold(guard);
    disks.clear();
    volumes.clear();
    log.clear();
    std::istringstream lines(description);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string word;
        if (!(words >> word))
            continue;
        Item &item = (word == "disk" ? disks : volumes).emplace_back();
        while (words >> word) {
            const std::size_t sign = word.find('=');
            item.words[word.substr(0, sign)] =
                sign == std::string::npos ? "" : word.substr(sign + 1);
        }
    }
}

std::string events()
{
    const std::lock_guard hold(guard);
    return log;
}

} // namespace standin
