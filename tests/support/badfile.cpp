// A FUSE file system with one file whose chosen sectors fail, for tests on real block devices:
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

constexpr std::uint64_t sector = 512;

struct Range {
    std::uint64_t first;               ///< bytes, inclusive
    std::uint64_t stop;                ///< bytes, exclusive
    std::chrono::milliseconds time{0}; ///< of a slow one
};

struct Served {
    std::string path = "/disk";
    std::string backing;
    int file = -1;
    std::uint64_t size = 0;
    std::vector<Range> badread;
    std::vector<Range> badwrite;
    std::vector<Range> slow;
    std::chrono::milliseconds delay{0};
} served;

bool touches(const Range &range, std::uint64_t from, std::uint64_t bytes)
{
    return from < range.stop && from + bytes > range.first;
}

bool touches(const std::vector<Range> &ranges, std::uint64_t from, std::uint64_t bytes)
{
    return std::any_of(ranges.begin(), ranges.end(),
                       [&](const Range &range) { return touches(range, from, bytes); });
}

int getattr(const char *path, struct stat *info, fuse_file_info *)
{
    std::memset(info, 0, sizeof *info);
    if (std::strcmp(path, "/") == 0) {
        info->st_mode = S_IFDIR | 0755;
        info->st_nlink = 2;
    } else if (path == served.path) {
        info->st_mode = S_IFREG | 0644;
        info->st_nlink = 1;
        info->st_size = static_cast<off_t>(served.size);
    } else {
        return -ENOENT;
    }
    return 0;
}

int open(const char *path, fuse_file_info *info)
{
    info->direct_io = 1;
    return path == served.path ? 0 : -ENOENT;
}

int read(const char *, char *buffer, std::size_t bytes, off_t offset, fuse_file_info *)
{
    const auto from = static_cast<std::uint64_t>(offset);
    std::this_thread::sleep_for(served.delay);
    bytes = std::min<std::uint64_t>(bytes, served.size > from ? served.size - from : 0);
    for (const Range &range : served.slow) {
        if (touches(range, from, bytes))
            std::this_thread::sleep_for(range.time);
    }
    if (touches(served.badread, from, bytes))
        return -EIO;
    const ssize_t count = ::pread(served.file, buffer, bytes, offset);
    return count < 0 ? -errno : static_cast<int>(count);
}

int write(const char *, const char *buffer, std::size_t bytes, off_t offset, fuse_file_info *)
{
    const auto from = static_cast<std::uint64_t>(offset);
    std::this_thread::sleep_for(served.delay);
    if (from >= served.size || bytes > served.size - from)
        return -ENOSPC;
    if (touches(served.badwrite, from, bytes))
        return -EIO;
    const ssize_t count = ::pwrite(served.file, buffer, bytes, offset);
    return count < 0 ? -errno : static_cast<int>(count);
}

int truncate(const char *, off_t size, fuse_file_info *)
{
    served.size = static_cast<std::uint64_t>(size);
    return 0;
}

/// Parses "FIRST-LAST" in sectors.
bool parse(const char *text, std::vector<Range> &ranges)
{
    unsigned long long first = 0;
    unsigned long long last = 0;
    char rest = 0;
    if (std::sscanf(text, "%llu-%llu%c", &first, &last, &rest) != 2 || first > last)
        return false;
    ranges.push_back({first * sector, (last + 1) * sector});
    return true;
}

/// Parses "FIRST-LAST:MILLISECONDS".
bool parseslow(const std::string &text)
{
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos || !parse(text.substr(0, colon).c_str(), served.slow))
        return false;
    served.slow.back().time =
        std::chrono::milliseconds(std::strtoul(text.c_str() + colon + 1, nullptr, 10));
    return true;
}

bool parsearguments(int count, char **arguments, std::string &mountpoint)
{
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        if (!argument.starts_with("--")) {
            mountpoint = argument;
        } else if (++i == count) {
            return false;
        } else if (argument == "--size") {
            served.size = std::strtoull(arguments[i], nullptr, 10);
        } else if (argument == "--backing") {
            served.backing = arguments[i];
        } else if (argument == "--delay") {
            served.delay = std::chrono::milliseconds(std::strtoul(arguments[i], nullptr, 10));
        } else if (argument == "--name") {
            served.path = std::string("/") + arguments[i];
        } else if (!(argument == "--bad" && parse(arguments[i], served.badread)) &&
                   !(argument == "--badwrite" && parse(arguments[i], served.badwrite)) &&
                   !(argument == "--slow" && parseslow(arguments[i]))) {
            return false;
        }
    }
    return !mountpoint.empty() && !served.backing.empty() && served.size > 0;
}

} // namespace

int main(int argc, char **argv)
{
    std::string mountpoint;
    if (!parsearguments(argc, argv, mountpoint)) {
        std::fputs("usage: quarn-badfile MOUNTPOINT --size BYTES --backing FILE [--name NAME] "
                   "[--bad FIRST-LAST]... [--badwrite FIRST-LAST]... [--delay MILLISECONDS] "
                   "[--slow FIRST-LAST:MILLISECONDS]...\n",
                   stderr);
        return 2;
    }
    served.file = ::open(served.backing.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (served.file < 0 || ::ftruncate(served.file, static_cast<off_t>(served.size)) != 0) {
        std::perror(served.backing.c_str());
        return 1;
    }
    fuse_operations operations{};
    operations.getattr = getattr;
    operations.open = open;
    operations.read = read;
    operations.write = write;
    operations.truncate = truncate;

    // Single-threaded, since the state has no lock, and in the foreground.
    char single[] = "-s";
    char foreground[] = "-f";
    char *arguments[] = {argv[0], mountpoint.data(), single, foreground, nullptr};
    return fuse_main(4, arguments, &operations, nullptr);
}
