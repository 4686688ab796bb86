#pragma once

#include "platform/windows/handle.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace platform
{

/// A volume of the running system.
struct Volume {
    std::string path;                ///< `\\?\Volume{...}`, as CreateFile takes it
    std::vector<std::string> mounts; ///< its drive letter ("D:") and folders ("C:\mnt\x")
    /// The disks that it lies on: number, and offset of its first part there in bytes.
    std::map<DWORD, std::uint64_t> disks;
};

/// All volumes whose disks can be had.
std::vector<Volume> volumes();

/// The numbers of the disks that the running system needs.
struct SystemDisks {
    bool known = false;        ///< the disks of the system directory's volume are among `disks`
    std::set<DWORD> disks;     ///< of Windows, its boot files and its page files
    std::set<DWORD> pagefiles; ///< of the page files only
};
SystemDisks systemdisks();

/// The answer to a request of variable length without input; empty on failure.
std::vector<std::uint8_t> longanswer(HANDLE handle, DWORD code, std::size_t minsize);
/// Opens a disk or volume for requests that need no rights; null on failure.
FileHandle openforrequests(const std::string &path);
/// The number of an open disk; nothing if it has none.
std::optional<DWORD> disknumber(HANDLE handle);
/// The partition table of an open disk as the system knows it, with entries of MBR disks that hold
/// no partition.
struct Layout {
    DWORD style = PARTITION_STYLE_RAW;
    std::vector<PARTITION_INFORMATION_EX> partitions;
};
Layout layoutof(HANDLE handle);
/// Whether an open disk has a partition of this GPT type.
bool haspartition(HANDLE handle, const GUID &type);
/// The type of a partition that belongs to a storage pool.
extern const GUID storagepool;

/// The volumes of one disk, locked and dismounted until the last owner releases them. Windows
/// refuses raw writes inside a mounted volume unless it is locked or dismounted.
class VolumeClaim
{
public:
    /// Claims the volumes of a disk; all handles of this process share the claim. Null if one is in
    /// use or can't be had, with the reason, a sentence for the user, in `refusal`.
    static std::shared_ptr<VolumeClaim> make(DWORD disk, std::string &refusal);

private:
    std::vector<FileHandle> locked; ///< closing a handle unlocks its volume
};

} // namespace platform
