#include "platform/formatcommands.h"

#include <cctype>

namespace platform
{

namespace
{

const char *program(std::uint8_t systype)
{
    switch (systype) {
    case 0x06:
    case 0x0E:
        return "mkfs.fat -F 16";
    case 0x07:
        return "mkfs.ntfs --quick";
    case 0x0B:
    case 0x0C:
        return "mkfs.fat -F 32";
    case 0x82:
        return "mkswap";
    case 0x83:
        return "mkfs.ext4";
    default:
        return nullptr;
    }
}

} // namespace

std::string formatcommands(const std::string &devicepath,
                           const std::vector<NewPartition> &partitions)
{
    // the kernel sets a letter between the number of a disk and that of its partition
    std::string node = devicepath.substr(0, devicepath.find('#'));
    if (!node.empty() && std::isdigit(static_cast<unsigned char>(node.back())) != 0)
        node += 'p';
    std::string text;
    for (const NewPartition &one : partitions) {
        const char *command = program(one.systype);
        text += command ? std::string(command) + ' ' : "# no file system for the type of ";
        text += node + std::to_string(one.number) + '\n';
    }
    return text;
}

} // namespace platform
