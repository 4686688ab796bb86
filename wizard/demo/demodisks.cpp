#include "wizard/demo/demodisks.h"

#include <chrono>
#include <filesystem>
#include <system_error>

const char *const damagedimage = "damaged.img";

namespace
{

// 16 heads and 63 sectors of 512 bytes: cylinders of half a megabyte, so that a small disk has
// enough of them for the full number of segments.
constexpr platform::DriveGeometry geometry{4096, 16, 63, 512};
constexpr std::uint64_t cylindersectors = 16 * 63;

// The bad places of the damaged disk, in cylinders: scratches, a cluster, and its end.
constexpr struct {
    std::uint64_t first, last;
} damage[] = {{700, 703}, {1490, 1490}, {1502, 1520}, {2316, 2316}, {3300, 3302}, {4090, 4095}};

// Its slow places, one read each, in segments that are good: of each class of latency, around the
// damage and on their own.
constexpr struct {
    std::uint64_t first, last; // cylinders
    int milliseconds;
} slowness[] = {{340, 360, 70}, {1470, 1482, 220}, {2330, 2338, 130}, {2900, 2908, 520}};
constexpr std::uint64_t mediarate = 400'000'000; // bytes a second
constexpr std::uint64_t slowstep = 8;            // about a segment

std::shared_ptr<platform::SimulatedDisk> demodisk(const std::string &folder, const char *file,
                                                  const char *model)
{
    auto disk = platform::simulateddisk(std::string("demo-") + file, geometry);
    disk->identitymap = 1;
    disk->identity = platform::identitywithmodel(model);
    disk->store = platform::imagestore(folder + "/" + file, disk->bytes);
    return disk;
}

} // namespace

std::unique_ptr<platform::SimulatedBackend> demobackend(const std::string &folder,
                                                        std::string &error)
{
    std::error_code failure;
    std::filesystem::create_directories(folder, failure);
    auto backend = std::make_unique<platform::SimulatedBackend>();
    const auto system = demodisk(folder, "system.img", "DEMO SYSTEM");
    const auto damaged = demodisk(folder, damagedimage, "DEMO DAMAGED");
    const auto healthy = demodisk(folder, "healthy.img", "DEMO HEALTHY");
    backend->disks = {system, damaged, healthy};
    backend->systempaths = {system->path};
    for (const auto &disk : backend->disks) {
        if (!disk->store) {
            error = "can not make the disk images in " + folder;
            return nullptr;
        }
    }
    damaged->faults->rate = mediarate;
    for (const auto &place : slowness) {
        for (std::uint64_t at = place.first; at <= place.last; at += slowstep)
            damaged->faults->slow.push_back({at * cylindersectors, at * cylindersectors,
                                             std::chrono::milliseconds(place.milliseconds)});
    }
    for (const auto &place : damage) {
        damaged->faults->unreadable.add(place.first * cylindersectors + 17,
                                        place.last * cylindersectors + 900);
        damaged->faults->unwritable.add(place.first * cylindersectors + 17,
                                        place.last * cylindersectors + 900);
    }
    return backend;
}
