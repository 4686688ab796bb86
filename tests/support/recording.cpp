#include "tests/support/recording.h"

#include <algorithm>
#include <utility>

namespace platform
{

namespace
{

/// Records every operation on another device.
class RecordingDevice : public Decorator
{
public:
    RecordingDevice(std::unique_ptr<Device> decorated, std::shared_ptr<Recording> target)
        : Decorator(std::move(decorated)), recording(std::move(target))
    {
        recording->operations.push_back({Operation::Kind::open, 0, 0, 0, Status::success(), {}});
    }
    ~RecordingDevice() override
    {
        recording->operations.push_back({Operation::Kind::close, 0, 0, 0, Status::success(), {}});
    }

protected:
    Transfer doread(std::uint64_t offset, void *buffer, std::size_t bytes) override
    {
        const Transfer transfer = inner->read(offset, buffer, bytes);
        recording->operations.push_back(
            {Operation::Kind::read, offset, bytes, transfer.bytes, transfer.status, {}});
        return transfer;
    }
    Transfer dowrite(std::uint64_t offset, const void *buffer, std::size_t bytes) override
    {
        const Transfer transfer = inner->write(offset, buffer, bytes);
        recording->operations.push_back(
            {Operation::Kind::write, offset, bytes, transfer.bytes, transfer.status, {}});
        return transfer;
    }
    Status request(const char *name, const std::function<Status()> &call) override
    {
        const Status status = call();
        recording->operations.push_back({Operation::Kind::request, 0, 0, 0, status, name});
        return status;
    }

private:
    std::shared_ptr<Recording> recording;
};

} // namespace

std::vector<std::uint64_t> Recording::transfers(Operation::Kind kind,
                                                std::uint32_t bytespersector) const
{
    std::vector<std::uint64_t> sectors;
    for (const Operation &operation : operations) {
        if (operation.kind == kind)
            sectors.push_back(operation.bytes / bytespersector);
    }
    return sectors;
}

std::size_t Recording::count(Operation::Kind kind) const
{
    return static_cast<std::size_t>(
        std::count_if(operations.begin(), operations.end(),
                      [kind](const Operation &operation) { return operation.kind == kind; }));
}

RecordedDisk::RecordedDisk(const SimulatedDisk &disk) : SimulatedDisk(disk)
{
    wrap = [target = recording](std::unique_ptr<Device> opened) -> std::unique_ptr<Device> {
        return std::make_unique<RecordingDevice>(std::move(opened), target);
    };
}

} // namespace platform
