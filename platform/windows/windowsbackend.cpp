#include "platform/windows/windowsbackend.h"

#include "platform/windows/disklist.h"
#include "platform/windows/errors.h"
#include "platform/windows/volumes.h"
#include "platform/windows/windowsdevice.h"
#include "platform/writegather.h"

#include <array>
#include <memory>

namespace platform
{

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
    return listdiskpaths(paths);
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
