#include "core/diskhandle.h"

#include "platform/platform.h"

#include <array>
#include <vector>

namespace
{

// CRC-32 as in IEEE 802.3, bits reflected.
constexpr std::uint32_t crcpolynomial = 0xEDB88320;

// Why the open disk is not the chosen one; empty if it is.
std::string whynot(const DiskIdentity &chosen, const DiskHandle &disk, const std::string &path)
{
    return differencefrom(chosen, readidentity(disk.get(), path));
}

// "Its serial number is A, that of the chosen disk is B."
std::string sentence(const char *what, const std::string &found, const std::string &chosen)
{
    return std::string("Its ") + what + " is " + found + ", that of the chosen disk is " + chosen +
           ".";
}

std::string sentenceof(std::string words)
{
    if (words.front() >= 'a' && words.front() <= 'z')
        words.front() = static_cast<char>(words.front() - 'a' + 'A');
    return words + ".";
}

} // namespace

std::string normalserial(std::string_view serial)
{
    std::string normal;
    for (const char c : serial) {
        if (c >= 'a' && c <= 'z')
            normal += static_cast<char>(c - 'a' + 'A');
        else if ((c >= 'A' && c <= 'Z') || (c >= '1' && c <= '9') || (c == '0' && !normal.empty()))
            normal += c;
    }
    return normal;
}

std::uint32_t serialchecksum(std::string_view normalised)
{
    if (normalised.empty())
        return 0;
    std::uint32_t crc = 0xFFFFFFFF;
    for (const char c : normalised) {
        crc ^= static_cast<std::uint8_t>(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) != 0 ? crc >> 1 ^ crcpolynomial : crc >> 1;
    }
    // 0 stands for no serial number
    return ~crc != 0 ? ~crc : 1;
}

DiskIdentity readidentity(void *handle, std::string_view devicepath)
{
    DiskIdentity identity;
    identity.node = devicepath.substr(0, devicepath.find('#'));
    platform::Device &disk = platform::device(handle);
    platform::DiskDescription description;
    if (disk.description(description).ok()) {
        identity.serial = normalserial(description.serial);
        identity.wwn = description.wwn;
        identity.model = description.model;
        identity.vendor = description.vendor;
        identity.bus = description.bus;
        identity.instance = description.instance;
    }
    // not by diskbytesize: its first way is refused on some tables, so a commit would change it
    if (!disk.length(identity.bytes).ok()) {
        unsigned long long bytes = 0;
        diskbytesize(handle, &bytes);
        identity.bytes = bytes;
    }
    if (!disk.sectorsize(identity.bytespersector).ok())
        identity.bytespersector = 0;
    return identity;
}

std::string differencefrom(const DiskIdentity &chosen, const DiskIdentity &found)
{
    const std::array<std::pair<const char *, std::string DiskIdentity::*>, 3> texts{
        {{"serial number", &DiskIdentity::serial},
         {"world wide name", &DiskIdentity::wwn},
         {"model", &DiskIdentity::model}}};
    for (const auto &[what, text] : texts) {
        if (!(chosen.*text).empty() && !(found.*text).empty() && chosen.*text != found.*text)
            return sentence(what, found.*text, chosen.*text);
    }
    if (chosen.bytes != 0 && found.bytes != 0 && chosen.bytes != found.bytes)
        return sentence("length in bytes", std::to_string(found.bytes),
                        std::to_string(chosen.bytes));
    if (chosen.bytespersector != 0 && found.bytespersector != 0 &&
        chosen.bytespersector != found.bytespersector)
        return sentence("sector length in bytes", std::to_string(found.bytespersector),
                        std::to_string(chosen.bytespersector));
    if (!chosen.instance.empty() && chosen.instance == found.instance)
        return {};
    // what both have is equal by now
    if ((!chosen.serial.empty() && !found.serial.empty()) ||
        (!chosen.wwn.empty() && !found.wwn.empty()))
        return {};
    if (!chosen.serial.empty() || !chosen.wwn.empty())
        return "It does not tell its serial number.";
    if (!chosen.instance.empty() && !found.instance.empty())
        return "The disk was removed, and has no serial number to know it by.";
    return {};
}

DiskHandle openchosen(const DISKINFO &chosen, std::string &refusal)
{
    refusal = "Can not open the disk.\n";
    platform::Status status;
    DiskHandle disk(platform::open(chosen.devicepath, platform::Access::readwrite, &status));
    if (disk) {
        const std::string difference = whynot(chosen.identity, disk, chosen.devicepath);
        if (difference.empty())
            return disk;
        disk.reset();
        refusal += "It is not there, but another disk in its place. " + difference;
    } else {
        refusal += sentenceof(platform::reasontext(status));
    }
    // A disk that came back may have another node; without a number of its own it isn't known.
    if (chosen.identity.serial.empty() && chosen.identity.wwn.empty())
        return disk;
    std::vector<std::string> paths;
    static_cast<void>(platform::backend().listdisks(paths));
    for (const std::string &path : paths) {
        if (path == chosen.devicepath)
            continue;
        // read-only first: an open for writing claims a disk that may be someone else's
        const DiskHandle looked(platform::open(path.c_str(), platform::Access::read));
        if (!looked || !whynot(chosen.identity, looked, path).empty())
            continue;
        DiskHandle found(path.c_str());
        if (found && whynot(chosen.identity, found, path).empty())
            return found;
    }
    return disk;
}

std::string failurereason(void *handle)
{
    const platform::Status status = platform::device(handle).lasterror();
    const std::string refused = refusal(handle);
    if (!refused.empty())
        return refused;
    return status.ok() ? "The reason is not known." : sentenceof(platform::reasontext(status));
}
