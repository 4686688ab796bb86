// Lists the disks as the program sees them, and prints what the system answers about one of them:
//
//   quarn-diskprobe [PART-OF-PATH [SECTOR]...]
//
// Each SECTOR of 512 bytes is read; nothing is written.

#include "core/tlcore.h"
#include "platform/platform.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace
{

void say(const char *what, const platform::Status &status, const std::string &answer)
{
    static const char *const faults[] = {"",     "medium",      "gone",        "denied",
                                         "busy", "unsupported", "badargument", "other"};
    if (status.ok())
        std::printf("%s: %s\n", what, answer.c_str());
    else
        std::printf("%s: refused, %s, code %d\n", what, faults[static_cast<int>(status.fault)],
                    status.code);
}

void probe(void *handle)
{
    platform::Device &disk = platform::device(handle);
    std::uint64_t bytes = 0;
    std::uint32_t low = 0;
    std::uint8_t map = 0;
    bool removable = false;
    platform::DriveGeometry drive;
    platform::IdentifyData data{};
    platform::Status status = disk.partitionlength(bytes);
    say("partition length", status, std::to_string(bytes));
    status = disk.drivegeometry(drive);
    say("drive geometry", status,
        std::to_string(drive.cylinders) + "/" + std::to_string(drive.trackspercylinder) + "/" +
            std::to_string(drive.sectorspertrack) + "/" + std::to_string(drive.bytespersector));
    status = disk.filesize(bytes);
    say("file size", status, std::to_string(bytes));
    status = disk.filesizelow(low);
    say("low half of the file size", status, std::to_string(low));
    status = disk.identitymap(map);
    say("identity map", status, std::to_string(map));
    status = disk.identify({0xEC, 0xA0, 0}, data);
    say("identity", status, "512 bytes");
    status = disk.removable(removable);
    say("removable media", status, removable ? "yes" : "no");
    status = disk.flush();
    say("flush", status, "done");
    status = disk.updateproperties();
    say("update of the layout", status, "done");
}

} // namespace

int main(int argc, char **argv)
{
    std::vector<DISKINFO> disks;
    getallhdinfo(disks);
    const DISKINFO *chosen = nullptr;
    for (const DISKINFO &disk : disks) {
        std::printf("disk: %s, %llu MB%s, %s\n", disk.model, disk.sizemb,
                    disk.runningos ? ", the system's" : "", disk.devicepath);
        if (argc > 1 && std::strstr(disk.devicepath, argv[1]) != nullptr)
            chosen = &disk;
    }
    if (argc < 2)
        return 0;
    void *handle = chosen != nullptr ? opendisk(chosen->devicepath) : invaliddisk;
    if (handle == invaliddisk) {
        std::puts("no such disk");
        return 1;
    }
    probe(handle);
    char buffer[512];
    for (int i = 2; i < argc; i++) {
        platform::device(handle).seek(std::strtoull(argv[i], nullptr, 10) * sizeof buffer);
        const platform::Transfer transfer = platform::device(handle).read(buffer, sizeof buffer);
        say((std::string("read of sector ") + argv[i]).c_str(), transfer.status,
            std::to_string(transfer.bytes) + " bytes");
    }
    std::printf("disk still there: %s\n", diskpresent(handle) ? "yes" : "no");
    closedisk(handle);
    return 0;
}
