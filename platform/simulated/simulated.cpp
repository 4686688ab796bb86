#include "platform/simulated/simulated.h"

#include "platform/timing.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace platform
{

namespace
{

/// One handle of a simulated disk, without its faults.
class SimulatedDevice : public Device
{
public:
    SimulatedDevice(std::shared_ptr<SimulatedDisk> opened, Access wanted)
        : disk(std::move(opened)), access(wanted)
    {
    }

    [[nodiscard]] std::string refusal() const override { return disk->refusal; }

protected:
    Transfer doread(std::uint64_t offset, void *buffer, std::size_t bytes) override
    {
        if (!aligned(offset, bytes))
            return {{Fault::badargument, 0}, 0};
        const std::size_t there = within(offset, bytes);
        if (there > 0 && !disk->store->load(offset, buffer, there))
            return {{Fault::other, 0}, 0};
        return {Status::success(), there};
    }

    Transfer dowrite(std::uint64_t offset, const void *buffer, std::size_t bytes) override
    {
        if (access == Access::read)
            return {{Fault::denied, 0}, 0};
        if (const Status claimed = claim(); !claimed.ok())
            return {claimed, 0};
        if (!aligned(offset, bytes))
            return {{Fault::badargument, 0}, 0};
        const std::size_t there = within(offset, bytes);
        if (there > 0 && !disk->store->save(offset, buffer, there))
            return {{Fault::other, 0}, 0};
        return {{there < bytes ? Fault::other : Fault::none, 0}, there};
    }

    Status dopartitionlength(std::uint64_t &bytes) override
    {
        return answer(disk->partitionlength, bytes);
    }
    Status dodrivegeometry(DriveGeometry &geometry) override
    {
        return answer(disk->geometry, geometry);
    }
    Status dofilesize(std::uint64_t &bytes) override { return answer(disk->filesize, bytes); }
    Status dofilesizelow(std::uint32_t &bytes) override { return answer(disk->filesizelow, bytes); }
    Status dosectorsize(std::uint32_t &bytes) override { return answer(disk->sectorsize, bytes); }
    Status doidentitymap(std::uint8_t &map) override { return answer(disk->identitymap, map); }
    Status doidentify(const IdentifyCommand &command, IdentifyData &data) override
    {
        // it is the first packet device of its map, or else the first disk
        const unsigned map = disk->identitymap.value_or(0);
        const bool packet = map > 0x0F;
        const int drive = std::countr_zero(packet ? map >> 4 : map);
        if (command.command != (packet ? 0xA1 : 0xEC) || command.drive != drive ||
            command.drivehead != (drive % 2 == 0 ? 0xA0 : 0xB0))
            return {Fault::badargument, 0};
        return answer(disk->identity, data);
    }
    Status doremovable(bool &removable) override { return answer(disk->removable, removable); }
    Status dodescription(DiskDescription &description) override
    {
        return answer(disk->description, description);
    }
    Status doupdateproperties() override
    {
        return {disk->updatefails ? Fault::busy : Fault::none, 0};
    }
    Status doclaim() override { return {disk->refusal.empty() ? Fault::none : Fault::busy, 0}; }

private:
    template <typename Value> static Status answer(const std::optional<Value> &known, Value &out)
    {
        if (!known)
            return {Fault::unsupported, 0};
        out = *known;
        return Status::success();
    }

    [[nodiscard]] bool aligned(std::uint64_t offset, std::size_t bytes) const
    {
        return offset % disk->bytespersector == 0 && bytes % disk->bytespersector == 0;
    }

    /// How many of `bytes` bytes from `offset` on lie on the medium.
    [[nodiscard]] std::size_t within(std::uint64_t offset, std::size_t bytes) const
    {
        const std::uint64_t left = disk->bytes > offset ? disk->bytes - offset : 0;
        return static_cast<std::size_t>(std::min<std::uint64_t>(left, bytes));
    }

    std::shared_ptr<SimulatedDisk> disk;
    Access access;
};

} // namespace

std::shared_ptr<SimulatedDisk> simulateddisk(const std::string &path, std::uint64_t bytes,
                                             std::uint32_t bytespersector)
{
    auto disk = std::make_shared<SimulatedDisk>();
    disk->path = path;
    disk->bytes = bytes;
    disk->bytespersector = bytespersector;
    disk->faults->bytespersector = bytespersector;
    disk->partitionlength = bytes;
    disk->filesize = bytes;
    disk->filesizelow = static_cast<std::uint32_t>(bytes & 0xFFFFFFFF);
    DriveGeometry geometry{0, 255, 63, bytespersector};
    geometry.cylinders = bytes / (std::uint64_t{bytespersector} * geometry.trackspercylinder *
                                  geometry.sectorspertrack);
    disk->geometry = geometry;
    return disk;
}

std::shared_ptr<SimulatedDisk> simulateddisk(const std::string &path, const DriveGeometry &geometry)
{
    auto disk = simulateddisk(path,
                              geometry.cylinders * geometry.trackspercylinder *
                                  geometry.sectorspertrack * geometry.bytespersector,
                              geometry.bytespersector);
    disk->geometry = geometry;
    return disk;
}

IdentifyData identitywithmodel(const std::string &model)
{
    constexpr std::size_t firstword = 27;
    constexpr std::size_t lastword = 46;
    IdentifyData data{};
    std::string text = model;
    text.resize((lastword - firstword + 1) * 2, ' ');
    for (std::size_t i = 0; i < text.size(); i += 2) {
        // The first of two characters is the high byte of its word, stored second.
        data[firstword * 2 + i] = static_cast<std::uint8_t>(text[i + 1]);
        data[firstword * 2 + i + 1] = static_cast<std::uint8_t>(text[i]);
    }
    return data;
}

Status SimulatedBackend::systemvolumes(std::vector<std::string> &paths)
{
    if (systempaths.empty())
        return {Fault::unsupported, 0};
    paths.insert(paths.end(), systempaths.begin(), systempaths.end());
    return Status::success();
}

Status SimulatedBackend::listdisks(std::vector<std::string> &paths)
{
    if (listfails)
        return {Fault::other, 0};
    for (const auto &disk : disks) {
        if (disk->listed)
            paths.push_back(disk->path);
    }
    return Status::success();
}

std::unique_ptr<Device> SimulatedBackend::open(const std::string &path, Access access,
                                               Status &status)
{
    const auto disk = find(path);
    if (disk == nullptr || (disk->faults != nullptr && disk->faults->vanishafter == 0U)) {
        status = {Fault::gone, 0};
        return nullptr;
    }
    if (!disk->opens || disk->store == nullptr) {
        status = {disk->opens ? Fault::other : Fault::denied, 0};
        return nullptr;
    }
    status = Status::success();
    std::unique_ptr<Device> device = std::make_unique<SimulatedDevice>(disk, access);
    if (disk->faults != nullptr) {
        disk->faults->bytespersector = disk->bytespersector;
        device = std::make_unique<FaultyDevice>(std::move(device), disk->faults);
    }
    if (disk->wrap)
        device = disk->wrap(std::move(device));
    Timing::Clock clock;
    if (disk->faults != nullptr && disk->faults->clock)
        clock = [faults = disk->faults] { return *faults->clock; };
    return std::make_unique<Timing>(std::move(device), clock);
}

Status SimulatedBackend::inuse(const std::string &path, std::string &reason, bool &claimable)
{
    const auto disk = find(path);
    if (disk == nullptr || !disk->inuse)
        return {Fault::unsupported, 0};
    reason = *disk->inuse;
    claimable = disk->claimable;
    return Status::success();
}

Status SimulatedBackend::contents(const std::string &path, DiskContents &answer)
{
    const auto disk = find(path);
    if (disk == nullptr || !disk->contents)
        return {Fault::unsupported, 0};
    answer = *disk->contents;
    return Status::success();
}

std::shared_ptr<SimulatedDisk> SimulatedBackend::find(const std::string &path) const
{
    for (const auto &disk : disks) {
        if (disk->path == path)
            return disk;
    }
    return nullptr;
}

} // namespace platform
