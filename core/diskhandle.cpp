#include "core/diskhandle.h"

#include "platform/platform.h"

#include <vector>

namespace
{

// Why the open disk is not the chosen one; empty if it is.
std::string whynot(const DiskIdentity &chosen, const DiskHandle &disk, const std::string &path)
{
    return differencefrom(chosen, readidentity(disk.get(), path));
}

std::string sentenceof(std::string words)
{
    if (words.front() >= 'a' && words.front() <= 'z')
        words.front() = static_cast<char>(words.front() - 'a' + 'A');
    return words + ".";
}

} // namespace

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

DiskHandle openchosen(const DISKINFO &chosen, std::string &refusal, std::string *where)
{
    const auto foundat = [where](const std::string &path) {
        if (where)
            *where = path;
    };
    foundat(chosen.devicepath);
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
        if (found && whynot(chosen.identity, found, path).empty()) {
            foundat(path);
            return found;
        }
    }
    return disk;
}

std::string failurereason(void *handle)
{
    const platform::Status status = platform::device(handle).lasterror();
    std::string refused = refusal(handle);
    if (!refused.empty())
        return refused;
    return status.ok() ? "The reason is not known." : sentenceof(platform::reasontext(status));
}
