// Stands for what Wine lacks: a program that takes a system's disk for a free one, or writes to a
// mounted volume, is caught with these disks only.
#include "tests/wine/standin.h"

#include "platform/windows/windows.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <utility>
#include <vector>

#include <psapi.h>
#include <setupapi.h>

namespace
{

/// One line of the description, a disk or a volume: its words, and what became of it since.
struct Item {
    std::map<std::string, std::string> words;
    HANDLE locker = nullptr;
    bool dismounted = false;
    unsigned reads = 0;
    std::uint64_t readbytes = 0;

    [[nodiscard]] bool has(const char *name) const { return words.contains(name); }
    std::string operator[](const char *name) const { return has(name) ? words.at(name) : ""; }
    /// A number of any of the system's types.
    template <class Number = LONGLONG> [[nodiscard]] Number number(const char *name) const
    {
        return static_cast<Number>(std::strtoull((*this)[name].c_str(), nullptr, 10));
    }
};

/// Fixed while a program runs.
std::vector<Item> disks, volumes;

std::mutex guard; ///< of those that follow
std::map<HANDLE, Item *> handles;
std::string log;

void note(const std::string &line)
{
    const std::lock_guard hold(guard);
    log += line + "\n";
    if (const char *file = std::getenv("QUARN_STANDIN_LOG"))
        std::ofstream(file, std::ios::app) << line << "\n";
}

/// What stands behind a handle; null if it is one of the system's own.
Item *opened(HANDLE handle)
{
    const std::lock_guard hold(guard);
    const auto found = handles.find(handle);
    return found != handles.end() ? found->second : nullptr;
}

/// Ends a call with this error, or well.
BOOL ends(DWORD error)
{
    ::SetLastError(error);
    return error == ERROR_SUCCESS;
}

/// Ends a call with a text; fails if the caller's buffer is too small for it.
BOOL ends(const std::string &text, char *out, std::size_t room)
{
    if (text.size() >= room)
        return ends(ERROR_INSUFFICIENT_BUFFER);
    std::memcpy(out, text.c_str(), text.size() + 1);
    return ends(ERROR_SUCCESS);
}

template <class Record> std::string bytesof(const Record &record)
{
    return {reinterpret_cast<const char *>(&record), sizeof record};
}

/// A disk by its path or number, or a volume by one of its names, with a final backslash or
/// without: its own, a drive letter, or the kernel's name of the device.
Item *itemof(std::string path)
{
    if (path.ends_with('\\'))
        path.pop_back();
    for (Item &disk : disks) {
        for (const std::string &name : {disk["path"], "\\\\.\\PhysicalDrive" + disk["number"]}) {
            if (::_stricmp(path.c_str(), name.c_str()) == 0)
                return &disk;
        }
    }
    for (Item &volume : volumes) {
        const std::string mounts = "," + volume["mounts"] + ",";
        if (path == volume["name"] || path == "\\\\?\\GLOBALROOT" + volume["device"] ||
            (path.starts_with("\\\\.\\") &&
             mounts.find("," + path.substr(4) + "\\,") != std::string::npos))
            return &volume;
    }
    return nullptr;
}

std::map<void *, std::uintptr_t> originals; ///< by the function that replaces it

/// The system's own function.
template <class Function> Function *real(Function *replacement)
{
    return reinterpret_cast<Function *>(originals.at(reinterpret_cast<void *>(replacement)));
}

HANDLE WINAPI createfile(LPCSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                         DWORD disposition, DWORD flags, HANDLE pattern)
{
    Item *const item = itemof(path);
    const std::string file = !item ? path : item->has("file") ? (*item)["file"] : "NUL";
    const HANDLE handle =
        real(createfile)(file.c_str(), access, share, security, disposition, flags, pattern);
    const std::lock_guard hold(guard);
    if (handle != INVALID_HANDLE_VALUE && item)
        handles[handle] = item;
    return handle;
}

BOOL WINAPI closehandle(HANDLE handle)
{
    if (Item *item = opened(handle)) {
        // closing the handle unlocks the volume, and the next access mounts it again
        // (FSCTL_LOCK_VOLUME, FSCTL_DISMOUNT_VOLUME)
        if (item->locker == handle)
            item->locker = nullptr;
        item->dismounted = item->dismounted && item->locker;
        if (item->reads > 0)
            note("closed " + (*item)["number"] + ": " +
                 std::to_string(std::exchange(item->reads, 0)) + " reads, " +
                 std::to_string(std::exchange(item->readbytes, 0)) + " bytes");
        const std::lock_guard hold(guard);
        handles.erase(handle);
    }
    return real(closehandle)(handle);
}

BOOL WINAPI readfile(HANDLE handle, LPVOID buffer, DWORD bytes, LPDWORD moved, LPOVERLAPPED place)
{
    if (Item *item = opened(handle)) {
        ++item->reads;
        item->readbytes += bytes;
    }
    return real(readfile)(handle, buffer, bytes, moved, place);
}

// A write on a disk's handle is refused inside a volume's extents while its file system is mounted,
// unless the volume is locked or dismounted (WriteFile, remarks on direct writes to disks).
BOOL WINAPI writefile(HANDLE handle, LPCVOID buffer, DWORD bytes, LPDWORD moved, LPOVERLAPPED place)
{
    const Item *item = opened(handle);
    const LONGLONG from = place ? LONGLONG{place->OffsetHigh} << 32 | place->Offset : 0;
    const auto refuses = [&](const Item &volume) {
        const LONGLONG start = volume.number("offset");
        return volume["disk"] == (*item)["number"] && !volume.locker && !volume.dismounted &&
               from < start + volume.number("length") && from + bytes > start;
    };
    if (item && std::ranges::any_of(volumes, refuses)) {
        note("refused " + std::to_string(from) + " " + std::to_string(bytes));
        *moved = 0;
        return ends(ERROR_ACCESS_DENIED);
    }
    return real(writefile)(handle, buffer, bytes, moved, place);
}

// A handle of a device, not of a file.
BOOL WINAPI fileinformation(HANDLE handle, LPBY_HANDLE_FILE_INFORMATION info)
{
    return opened(handle) ? ends(ERROR_INVALID_FUNCTION) : real(fileinformation)(handle, info);
}

/// Makes a request to a volume. Returns the error.
DWORD volumecontrol(HANDLE handle, Item &volume, DWORD code, std::string &out)
{
    const std::string name = volume[volume.has("mounts") ? "mounts" : "name"];
    switch (code) {
    case IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS:
        out = bytesof(VOLUME_DISK_EXTENTS{1,
                                          {{volume.number<DWORD>("disk"),
                                            {.QuadPart = volume.number("offset")},
                                            {.QuadPart = volume.number("length")}}}});
        return ERROR_SUCCESS;
    case FSCTL_LOCK_VOLUME:
        // fails with open files, on the system's volume and on one with a page file
        if (volume.locker || volume.has("open") || volume.has("system") || volume.has("pagefile"))
            return ERROR_ACCESS_DENIED;
        volume.locker = handle;
        note("lock " + name);
        return ERROR_SUCCESS;
    case FSCTL_DISMOUNT_VOLUME:
        volume.dismounted = true;
        note("dismount " + name);
        return ERROR_SUCCESS;
    default:
        return ERROR_INVALID_FUNCTION;
    }
}

std::string layout(const Item &disk)
{
    DRIVE_LAYOUT_INFORMATION_EX known{};
    known.PartitionStyle = disk["table"] == "mbr" ? PARTITION_STYLE_MBR : PARTITION_STYLE_GPT;
    std::string entries;
    PARTITION_INFORMATION_EX entry{};
    entry.PartitionStyle = static_cast<PARTITION_STYLE>(known.PartitionStyle);
    for (const Item &volume : volumes) {
        if (volume["disk"] != disk["number"])
            continue;
        entry.StartingOffset.QuadPart = volume.number("offset");
        entry.PartitionLength.QuadPart = volume.number("length");
        entry.PartitionNumber = ++known.PartitionCount;
        entries += bytesof(entry);
    }
    entry.Gpt.PartitionType = {
        0xE75CAF8F, 0xF680, 0x4CEE, {0xAF, 0xA3, 0xB0, 0x01, 0xE5, 0x6E, 0xFC, 0x2D}};
    if (disk["table"] == "pool") { // PARTITION_SPACES_GUID
        ++known.PartitionCount;
        entries += bytesof(entry);
    }
    return bytesof(known).substr(0, offsetof(DRIVE_LAYOUT_INFORMATION_EX, PartitionEntry)) +
           entries;
}

std::string descriptor(const Item &disk)
{
    STORAGE_DEVICE_DESCRIPTOR known{};
    known.Version = sizeof known;
    known.BusType = disk.number<STORAGE_BUS_TYPE>("bus");
    std::string texts;
    const std::pair<const char *, DWORD *> fields[] = {{"vendor", &known.VendorIdOffset},
                                                       {"product", &known.ProductIdOffset},
                                                       {"serial", &known.SerialNumberOffset}};
    for (const auto &[name, offset] : fields) {
        *offset = disk.has(name) ? static_cast<DWORD>(sizeof known + texts.size()) : 0;
        texts += disk[name] + '\0';
    }
    return bytesof(known) + texts;
}

std::string identity(const Item &disk)
{
    std::string model = disk["identity"];
    if (model == "short")
        return std::string(100, '\0');
    std::string bytes(offsetof(SENDCMDOUTPARAMS, bBuffer) + 512, '\0');
    model.resize(40, ' ');
    for (std::size_t i = 0; i < model.size(); ++i)
        bytes[offsetof(SENDCMDOUTPARAMS, bBuffer) + 54 + (i ^ 1)] = model[i];
    return bytes;
}

/// What a disk answers to a request; nothing if it does not know it.
std::string diskanswer(const Item &disk, DWORD code)
{
    const LONGLONG length = disk.number("length");
    // ATA requests: an NVMe driver does not know them
    const bool knowsata = disk.has("identity");
    switch (code) {
    case IOCTL_STORAGE_GET_DEVICE_NUMBER:
        return bytesof(STORAGE_DEVICE_NUMBER{FILE_DEVICE_DISK, disk.number<DWORD>("number"), 0});
    case IOCTL_DISK_GET_LENGTH_INFO:
        return bytesof(length);
    case IOCTL_DISK_GET_DRIVE_GEOMETRY:
        return disk.has("nogeometry")
                   ? std::string()
                   : bytesof(DISK_GEOMETRY{
                         {.QuadPart = length / (255 * 63 * 512)}, FixedMedia, 255, 63, 512});
    case IOCTL_DISK_GET_PARTITION_INFO:
        // not supported on GPT disks (its table of supported disks)
        return disk["table"] == "mbr" ? bytesof(PARTITION_INFORMATION{
                                            {}, {.QuadPart = length}, 0, 0, 0, FALSE, FALSE, FALSE})
                                      : std::string();
    case IOCTL_DISK_GET_DRIVE_LAYOUT_EX:
        return layout(disk);
    case IOCTL_STORAGE_QUERY_PROPERTY:
        return descriptor(disk);
    case SMART_GET_VERSION:
        return knowsata ? bytesof(GETVERSIONINPARAMS{0, 0, 0, 1, 0, {}}) : std::string();
    case SMART_RCV_DRIVE_DATA:
        return knowsata ? identity(disk) : std::string();
    default:
        return {};
    }
}

BOOL WINAPI deviceiocontrol(HANDLE handle, DWORD code, LPVOID in, DWORD insize, LPVOID out,
                            DWORD room, LPDWORD returned, LPOVERLAPPED place)
{
    Item *item = opened(handle);
    if (!item)
        return real(deviceiocontrol)(handle, code, in, insize, out, room, returned, place);
    *returned = 0;
    std::string answer;
    DWORD error = ERROR_SUCCESS;
    if (item->has("name")) {
        error = volumecontrol(handle, *item, code, answer);
    } else if (code == IOCTL_DISK_UPDATE_PROPERTIES) {
        note("update " + (*item)["number"]);
    } else {
        answer = diskanswer(*item, code);
        error = answer.empty() ? ERROR_INVALID_FUNCTION : ERROR_SUCCESS;
    }
    // of texts the caller gets what fits
    if (code == IOCTL_STORAGE_QUERY_PROPERTY)
        answer.resize(std::min<std::size_t>(answer.size(), room));
    if (answer.size() > room)
        return ends(ERROR_INSUFFICIENT_BUFFER);
    std::ranges::copy(answer, static_cast<char *>(out));
    *returned = static_cast<DWORD>(answer.size());
    return ends(error);
}

LONG WINAPI reggetvalue(HKEY key, LPCSTR folder, LPCSTR name, DWORD flags, LPDWORD type, PVOID out,
                        LPDWORD bytes)
{
    if (std::strcmp(name, "SystemPartition") != 0)
        return real(reggetvalue)(key, folder, name, flags, type, out, bytes);
    for (const Item &volume : volumes) {
        if (volume.has("boot"))
            return ends(volume["device"], static_cast<char *>(out), *bytes) ? ERROR_SUCCESS
                                                                            : ERROR_MORE_DATA;
    }
    return ERROR_FILE_NOT_FOUND;
}

/// How many volumes a search has found.
std::size_t search;

BOOL WINAPI findnextvolume(HANDLE, LPSTR name, DWORD room)
{
    if (search == volumes.size())
        return ends(ERROR_NO_MORE_FILES);
    return ends(volumes[search++]["name"] + "\\", name, room);
}

/// The functions by their names in import tables.
std::map<std::string, void *> replacements()
{
    std::map<std::string, void *> all;
    const auto replace = [&all]<class Function>(const char *name, Function *,
                                                std::type_identity_t<Function> *by) {
        all[name] = reinterpret_cast<void *>(by);
    };
    replace("CreateFileA", ::CreateFileA, createfile);
    replace("CloseHandle", ::CloseHandle, closehandle);
    replace("ReadFile", ::ReadFile, readfile);
    replace("WriteFile", ::WriteFile, writefile);
    replace("DeviceIoControl", ::DeviceIoControl, deviceiocontrol);
    replace("GetFileInformationByHandle", ::GetFileInformationByHandle, fileinformation);
    replace("RegGetValueA", ::RegGetValueA, reggetvalue);
    replace("FindFirstVolumeA", ::FindFirstVolumeA, [](auto name, auto room) -> HANDLE {
        search = 0;
        return findnextvolume(nullptr, name, room) ? &search : INVALID_HANDLE_VALUE;
    });
    replace("FindNextVolumeA", ::FindNextVolumeA, findnextvolume);
    replace("FindVolumeClose", ::FindVolumeClose, [](auto) { return TRUE; });
    replace("GetVolumePathNamesForVolumeNameA", ::GetVolumePathNamesForVolumeNameA,
            [](auto name, auto out, auto room, auto returned) {
                const Item *volume = itemof(name);
                std::string text = volume ? (*volume)["mounts"] + ',' : "";
                std::ranges::replace(text, ',', '\0');
                *returned = static_cast<DWORD>(text.size() + 1);
                return volume ? ends(text, out, room) : ends(ERROR_FILE_NOT_FOUND);
            });
    replace("GetVolumeInformationA", ::GetVolumeInformationA,
            [](auto root, auto label, auto room, auto, auto, auto, auto filesystem, auto) {
                const Item *volume = itemof(root);
                if (!volume || !volume->has("filesystem"))
                    return ends(ERROR_UNRECOGNIZED_VOLUME);
                ends((*volume)["label"], label, room);
                return ends((*volume)["filesystem"], filesystem, room);
            });
    replace("K32EnumPageFilesA", ::K32EnumPageFilesA, [](auto callback, auto context) {
        for (const Item &volume : volumes) {
            if (volume.has("pagefile"))
                callback(context, nullptr, ("\\??\\" + volume["mounts"] + "pagefile.sys").c_str());
        }
        return TRUE;
    });
    replace("SetupDiEnumDeviceInterfaces", ::SetupDiEnumDeviceInterfaces,
            [](auto, auto, auto, auto member, auto data) {
                data->Reserved = member;
                return ends(member < disks.size() ? ERROR_SUCCESS : ERROR_NO_MORE_ITEMS);
            });
    replace("SetupDiGetDeviceInterfaceDetailA", ::SetupDiGetDeviceInterfaceDetailA,
            [](auto, auto data, auto detail, auto room, auto, auto device) {
                device->DevInst = static_cast<DWORD>(data->Reserved);
                return ends(disks[data->Reserved]["path"], detail->DevicePath,
                            room - offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_A, DevicePath));
            });
    replace("SetupDiGetDeviceInstanceIdA", ::SetupDiGetDeviceInstanceIdA,
            [](auto, auto device, auto id, auto room, auto) {
                return ends("SCSI\\DISK\\" + std::to_string(device->DevInst), id, room);
            });
    replace("SetupDiGetDevicePropertyW", ::SetupDiGetDevicePropertyW,
            [](auto, auto device, auto, auto, auto out, auto...) {
                std::ranges::copy(bytesof(disks[device->DevInst].number("arrival")), out);
                return TRUE;
            });
    return all;
}

} // namespace

namespace standin
{

// A program calls the system through the addresses in its import table (PE format, import
// directory).
void install()
{
    const std::map<std::string, void *> all = replacements();
    const auto base = reinterpret_cast<std::uintptr_t>(::GetModuleHandleA(nullptr));
    const auto *dos = reinterpret_cast<const IMAGE_DOS_HEADER *>(base);
    const auto *headers = reinterpret_cast<const IMAGE_NT_HEADERS *>(base + dos->e_lfanew);
    const DWORD imports =
        headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    for (auto *dll = reinterpret_cast<IMAGE_IMPORT_DESCRIPTOR *>(base + imports); dll->Name;
         ++dll) {
        auto *name = reinterpret_cast<const IMAGE_THUNK_DATA *>(base + dll->OriginalFirstThunk);
        auto *slot = reinterpret_cast<IMAGE_THUNK_DATA *>(base + dll->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++slot) {
            if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal))
                continue;
            const auto *import =
                reinterpret_cast<const IMAGE_IMPORT_BY_NAME *>(base + name->u1.AddressOfData);
            const auto found = all.find(reinterpret_cast<const char *>(import->Name));
            DWORD old = 0;
            if (found == all.end() || !::VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &old))
                continue;
            originals[found->second] = slot->u1.Function;
            slot->u1.Function = reinterpret_cast<std::uintptr_t>(found->second);
            ::VirtualProtect(slot, sizeof *slot, old, &old);
        }
    }
}

void describe(const std::string &description)
{
    disks.clear();
    volumes.clear();
    log.clear();
    std::istringstream lines(description);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string word;
        words >> word;
        Item &item = (word == "disk" ? disks : volumes).emplace_back();
        while (words >> word)
            item.words[word.substr(0, word.find('='))] = word.substr(word.find('=') + 1);
    }
}

std::string events()
{
    const std::lock_guard hold(guard);
    return log;
}

} // namespace standin

// Loaded into a program by quarn-launch: the disks described in the file QUARN_STANDIN.
BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH) {
        const char *file = std::getenv("QUARN_STANDIN");
        std::stringstream text;
        text << std::ifstream(file != nullptr ? file : "").rdbuf();
        standin::describe(text.str());
        standin::install();
    }
    return TRUE;
}
