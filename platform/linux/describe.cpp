#include "platform/linux/describe.h"

#include "platform/linux/layers.h"

#include <algorithm>
#include <array>
#include <system_error>
#include <utility>

namespace platform
{

namespace
{

namespace fs = std::filesystem;

/// The unit serial number of a vital product data page: the text after a header of four bytes.
std::string pageserial(const fs::path &file)
{
    const std::string page = attribute(file);
    return page.size() > 4 ? page.substr(4) : std::string();
}

/// The bus by the name of a folder above the disk in sysfs. USB stands first: behind it there is a
/// SCSI host of its own.
std::string busof(const fs::path &block)
{
    constexpr std::array<std::pair<const char *, const char *>, 6> buses{{{"usb", "USB"},
                                                                          {"ata", "SATA"},
                                                                          {"nvme", "NVMe"},
                                                                          {"virtio", "virtio"},
                                                                          {"mmc", "MMC"},
                                                                          {"loop", "loop"}}};
    std::error_code error;
    const fs::path folder = fs::canonical(block, error);
    for (const auto &[prefix, name] : buses) {
        const std::string start = prefix;
        if (std::any_of(folder.begin(), folder.end(), [&start](const fs::path &part) {
                const std::string text = part.string();
                return text.size() > start.size() && text.starts_with(start) &&
                       text[start.size()] >= '0' && text[start.size()] <= '9';
            }))
            return name;
    }
    return fs::read_symlink(block / "device" / "subsystem", error).filename().string();
}

} // namespace

std::string firsttext(std::initializer_list<std::string> texts)
{
    for (const std::string &text : texts) {
        if (!trimmed(text).empty())
            return text;
    }
    return {};
}

std::string sysfsserial(const fs::path &block)
{
    const fs::path device = block / "device";
    return firsttext({attribute(block / "serial"), attribute(device / "serial"),
                      pageserial(device / "vpd_pg80")});
}

DiskDescription sysfsdescription(const fs::path &block)
{
    const fs::path device = block / "device";
    DiskDescription description;
    description.serial = trimmed(sysfsserial(block));
    // names of other kinds ("t10.…") are made up of other texts
    const std::string name =
        trimmed(firsttext({attribute(block / "wwid"), attribute(device / "wwid")}));
    for (const char *kind : {"naa.", "eui.", "uuid."}) {
        if (name.starts_with(kind))
            description.wwn = name;
    }
    description.bus = busof(block);
    const std::string backing = attribute(block / "loop" / "backing_file");
    description.model = trimmed(firsttext({attribute(device / "model"), attribute(device / "name"),
                                           fs::path(backing).filename().string()}));
    // without a model the vendor is a bus identifier, not a manufacturer
    if (!attribute(device / "model").empty())
        description.vendor = trimmed(attribute(device / "vendor"));
    return description;
}

} // namespace platform
