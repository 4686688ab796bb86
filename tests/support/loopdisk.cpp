#include "tests/support/loopdisk.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include <unistd.h>

namespace
{

std::string content(const std::string &file)
{
    std::ifstream stream(file);
    return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace

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
#ifndef QUARN_BADFILE
    why = "built without libfuse3";
#else
    if (::geteuid() != 0)
        why = "needs root";
    for (const char *device : {"/dev/fuse", "/dev/loop-control"}) {
        if (::access(device, R_OK | W_OK) != 0)
            why = std::string("needs ") + device;
    }
#endif
    return why.empty();
}

LoopDisk::LoopDisk(const Options &options) : served(folder / "mount/" + options.name)
{
#ifdef QUARN_BADFILE
    const std::uint64_t units = options.bytespersector / 512; // the server's sectors in one
    std::string command = QUARN_BADDISK " " QUARN_BADFILE " " + folder.path + " " + options.name +
                          " '--sector-size " + std::to_string(options.bytespersector) +
                          (options.partitions ? " --partscan" : "") + "' --size " +
                          std::to_string(options.bytes);
    const auto add = [&](const char *option, const std::vector<Range> &ranges) {
        for (const Range &range : ranges)
            command += option + std::to_string(range.first * units) + "-" +
                       std::to_string((range.last + 1) * units - 1);
    };
    add(" --bad ", options.badread);
    add(" --badwrite ", options.badwrite);
    keeper = ::popen(command.c_str(), "we");
    for (int i = 0; i < 1000 && !std::filesystem::exists(folder / "node"); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    node = content(folder / "node");
    if (node.empty())
        error = content(folder / "log");
    else
        node.pop_back(); // the line's end
#endif
}

LoopDisk::~LoopDisk()
{
    if (keeper != nullptr)
        ::pclose(keeper);
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
    return shell("truncate --size 0 " + served + " && losetup --set-capacity " + node) == 0;
}
