#include "core/diskhandle.h"

#include "platform/platform.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <set>
#include <string_view>

namespace
{

// Words of the ATA identity that hold the model (ATA8-ACS, IDENTIFY DEVICE).
constexpr int firstmodelword = 27;
constexpr int lastmodelword = 46;

constexpr std::size_t modelsize = sizeof(DISKINFO::model);

// Copies `text` into a `model`, cut to fit, and zeroes the rest of it.
void setmodel(char *model, std::string_view text)
{
    std::memset(model, 0, modelsize);
    text.copy(model, modelsize - 1);
}

// Whether a disk gets a GUID partition table: by the geometry that plan and commit work on.
bool getsguidtable(void *handle)
{
    geom geometry;
    get_geometry(handle, &geometry);
    return geometry.totalsectors > maxmbrsectors;
}

} // namespace

void getallhdinfo(std::vector<DISKINFO> &list)
{
    // no system volume, no models: then no disk is marked
    std::vector<std::string> systempaths;
    static_cast<void>(platform::backend().systemvolumes(systempaths));
    std::set<std::string> systemmodels;
    for (const std::string &path : systempaths) {
        char model[modelsize];
        getdisk(path.c_str(), model);
        systemmodels.insert(model);
    }
    // two disks without a model are not the same disk
    systemmodels.erase(std::string());

    std::vector<std::string> names;
    getalldevicenames(names);
    for (std::string &name : names) {
        DISKINFO info;
        if (name.size() >= sizeof info.devicepath)
            continue;
        if (getdisk(name.c_str(), info.model) != 0)
            continue;
        unsigned long long bytes = 0;
        if (diskbytesize(name.data(), &bytes) != 0)
            bytes = 0;
        info.sizemb = bytes / 1'000'000;
        info.runningos =
            systemmodels.contains(info.model) ||
            std::find(systempaths.begin(), systempaths.end(), name) != systempaths.end();
        std::string user;
        if (platform::backend().inuse(name, user, info.claimable).ok())
            user.copy(info.inuse, sizeof info.inuse - 1);
        if (info.model[0] == '\0') {
            const std::size_t slash = name.find_last_of("/\\");
            setmodel(info.model,
                     std::string_view(name).substr(slash == std::string::npos ? 0 : slash + 1));
        }
        name.copy(info.devicepath, sizeof info.devicepath - 1);
        const DiskHandle disk(name.c_str());
        info.guidtable = getsguidtable(disk.get());
        info.identity = readidentity(disk.get(), name);
        list.push_back(info);
    }
}

std::vector<UnlistedDisk> unlisteddisks(const std::vector<DISKINFO> &list)
{
    std::vector<std::string> present;
    static_cast<void>(platform::backend().listdisks(present));
    std::vector<UnlistedDisk> unlisted;
    for (const std::string &path : present) {
        if (std::any_of(list.begin(), list.end(),
                        [&](const DISKINFO &disk) { return disk.devicepath == path; }))
            continue;
        platform::Status status = platform::Status::success();
        bool removable = false;
        const DiskHandle disk(platform::open(path.c_str(), platform::Access::readwrite, &status));
        std::string reason = "it does not tell what it is";
        if (!disk)
            reason = platform::reasontext(status);
        else if (platform::device(disk.get()).removable(removable).ok() && removable)
            reason = "removable medium";
        unlisted.push_back({path.substr(0, path.find('#')), reason});
    }
    return unlisted;
}

int getalldevicenames(std::vector<std::string> &names)
{
    std::vector<std::string> present;
    // paths that were listed before a failure are used all the same
    const bool listed = platform::backend().listdisks(present).ok();
    for (const std::string &path : present) {
        if (isusbflash(path.c_str()))
            continue;
        if (DiskHandle(path.c_str()))
            names.push_back(path);
    }
    return listed ? 0 : 1;
}

bool isusbflash(const char *path)
{
    const DiskHandle disk(path);
    bool removable = false;
    return disk && platform::device(disk.get()).removable(removable).ok() && removable;
}

int getdisk(const char *path, char *model)
{
    std::memset(model, 0, modelsize);
    const DiskHandle handle(path);
    if (!handle)
        return -1;
    platform::Device &disk = platform::device(handle.get());
    std::uint8_t map = 0;
    if (!disk.identitymap(map).ok() || map == 0) {
        // a path without a model leaves it empty
        getusbsnmodel(path, model);
        return 0;
    }
    // bits 4 to 7 of the map are packet devices
    const bool packet = (map & 0xF0) != 0;
    const unsigned drives = packet ? map >> 4 : map;
    platform::IdentifyCommand command;
    command.command = packet ? 0xA1 : 0xEC;
    command.drive = static_cast<std::uint8_t>(std::countr_zero(drives));
    command.drivehead = (command.drive & 1) != 0 ? 0xB0 : 0xA0;
    platform::IdentifyData data{};
    if (!disk.identify(command, data).ok())
        return -3;
    unsigned short words[256];
    for (std::size_t i = 0; i < 256; ++i)
        words[i] = static_cast<unsigned short>(data[2 * i] | data[2 * i + 1] << 8);
    setmodel(model, getstring(words, firstmodelword, lastmodelword));
    // an identity without a model
    if (model[0] == '\0')
        getusbsnmodel(path, model);
    return 0;
}

int getusbsnmodel(const char *path, char *model)
{
    std::memset(model, 0, modelsize);
    // prefix # device part # instance part # class part
    const std::string_view whole(path);
    const std::size_t device = whole.find('#');
    if (device == std::string_view::npos)
        return -1;
    const std::size_t instance = whole.find('#', device + 1);
    if (instance == std::string_view::npos)
        return -1;
    const std::size_t last = std::min(whole.find('#', instance + 1), whole.size());
    const std::size_t mark = whole.find('&', device + 1);
    if (mark == std::string_view::npos || mark >= last)
        return -1;
    const std::size_t end = mark < instance ? instance : last;
    std::string text(whole.substr(mark + 1, end - mark - 1));
    std::replace(text.begin(), text.end(), '&', '-');
    setmodel(model, text);
    return 0;
}

const char *getstring(const unsigned short *words, int first, int last)
{
    static char text[257];
    int length = 0;
    for (int i = first; i <= last; ++i) {
        for (const int c : {words[i] >> 8, words[i] & 0xFF}) {
            if (c != '\0' && c != ' ' && length < 256)
                text[length++] = static_cast<char>(c);
        }
    }
    text[length] = '\0';
    return text;
}

int diskbytesize(void *handle, unsigned long long *size)
{
    if (handle == invaliddisk)
        return -1;
    platform::Device &disk = platform::device(handle);
    std::uint64_t bytes = 0;
    platform::DriveGeometry drive;
    std::uint32_t low = 0;
    if (disk.partitionlength(bytes).ok()) {
        *size = bytes;
    } else if (disk.drivegeometry(drive).ok()) {
        // the product in brackets is formed in 32 bits, like the record's fields
        *size = drive.cylinders *
                (drive.trackspercylinder * drive.bytespersector * drive.sectorspertrack);
    } else if (disk.filesize(bytes).ok()) {
        *size = bytes;
    } else if (disk.filesizelow(low).ok() && low != 0xFFFFFFFFU) {
        *size = low;
    }
    return 0;
}

int diskbytesize(char *path, unsigned long long *size)
{
    const DiskHandle disk(platform::open(path, platform::Access::read));
    return diskbytesize(disk.get(), size);
}
