#include "platform/linux/contents.h"

#include "platform/linux/descriptor.h"
#include "platform/linux/errors.h"
#include "platform/linux/probe.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>

#include <fcntl.h>
#include <unistd.h>

namespace platform
{

#ifdef QUARN_BLKID

namespace
{

/// Unit of libblkid's offsets and sizes, whatever the disk's sector length.
constexpr std::uint64_t blkidsector = 512;
constexpr int maxpartitions = 128;

/// Whether the first sectors of a range can be read. libblkid takes a range that fails for empty.
bool isreadable(int descriptor, std::uint64_t offset)
{
    char start[4096];
    return ::pread(descriptor, start, sizeof start, static_cast<off_t>(offset)) > 0;
}

/// Looks for a file system in the volume's range.
void probevolume(int descriptor, DiskContents::Volume &volume)
{
    const Probe probe = probeof(descriptor, volume.offset, volume.bytes);
    volume.readable = probe && isreadable(descriptor, volume.offset);
    if (!volume.readable)
        return;
    blkid_probe_enable_superblocks(probe.get(), 1);
    blkid_probe_set_superblocks_flags(probe.get(), BLKID_SUBLKS_TYPE | BLKID_SUBLKS_LABEL);
    // 1: nothing found, -2: signs of several file systems
    const int found = blkid_do_safeprobe(probe.get());
    volume.readable = found != -1;
    if (found == 0) {
        volume.filesystem = value(probe.get(), "TYPE");
        volume.label = value(probe.get(), "LABEL");
    } else if (found == -2) {
        volume.filesystem = "several file systems";
    }
}

} // namespace

Status readcontents(const std::string &node, DiskContents &contents)
{
    const Descriptor file(::open(node.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.isopen() || !isreadable(file.get(), 0))
        return {faultof(errno), errno};
    const Probe probe = probeof(file.get(), 0, 0);
    if (!probe)
        return {Fault::other, 0};
    blkid_probe_enable_superblocks(probe.get(), 0);
    blkid_probe_enable_partitions(probe.get(), 1);
    if (blkid_do_safeprobe(probe.get()) == -1)
        return {Fault::medium, 0};
    contents = {};
    contents.table = value(probe.get(), "PTTYPE");
    if (contents.table.empty()) {
        DiskContents::Volume whole;
        whole.bytes = static_cast<std::uint64_t>(blkid_probe_get_size(probe.get()));
        probevolume(file.get(), whole);
        if (!whole.readable || !whole.filesystem.empty())
            contents.volumes.push_back(whole);
        return Status::success();
    }
    blkid_partlist list = blkid_probe_get_partitions(probe.get());
    const int count =
        list != nullptr ? std::min(blkid_partlist_numof_partitions(list), maxpartitions) : 0;
    for (int i = 0; i < count; ++i) {
        blkid_partition partition = blkid_partlist_get_partition(list, i);
        if (blkid_partition_is_extended(partition) != 0)
            continue;
        DiskContents::Volume volume;
        volume.number = blkid_partition_get_partno(partition);
        volume.offset =
            static_cast<std::uint64_t>(blkid_partition_get_start(partition)) * blkidsector;
        volume.bytes =
            static_cast<std::uint64_t>(blkid_partition_get_size(partition)) * blkidsector;
        probevolume(file.get(), volume);
        contents.volumes.push_back(volume);
    }
    return Status::success();
}

#else

Status readcontents(const std::string &, DiskContents &)
{
    return {Fault::unsupported, 0};
}

#endif

} // namespace platform
