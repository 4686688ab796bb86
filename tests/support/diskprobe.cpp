// Lists the disks that the program finds, and prints the results of all requests to one of them:
//
//   quarn-diskprobe [PART-OF-PATH [SECTOR]...]
//
// Reads each SECTOR of 512 bytes; writes nothing.

#include "core/tlcore.h"
#include "platform/platform.h"

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>

namespace
{

// `answer` is a reference, since it is set by the call that returns `status`.
void print(const std::string &what, const platform::Status &status, const auto &answer)
{
    std::cout << what << ": ";
    if (status.ok())
        std::cout << answer << '\n';
    else
        std::cout << "refused, " << platform::faultname(status.fault) << ", code " << status.code
                  << '\n';
}

void probe(platform::Device &disk)
{
    std::uint64_t bytes = 0;
    std::uint32_t low = 0;
    std::uint8_t map = 0;
    bool removable = false;
    platform::DriveGeometry drive;
    platform::IdentifyData data{};
    print("partition length", disk.partitionlength(bytes), bytes);
    const platform::Status status = disk.drivegeometry(drive);
    print("drive geometry", status,
          std::to_string(drive.cylinders) + "/" + std::to_string(drive.trackspercylinder) + "/" +
              std::to_string(drive.sectorspertrack) + "/" + std::to_string(drive.bytespersector));
    print("file size", disk.filesize(bytes), bytes);
    print("low half of the file size", disk.filesizelow(low), low);
    const platform::Status mapped = disk.identitymap(map);
    print("identity map", mapped, int{map});
    print("identity", disk.identify({0xEC, 0xA0, 0}, data), "512 bytes");
    print("removable media", disk.removable(removable), removable);
    print("flush", disk.flush(), "done");
    print("update of the layout", disk.updateproperties(), "done");
}

} // namespace

int main(int argc, char **argv)
{
    std::vector<DISKINFO> disks;
    getallhdinfo(disks);
    void *handle = invaliddisk;
    for (const DISKINFO &disk : disks) {
        std::cout << "disk: " << disk.model << ", " << disk.sizemb << " MB"
                  << (disk.runningos ? ", the system's, " : ", ") << disk.devicepath << '\n';
        if (argc > 1 && handle == invaliddisk && std::strstr(disk.devicepath, argv[1]) != nullptr)
            handle = opendisk(disk.devicepath);
    }
    if (argc < 2)
        return 0;
    if (handle == invaliddisk) {
        std::cout << "no such disk\n";
        return 1;
    }
    platform::Device &disk = platform::device(handle);
    probe(disk);
    char buffer[512];
    for (int i = 2; i < argc; ++i) {
        const platform::Transfer transfer =
            disk.read(std::strtoull(argv[i], nullptr, 10) * sizeof buffer, buffer, sizeof buffer);
        print(std::string("read of sector ") + argv[i], transfer.status, transfer.bytes);
    }
    std::cout << "disk still there: " << (diskpresent(handle) ? "yes" : "no") << '\n';
    closedisk(handle);
    return 0;
}
