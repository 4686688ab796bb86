#include "platform/linux/linuxbackend.h"
#include "platform/linux/contents.h"
#include "platform/linux/describe.h"
#include "platform/linux/errors.h"
#include "platform/linux/linuxdevice.h"
#include "platform/writegather.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <set>
#include <system_error>
#include <utility>

namespace platform
{

namespace
{

namespace fs = std::filesystem;

/// Kinds of hard disks, in list order. Behind its prefix a name has letters (sda, sdaa), or one or
/// two numbers (loop0, nvme0n1).
struct Family {
    const char *prefix;
    bool lettered;
    const char *separator; ///< between a first and a second number; null: one number
};
constexpr std::array<Family, 7> families{{
    {"sd", true, nullptr},
    {"hd", true, nullptr},
    {"nvme", false, "n"},
    {"mmcblk", false, nullptr},
    {"vd", true, nullptr},
    {"xvd", true, nullptr},
    {"loop", false, nullptr},
}};

/// Length limit of a path: 200 bytes with the terminator.
constexpr std::size_t maxpath = 199;

/// Removes a decimal number from the front of `text`; nothing if there is none.
std::optional<std::uint64_t> takenumber(std::string &text)
{
    const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    if (digits == 0 || digits > 9)
        return std::nullopt;
    const std::uint64_t number = std::stoul(text.substr(0, digits));
    text.erase(0, digits);
    return number;
}

/// Parses what follows the prefix; nothing if it is not the name of a whole disk.
std::optional<std::vector<std::uint64_t>> disknumbers(std::string rest, const Family &family)
{
    if (family.lettered) {
        if (rest.empty() || rest.size() > 6 ||
            rest.find_first_not_of("abcdefghijklmnopqrstuvwxyz") != std::string::npos)
            return std::nullopt;
        std::uint64_t number = 0;
        for (const char c : rest)
            number = number * 26 + static_cast<std::uint64_t>(c - 'a' + 1);
        return std::vector{number};
    }
    std::vector<std::uint64_t> numbers;
    auto number = takenumber(rest);
    if (number && family.separator != nullptr) {
        numbers.push_back(*number);
        if (!rest.starts_with(family.separator))
            return std::nullopt;
        rest.erase(0, std::string(family.separator).size());
        number = takenumber(rest);
    }
    if (!number || !rest.empty())
        return std::nullopt;
    numbers.push_back(*number);
    return numbers;
}

/// Truncates a text to `bytes` bytes, not inside a UTF-8 character.
void truncate(std::string &text, std::size_t bytes)
{
    if (text.size() <= bytes)
        return;
    while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80)
        --bytes;
    text.resize(bytes);
}

/// A text made fit to be a part of a path.
std::string part(const std::string &text, std::size_t maxbytes)
{
    std::string clean = trimmed(text);
    for (char &c : clean) {
        const auto code = static_cast<unsigned char>(c);
        if (code <= 0x20 || code == 0x7F || c == '&' || c == '#' || c == '/')
            c = '_';
    }
    truncate(clean, maxbytes);
    return clean;
}

} // namespace

std::optional<DiskName> diskname(const std::string &name)
{
    for (std::size_t i = 0; i < families.size(); ++i) {
        if (!name.starts_with(families[i].prefix))
            continue;
        if (auto numbers =
                disknumbers(name.substr(std::string(families[i].prefix).size()), families[i]))
            return DiskName{i, std::move(*numbers)};
    }
    return std::nullopt;
}

std::string devicepath(const std::string &node, const DiskTexts &texts)
{
    std::array<std::string, 4> parts{part(texts.vendor, 16), part(texts.product, 64),
                                     part(texts.revision, 16), part(texts.serial, 40)};
    const auto join = [&] {
        return node + "#disk&ven_" + parts[0] + "&prod_" + parts[1] + "&rev_" + parts[2] + "#" +
               parts[3] + "#block";
    };
    std::string path = join();
    while (path.size() > maxpath) {
        std::string &longest = *std::max_element(
            parts.begin(), parts.end(),
            [](const std::string &a, const std::string &b) { return a.size() < b.size(); });
        if (longest.empty())
            break;
        const std::size_t excess = path.size() - maxpath;
        truncate(longest, longest.size() > excess ? longest.size() - excess : 0);
        path = join();
    }
    return path;
}

LinuxBackend::LinuxBackend(std::string sysfs, std::string dev, std::string proc)
    : system(std::move(sysfs)), nodes(std::move(dev)), layers(system, std::move(proc))
{
}

std::string LinuxBackend::describe(const std::string &name) const
{
    const fs::path block = fs::path(system) / "block" / name;
    const fs::path device = block / "device";
    std::error_code error;

    // Stands in for a missing vendor: the bus, else the disk's name without its numbers.
    std::string driver = fs::read_symlink(device / "subsystem", error).filename().string();
    if (driver.empty())
        driver = name.substr(0, name.find_first_of("0123456789"));

    DiskTexts texts;
    const std::string backing = attribute(block / "loop" / "backing_file");
    texts.product = firsttext({attribute(device / "model"), attribute(device / "name"),
                               fs::path(backing).filename().string()});
    // Without a model the vendor is a bus identifier, not a manufacturer.
    if (!attribute(device / "model").empty())
        texts.vendor = attribute(device / "vendor");
    texts.vendor = firsttext({texts.vendor, driver});
    texts.product = firsttext({texts.product, name});
    texts.revision =
        firsttext({attribute(device / "rev"), attribute(device / "firmware_rev"), "0"});
    texts.serial = firsttext({sysfsserial(block), name});

    // sysfs replaces '/' in a name by '!'.
    std::string node = name;
    std::replace(node.begin(), node.end(), '!', '/');
    return devicepath(nodes + "/" + node, texts);
}

Status LinuxBackend::listdisks(std::vector<std::string> &paths)
{
    std::vector<std::pair<DiskName, std::string>> found;
    const fs::path folder = fs::path(system) / "block";
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        const auto parsed = diskname(name);
        if (!parsed || attribute(entry->path() / "hidden") == "1" ||
            attribute(entry->path() / "removable") == "1")
            continue;
        // A loop device counts as a disk if it has a writable backing file.
        std::error_code unknown;
        if (name.starts_with("loop") &&
            (!fs::exists(entry->path() / "loop" / "backing_file", unknown) ||
             attribute(entry->path() / "size") == "0" || attribute(entry->path() / "ro") == "1"))
            continue;
        // SD cards are removable, eMMC chips are not.
        if (name.starts_with("mmcblk") && attribute(entry->path() / "device" / "type") != "MMC")
            continue;
        found.emplace_back(*parsed, name);
    }
    if (error)
        return {faultof(error.value()), error.value()};
    std::sort(found.begin(), found.end());
    for (const auto &disk : found)
        paths.push_back(describe(disk.second));
    return Status::success();
}

Status LinuxBackend::systemvolumes(std::vector<std::string> &paths)
{
    const std::set<std::string> disks = layers.systemdisks();
    for (const std::string &disk : disks)
        paths.push_back(describe(disk));
    return {disks.empty() ? Fault::unsupported : Fault::none, 0};
}

std::unique_ptr<Device> LinuxBackend::open(const std::string &path, Access access, Status &status)
{
    auto device = LinuxDevice::open(path.substr(0, path.find('#')), access, status);
    if (!device)
        return nullptr;
    return inlargeblocks(std::move(device));
}

Status LinuxBackend::inuse(const std::string &path, std::string &reason, bool &claimable)
{
    claimable = false;
    const std::string node = path.substr(0, path.find('#'));
    const std::size_t front = nodes.size() + 1;
    std::string name = node.size() > front ? node.substr(front) : std::string();
    std::replace(name.begin(), name.end(), '/', '!');
    const auto number = parsenumber(attribute(fs::path(system) / "block" / name / "dev"));
    if (!number)
        return {Fault::unsupported, 0};
    reason = layers.userof(*number);
    // mounted in another mount namespace, or used in a way that sysfs does not show
    if (reason.empty() && LinuxDevice::claimedbyother(node))
        reason = "held by another program";
    if (reason.empty())
        reason = layers.writerof(*number);
    return Status::success();
}

Status LinuxBackend::contents(const std::string &path, DiskContents &answer)
{
    return readcontents(path.substr(0, path.find('#')), answer);
}

Backend &nativebackend()
{
    static LinuxBackend native;
    return native;
}

} // namespace platform
