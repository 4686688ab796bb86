#include "tests/support/loopdisk.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <functional>
#include <thread>

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

/// Waits until `condition` is true; false after 10 seconds.
bool eventually(const std::function<bool()> &condition)
{
    for (int i = 0; i < 1000; ++i) {
        if (condition())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

void addranges(std::vector<std::string> &arguments, const char *option,
               const std::vector<LoopDisk::Range> &ranges, std::uint64_t units)
{
    for (const LoopDisk::Range &range : ranges) {
        arguments.emplace_back(option);
        arguments.push_back(std::to_string(range.first * units) + "-" +
                            std::to_string((range.last + 1) * units - 1));
    }
}

} // namespace

bool LoopDisk::available(std::string &why)
{
#ifndef QUARN_BADFILE
    why = "built without libfuse3";
#else
    if (::geteuid() != 0)
        why = "needs root";
    else if (::access("/dev/fuse", R_OK | W_OK) != 0)
        why = "needs /dev/fuse";
    else if (::access("/dev/loop-control", R_OK | W_OK) != 0)
        why = "needs /dev/loop-control";
    else
        return true;
#endif
    return false;
}

LoopDisk::LoopDisk(const Options &options)
{
    if (folder.path.empty())
        error = "no temporary folder";
    else if (mount(options))
        attach(options);
}

bool LoopDisk::mount(const Options &options)
{
#ifdef QUARN_BADFILE
    const std::string mountpoint = folder / "mount";
    served = mountpoint + "/" + options.name;
    std::vector<std::string> arguments{
        QUARN_BADFILE, mountpoint,        "--size", std::to_string(options.bytes),
        "--backing",   folder / "medium", "--name", options.name};
    const std::uint64_t units =
        options.bytespersector / 512; // the server counts sectors of 512 bytes
    addranges(arguments, "--bad", options.badread, units);
    addranges(arguments, "--badwrite", options.badwrite, units);
    std::vector<char *> pointers;
    for (std::string &argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    ::mkdir(mountpoint.c_str(), 0755);
    const pid_t parent = ::getpid();
    server = ::fork();
    if (server == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGTERM); // it dies with this process
        if (::getppid() == parent)
            ::execv(pointers[0], pointers.data());
        ::_exit(127);
    }
    const bool there = server > 0 && eventually([&] {
                           struct stat info;
                           if (::waitpid(server, nullptr, WNOHANG) != 0)
                               server = -1;
                           return server < 0 || ::stat(served.c_str(), &info) == 0;
                       });
    if (there && server > 0)
        return true;
#endif
    error = "the file with the damage is not served";
    return false;
}

bool LoopDisk::attach(const Options &options)
{
    const int control = ::open("/dev/loop-control", O_RDWR | O_CLOEXEC);
    loop_config config{};
    config.fd = static_cast<unsigned>(::open(served.c_str(), O_RDWR | O_CLOEXEC));
    config.block_size = options.bytespersector;
    // The kernel detaches the device when its last user closes it or is killed.
    config.info.lo_flags = LO_FLAGS_DIRECT_IO | LO_FLAGS_AUTOCLEAR;
    if (options.partitions)
        config.info.lo_flags |= LO_FLAGS_PARTSCAN;
    // repeat while another process takes the free device first
    const bool configured = eventually([&] {
        node = "/dev/loop" + std::to_string(::ioctl(control, LOOP_CTL_GET_FREE));
        const int writable = ::open(node.c_str(), O_RDWR | O_CLOEXEC);
        const bool good = ::ioctl(writable, LOOP_CONFIGURE, &config) == 0;
        if (good)
            descriptor = ::open(node.c_str(), O_RDONLY | O_CLOEXEC);
        ::close(writable);
        return good || errno != EBUSY;
    });
    ::close(static_cast<int>(config.fd));
    ::close(control);
    loop_info64 info{};
    if (configured && ::ioctl(descriptor, LOOP_GET_STATUS64, &info) == 0 &&
        (info.lo_flags & LO_FLAGS_DIRECT_IO) != 0)
        return true;
    error = "no loop device with direct transfers";
    node.clear();
    return false;
}

LoopDisk::~LoopDisk()
{
    if (descriptor >= 0) {
        loop_info64 info{};
        ::close(descriptor);
        eventually([&] {
            const int again = node.empty() ? -1 : ::open(node.c_str(), O_RDONLY | O_CLOEXEC);
            const bool freed = again < 0 || ::ioctl(again, LOOP_GET_STATUS64, &info) != 0;
            if (again >= 0)
                ::close(again);
            return freed;
        });
    }
    if (server > 0) {
        ::kill(server, SIGTERM);
        if (!eventually([&] { return ::waitpid(server, nullptr, WNOHANG) != 0; })) {
            ::kill(server, SIGKILL);
            ::waitpid(server, nullptr, 0);
        }
    }
    if (!folder.path.empty())
        ::umount2((folder / "mount").c_str(), MNT_DETACH); // fails if the server has unmounted it
}

std::string LoopDisk::medium(std::uint64_t offset, std::size_t bytes) const
{
    std::string contents(bytes, '\0');
    std::ifstream file(folder / "medium", std::ios::binary);
    file.seekg(static_cast<std::streamoff>(offset));
    file.read(contents.data(), static_cast<std::streamsize>(bytes));
    contents.resize(static_cast<std::size_t>(file.gcount()));
    return contents;
}

bool LoopDisk::vanish()
{
    return ::truncate(served.c_str(), 0) == 0 && ::ioctl(descriptor, LOOP_SET_CAPACITY, 0) == 0;
}
