#pragma once

#include "platform/platform.h"
#include "platform/simulated/faultydevice.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace platform
{

/// The storage of a simulated disk: sparse in memory, or a sparse image file.
class SectorStore
{
public:
    virtual ~SectorStore() = default;
    virtual bool load(std::uint64_t offset, void *buffer, std::size_t bytes) = 0;
    virtual bool save(std::uint64_t offset, const void *buffer, std::size_t bytes) = 0;
};

/// A store in memory; sectors never written read as zeros.
std::shared_ptr<SectorStore> memorystore();
/// A store in an image file, created sparse with `bytes` bytes if missing; null on failure.
std::shared_ptr<SectorStore> imagestore(const std::string &file, std::uint64_t bytes);

/// One simulated disk. A request whose answer is not set fails as unsupported.
struct SimulatedDisk {
    std::string path;                   ///< device-interface path, listed and opened by it
    std::uint64_t bytes = 0;            ///< size of the medium
    std::uint32_t bytespersector = 512; ///< transfers must be whole sectors of this length

    std::optional<std::uint64_t> partitionlength;
    std::optional<DriveGeometry> geometry;
    std::optional<std::uint64_t> filesize;
    std::optional<std::uint32_t> filesizelow;
    std::optional<std::uint32_t> sectorsize;
    std::optional<std::uint8_t> identitymap;
    std::optional<IdentifyData> identity; ///< the answer to the command that fits the map
    std::optional<bool> removable = false;
    std::optional<DiskDescription> description;
    std::optional<DiskContents> contents;
    bool opens = true;                ///< false: an open is denied
    bool updatefails = false;         ///< true: the system refuses the new layout (busy)
    std::optional<std::string> inuse; ///< who else uses it; empty: nobody
    bool claimable = false;           ///< a claim ends that use
    std::string refusal;              ///< not empty: claim and writes are refused with it (busy)
    bool listed = true;               ///< false: it opens, but is not listed (a volume)

    std::shared_ptr<SectorStore> store = memorystore();
    std::shared_ptr<FaultPlan> faults = std::make_shared<FaultPlan>();
    /// Wraps each opened device, outside the faults and inside the timing of its reads; not set: no
    /// wrapper.
    std::function<std::unique_ptr<Device>(std::unique_ptr<Device>)> wrap;
};

/// A healthy disk that reports its size and a geometry of whole cylinders, 255 heads, 63 sectors.
std::shared_ptr<SimulatedDisk> simulateddisk(const std::string &path, std::uint64_t bytes,
                                             std::uint32_t bytespersector = 512);
/// The same with this geometry; the medium has exactly its size.
std::shared_ptr<SimulatedDisk> simulateddisk(const std::string &path,
                                             const DriveGeometry &geometry);
/// Identity words with `model` in words 27 to 46, padded with blanks, bytes swapped as on the wire.
IdentifyData identitywithmodel(const std::string &model);

/// Disks that exist only in this process. Each opened device has the disk's faults.
class SimulatedBackend : public Backend
{
public:
    std::vector<std::shared_ptr<SimulatedDisk>> disks;
    std::vector<std::string> systempaths; ///< of the system volume; empty: unsupported
    bool listfails = false;

    Status systemvolumes(std::vector<std::string> &paths) override;
    Status listdisks(std::vector<std::string> &paths) override;
    std::unique_ptr<Device> open(const std::string &path, Access access, Status &status) override;
    Status inuse(const std::string &path, std::string &reason, bool &claimable) override;
    Status contents(const std::string &path, DiskContents &answer) override;

    /// The disk of this path, null if there is none.
    [[nodiscard]] std::shared_ptr<SimulatedDisk> find(const std::string &path) const;
};

} // namespace platform
