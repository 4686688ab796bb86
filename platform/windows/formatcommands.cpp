#include "platform/formatcommands.h"

namespace platform
{

namespace
{

const char *filesystem(std::uint8_t systype)
{
    switch (systype) {
    case 0x06:
    case 0x0E:
        return "fat";
    case 0x07:
        return "ntfs";
    case 0x0B:
    case 0x0C:
        return "fat32";
    default:
        return nullptr;
    }
}

} // namespace

// For the system's own diskpart, which counts the disks in its own way: the user selects the disk.
std::string formatcommands(const std::string & /*devicepath*/,
                           const std::vector<NewPartition> &partitions)
{
    std::string text = "rem in diskpart, after \"list disk\" and \"select disk\" with its number\n";
    for (const NewPartition &one : partitions) {
        const char *name = filesystem(one.systype);
        const std::string number = std::to_string(one.number);
        text += name ? "select partition " + number + "\nformat fs=" + name + " quick\n"
                     : "rem no file system for the type of partition " + number + '\n';
    }
    return text;
}

} // namespace platform
