#include "platform/linux/describe.h"

#include "platform/linux/layers.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <system_error>
#include <utility>

namespace platform
{

namespace
{

namespace fs = std::filesystem;

bool isblank(char c)
{
    return c == '\x7F' || (c >= '\0' && c <= ' ');
}

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

std::uint16_t word(const IdentifyData &identity, std::size_t number)
{
    return static_cast<std::uint16_t>(identity[2 * number] | identity[2 * number + 1] << 8);
}

/// Text of the words `first` to `last`, inclusive; the high byte of each is its first character.
std::string atatext(const IdentifyData &identity, std::size_t first, std::size_t last)
{
    std::string text;
    for (std::size_t i = first; i <= last; ++i) {
        text += static_cast<char>(identity[2 * i + 1]);
        text += static_cast<char>(identity[2 * i]);
    }
    return trimmed(text);
}

} // namespace

std::string trimmed(const std::string &text)
{
    const auto first = std::find_if_not(text.begin(), text.end(), isblank);
    const auto last = std::find_if_not(text.rbegin(), std::make_reverse_iterator(first), isblank);
    return {first, last.base()};
}

std::string firsttext(std::initializer_list<std::string> texts)
{
    for (const std::string &text : texts) {
        if (!std::all_of(text.begin(), text.end(), isblank))
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

void describeata(const IdentifyData &identity, DiskDescription &description)
{
    if (const std::string serial = atatext(identity, 10, 19); !serial.empty())
        description.serial = serial;
    if (const std::string model = atatext(identity, 27, 46); !model.empty())
        description.model = model;
    // bits 14 and 15 say that word 87 is valid, bit 8 that there is a name
    if ((word(identity, 87) & 0xC100) == 0x4100) {
        char name[21];
        std::snprintf(name, sizeof name, "naa.%04x%04x%04x%04x", word(identity, 108),
                      word(identity, 109), word(identity, 110), word(identity, 111));
        description.wwn = name;
    }
}

} // namespace platform
