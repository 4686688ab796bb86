#include "tests/support/loopdisk.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

std::string outputof(const std::string &command)
{
    std::string text;
    std::FILE *pipe = ::popen(("PATH=$PATH:/usr/sbin:/sbin; " + command).c_str(), "re");
    for (int byte = std::fgetc(pipe); byte != EOF; byte = std::fgetc(pipe))
        text += static_cast<char>(byte);
    ::pclose(pipe);
    return text;
}

int shell(const std::string &command)
{
    return std::system(("PATH=$PATH:/usr/sbin:/sbin; (" + command + ") >/dev/null 2>&1").c_str());
}

bool LoopDisk::available(std::string &why)
{
    if (shell("test $(id -u) = 0 && test -w /dev/fuse && test -w /dev/loop-control && "
              "command -v qemu-storage-daemon") != 0)
        why = "needs root, /dev/fuse, /dev/loop-control and qemu-storage-daemon";
    return why.empty();
}

LoopDisk::LoopDisk(std::uint64_t bytes, const std::string &options, const std::string &name)
    : served(folder / name)
{
    const std::string command =
        QUARN_BADDISK " " + folder.path + " " + name + " " + std::to_string(bytes) + " " + options;
    keeper.reset(::popen(command.c_str(), "we"));
    for (int i = 0; i < 1000 && !std::filesystem::exists(folder / "node"); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::ifstream(folder / "node") >> node;
    std::getline(std::ifstream(folder / "log"), error, '\0');
}

std::string LoopDisk::medium(std::uint64_t offset, std::size_t bytes) const
{
    std::string contents(bytes, '\0');
    std::ifstream file(folder / "medium", std::ios::binary);
    file.seekg(static_cast<std::streamoff>(offset));
    file.read(contents.data(), static_cast<std::streamsize>(bytes));
    return contents.substr(0, static_cast<std::size_t>(file.gcount()));
}

bool LoopDisk::vanish()
{
    return shell("truncate --size 0 " + served + " && losetup --set-capacity " + node) == 0;
}

bool LoopDisk::swap()
{
    // with the lock of those that look for a free device
    return shell("size=$(blockdev --getss " + node + ") && losetup --detach " + node +
                 " && exec flock /dev/loop-control timeout 5 sh -c 'until losetup --direct-io=on "
                 "--sector-size '$size' " +
                 node + " " + served + "; do sleep 0.01; done'") == 0;
}
