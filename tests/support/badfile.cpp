// A FUSE file system with one file whose chosen sectors fail, for tests on real block devices,
// which catch what simulated ones hide: errors as the kernel gives them.
//
//   quarn-badfile MOUNTPOINT --size BYTES --backing FILE [--name NAME]
//                 [--bad FIRST-LAST]... [--badwrite FIRST-LAST]... [--delay MILLISECONDS]
//                 [--slow FIRST-LAST:MILLISECONDS]...
//
// Ranges are in sectors of 512 bytes, both ends inclusive. The data is in the sparse file FILE,
// created if missing, which shows bad sectors as well. Every read and write takes the delay longer,
// and a read that touches slow sectors takes their time besides.
// Nothing is cached. Truncating the served file changes its size, but not FILE.

#define FUSE_USE_VERSION 31
#include <fuse.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace
{

struct Zone {
    std::string option;
    unsigned long long first = 0, last = 0; ///< sectors, both inclusive
    unsigned milliseconds = 0;
};

std::vector<Zone> zones;
std::string served = "/disk";
off_t size = 0;
unsigned delay = 0;
int file = -1; ///< that holds the data

/// Takes a transfer's time. Whether a zone of this option makes it fail.
bool fails(const char *option, std::uint64_t offset, std::size_t bytes)
{
    unsigned milliseconds = delay;
    bool bad = false;
    for (const Zone &zone : zones) {
        if (offset >= (zone.last + 1) * 512 || offset + bytes <= zone.first * 512)
            continue;
        bad = bad || zone.option == option;
        if (zone.option == "--slow" && option == std::string("--bad"))
            milliseconds += zone.milliseconds;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    return bad;
}

int getattr(const char *path, struct stat *info, fuse_file_info *)
{
    const bool isroot = std::strcmp(path, "/") == 0;
    *info = {};
    info->st_mode = isroot ? S_IFDIR | 0755 : S_IFREG | 0644;
    info->st_nlink = 1;
    info->st_size = isroot ? 0 : size;
    return isroot || path == served ? 0 : -ENOENT;
}

int open(const char *path, fuse_file_info *info)
{
    info->direct_io = 1;
    return path == served ? 0 : -ENOENT;
}

int read(const char *, char *buffer, std::size_t bytes, off_t offset, fuse_file_info *)
{
    bytes = std::min(bytes, static_cast<std::size_t>(std::max<off_t>(size - offset, 0)));
    if (fails("--bad", static_cast<std::uint64_t>(offset), bytes))
        return -EIO;
    const ssize_t count = ::pread(file, buffer, bytes, offset);
    return count < 0 ? -errno : static_cast<int>(count);
}

int write(const char *, const char *buffer, std::size_t bytes, off_t offset, fuse_file_info *)
{
    const bool bad = fails("--badwrite", static_cast<std::uint64_t>(offset), bytes);
    if (bad || offset + static_cast<off_t>(bytes) > size)
        return bad ? -EIO : -ENOSPC;
    const ssize_t count = ::pwrite(file, buffer, bytes, offset);
    return count < 0 ? -errno : static_cast<int>(count);
}

int truncate(const char *, off_t bytes, fuse_file_info *)
{
    size = bytes;
    return 0;
}

/// Takes an option with its value; false if there is none such.
bool take(const std::string &option, const char *value)
{
    Zone zone{option};
    char rest = 0;
    const int numbers =
        std::sscanf(value, "%llu-%llu:%u%c", &zone.first, &zone.last, &zone.milliseconds, &rest);
    if (option == "--size")
        size = static_cast<off_t>(zone.first);
    else if (option == "--delay")
        delay = static_cast<unsigned>(zone.first);
    else if (option == "--name")
        served = std::string("/") + value;
    else if (option == "--backing")
        file = ::open(value, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    else if (option == "--bad" || option == "--badwrite" || option == "--slow")
        zones.push_back(zone);
    else
        return false;
    const bool range = !zones.empty() && zones.back().option == option;
    return !range || numbers == (option == "--slow" ? 3 : 2);
}

} // namespace

int main(int argc, char **argv)
{
    bool good = argc % 2 == 0;
    for (int i = 2; good && i < argc; i += 2)
        good = take(argv[i], argv[i + 1]);
    if (!good || size == 0 || file < 0 || ::ftruncate(file, size) != 0) {
        std::fputs(
            "usage: quarn-badfile MOUNTPOINT --size BYTES --backing FILE [OPTION VALUE]...\n",
            stderr);
        return 2;
    }
    fuse_operations operations{};
    operations.getattr = getattr;
    operations.open = open;
    operations.read = read;
    operations.write = write;
    operations.truncate = truncate;
    // Single-threaded, since the state has no lock, and in the foreground.
    char single[] = "-s", foreground[] = "-f";
    char *arguments[] = {argv[0], argv[1], single, foreground, nullptr};
    return fuse_main(4, arguments, &operations, nullptr);
}
