#include "platform/linux/layers.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace platform
{

namespace
{

namespace fs = std::filesystem;

/// Length limit of names shown to the user, in bytes; a path may have thousands.
constexpr std::size_t maxtext = 120;

DeviceNumber numberfrom(dev_t device)
{
    return {::major(device), ::minor(device)};
}

/// Decodes the escapes of a field, a backslash and three octal digits each.
std::string unescaped(const std::string &field)
{
    const auto octal = [&](std::size_t i) { return field[i] >= '0' && field[i] <= '7'; };
    std::string text;
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size() && octal(i + 1) && octal(i + 2) &&
            octal(i + 3)) {
            text += static_cast<char>((field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 +
                                      (field[i + 3] - '0'));
            i += 3;
        } else {
            text += field[i];
        }
    }
    return text;
}

/// A foreign name made safe to show: without control characters, and of limited length.
std::string shown(std::string text)
{
    for (char &c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (code < 0x20 || code == 0x7F)
            c = '?';
    }
    if (text.size() > maxtext) {
        std::size_t length = maxtext;
        while (length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80)
            --length;
        text.resize(length);
        text += "...";
    }
    return text;
}

std::vector<std::string> words(const std::string &line)
{
    std::istringstream stream(line);
    return {std::istream_iterator<std::string>(stream), {}};
}

/// The entries of a folder, sorted; empty if it does not exist.
std::set<fs::path> entries(const fs::path &folder)
{
    std::set<fs::path> found;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error))
        found.insert(entry->path());
    return found;
}

bool isthere(const fs::path &file)
{
    std::error_code error;
    return fs::exists(file, error);
}

} // namespace

std::optional<DeviceNumber> parsenumber(const std::string &text)
{
    DeviceNumber number;
    const char *const end = text.data() + text.size();
    const auto major = std::from_chars(text.data(), end, number.major);
    if (major.ec != std::errc() || major.ptr == end || *major.ptr != ':')
        return std::nullopt;
    const auto minor = std::from_chars(major.ptr + 1, end, number.minor);
    if (minor.ec != std::errc() || minor.ptr != end)
        return std::nullopt;
    return number;
}

std::string attribute(const fs::path &file)
{
    std::ifstream stream(file, std::ios::binary);
    // an attribute that a disk lacks fails when it is read; an iterator would throw then
    std::string text(1 << 16, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(stream.gcount()));
    if (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text;
}

Layers::Layers(std::string sysfs, std::string proc)
    : system(std::move(sysfs)), processes(std::move(proc))
{
}

fs::path Layers::folder(DeviceNumber device) const
{
    std::error_code error;
    fs::path found =
        fs::canonical(system / "dev" / "block" /
                          (std::to_string(device.major) + ":" + std::to_string(device.minor)),
                      error);
    return error ? fs::path() : found;
}

void Layers::gather(DeviceNumber device, std::set<std::string> &disks,
                    std::set<DeviceNumber> &seen) const
{
    // visit each device once, even if the links form a cycle
    if (!seen.insert(device).second)
        return;
    fs::path whole = folder(device);
    if (whole.empty())
        return;
    if (isthere(whole / "partition"))
        whole = whole.parent_path();
    const std::set<fs::path> slaves = entries(whole / "slaves");
    for (const fs::path &slave : slaves) {
        if (const auto number = parsenumber(attribute(slave / "dev")))
            gather(*number, disks, seen);
    }
    if (slaves.empty())
        disks.insert(whole.filename().string());
    // A loop device is backed by a block device, or by a file on one.
    const std::string backing = attribute(whole / "loop" / "backing_file");
    struct stat info;
    if (!backing.empty() && ::stat(backing.c_str(), &info) == 0)
        gather(numberfrom(S_ISBLK(info.st_mode) ? info.st_rdev : info.st_dev), disks, seen);
}

std::set<std::string> Layers::disksbelow(DeviceNumber device) const
{
    std::set<std::string> disks;
    std::set<DeviceNumber> seen;
    gather(device, disks, seen);
    return disks;
}

std::optional<DeviceNumber> Layers::numberof(const std::string &path) const
{
    struct stat info;
    if (::stat(path.c_str(), &info) == 0 && S_ISBLK(info.st_mode))
        return numberfrom(info.st_rdev);
    // A device without a node is found by its name.
    return parsenumber(attribute(system / "class" / "block" / fs::path(path).filename() / "dev"));
}

std::vector<Layers::Mount> Layers::mounts() const
{
    std::vector<Mount> list;
    std::ifstream stream(processes / "self" / "mountinfo", std::ios::binary);
    for (std::string line; std::getline(stream, line);) {
        // id, parent, number, root, point, options, any number of tags, "-", type, source, options
        const std::vector<std::string> fields = words(line);
        const auto dash = std::find(fields.begin(), fields.end(), "-");
        if (dash - fields.begin() < 6 || fields.end() - dash < 3)
            continue;
        if (const auto number = parsenumber(fields[2]))
            list.push_back({*number, unescaped(fields[4]), dash[1], unescaped(dash[2])});
    }
    return list;
}

std::vector<std::vector<DeviceNumber>> Layers::pools() const
{
    std::vector<std::vector<DeviceNumber>> list;
    for (const fs::path &pool : entries(system / "fs" / "btrfs")) {
        std::vector<DeviceNumber> members;
        for (const fs::path &member : entries(pool / "devices")) {
            if (const auto number = parsenumber(attribute(member / "dev")))
                members.push_back(*number);
        }
        if (!members.empty())
            list.push_back(members);
    }
    return list;
}

std::vector<DeviceNumber> Layers::devicesof(const Mount &mount) const
{
    if (mount.device.major != 0)
        return {mount.device};
    // For other types without a device the source is an arbitrary text.
    if (mount.type != "btrfs" && mount.type != "bcachefs")
        return {};
    std::set<DeviceNumber> devices;
    std::istringstream sources(mount.source);
    for (std::string source; std::getline(sources, source, ':');) {
        if (const auto number = numberof(source))
            devices.insert(*number);
    }
    for (const auto &pool : pools()) {
        if (std::any_of(pool.begin(), pool.end(),
                        [&](DeviceNumber member) { return devices.contains(member); }))
            devices.insert(pool.begin(), pool.end());
    }
    return {devices.begin(), devices.end()};
}

std::set<std::string> Layers::systemdisks() const
{
    std::set<std::string> disks;
    std::set<DeviceNumber> seen;
    const std::vector<Mount> all = mounts();
    // of several mounts at one mount point the last one counts
    const auto root = std::find_if(all.rbegin(), all.rend(),
                                   [](const Mount &mount) { return mount.point == "/"; });
    if (root != all.rend()) {
        std::vector<DeviceNumber> devices = devicesof(*root);
        if (devices.empty() && root->type == "btrfs") {
            // it could be any of them, so all count
            for (const auto &pool : pools())
                devices.insert(devices.end(), pool.begin(), pool.end());
        }
        for (const DeviceNumber device : devices)
            gather(device, disks, seen);
    }
    struct stat info;
    if (::stat("/", &info) == 0)
        gather(numberfrom(info.st_dev), disks, seen);
    return disks;
}

std::string Layers::holderof(const fs::path &device) const
{
    for (const fs::path &holder : entries(device / "holders")) {
        std::string name = attribute(holder / "dm" / "name");
        const std::string kind = attribute(holder / "dm" / "uuid");
        if (name.empty())
            name = holder.filename().string();
        if (kind.starts_with("LVM-"))
            return "part of LVM volume " + shown(name);
        if (kind.starts_with("CRYPT-"))
            return "part of encrypted volume " + shown(name);
        if (isthere(holder / "md"))
            return "part of RAID " + shown(name);
        return "part of " + shown(name);
    }
    for (const fs::path &part : entries(device)) {
        if (isthere(part / "partition")) {
            if (std::string user = holderof(part); !user.empty())
                return user;
        }
    }
    return {};
}

std::string Layers::userof(DeviceNumber disk) const
{
    const fs::path whole = folder(disk);
    if (whole.empty())
        return {};
    const std::string name = whole.filename().string();
    const auto carries = [&](DeviceNumber device) { return disksbelow(device).contains(name); };
    for (const Mount &mount : mounts()) {
        const std::vector<DeviceNumber> devices = devicesof(mount);
        if (std::any_of(devices.begin(), devices.end(), carries))
            return "mounted at " + shown(mount.point);
    }
    std::ifstream swaps(processes / "swaps", std::ios::binary);
    std::string line;
    for (std::getline(swaps, line); std::getline(swaps, line);) {
        // a swap file is covered by the mount of its file system
        const std::vector<std::string> fields = words(line);
        if (fields.size() < 2 || fields[1] != "partition")
            continue;
        const auto number = numberof(unescaped(fields[0]));
        if (number && carries(*number))
            return "used as swap";
    }
    for (const auto &pool : pools()) {
        if (std::any_of(pool.begin(), pool.end(), carries))
            return "part of a mounted btrfs file system";
    }
    return holderof(whole);
}

std::string Layers::writerof(DeviceNumber disk) const
{
    const fs::path whole = folder(disk);
    std::set<DeviceNumber> own = {disk};
    for (const fs::path &part : entries(whole)) {
        if (const auto number = parsenumber(attribute(part / "dev")); number && !whole.empty())
            own.insert(*number);
    }
    std::error_code error;
    const std::string self = fs::read_symlink(processes / "self", error).filename().string();
    for (const fs::path &process : entries(processes)) {
        const std::string id = process.filename().string();
        if (id == self || id.find_first_not_of("0123456789") != std::string::npos)
            continue;
        for (const fs::path &open : entries(process / "fd")) {
            // a file elsewhere isn't looked at: it may lie on a server that does not answer
            struct stat info;
            if (!fs::read_symlink(open, error).string().starts_with("/dev/") ||
                ::stat(open.c_str(), &info) != 0 || !S_ISBLK(info.st_mode) ||
                !own.contains(numberfrom(info.st_rdev)))
                continue;
            std::ifstream stream(process / "fdinfo" / open.filename());
            int flags = O_RDONLY;
            for (std::string name; stream >> name;) {
                if (name == "flags:") {
                    stream >> std::oct >> flags;
                    break;
                }
            }
            if ((flags & O_ACCMODE) != O_RDONLY)
                return "open for writing by " + shown(attribute(process / "comm"));
        }
    }
    return {};
}

} // namespace platform
