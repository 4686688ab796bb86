#include "platform/simulated/recording.h"

#include <algorithm>
#include <utility>

namespace platform
{

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

RecordingDevice::RecordingDevice(std::unique_ptr<Device> decorated,
                                 std::shared_ptr<Recording> target)
    : Decorator(std::move(decorated)), recording(std::move(target))
{
    recording->operations.push_back({Operation::Kind::open, 0, 0, 0, {}, {}});
}

RecordingDevice::~RecordingDevice()
{
    recording->operations.push_back({Operation::Kind::close, 0, 0, 0, {}, {}});
}

Status RecordingDevice::doseek(std::uint64_t offset)
{
    const Status status = inner->seek(offset);
    recording->operations.push_back({Operation::Kind::seek, offset, 0, 0, status, {}});
    if (status.ok())
        position = offset;
    return status;
}

Transfer RecordingDevice::doread(void *buffer, std::size_t bytes)
{
    const Transfer transfer = inner->read(buffer, bytes);
    recording->operations.push_back(
        {Operation::Kind::read, position, bytes, transfer.bytes, transfer.status, {}});
    position += transfer.bytes;
    return transfer;
}

Transfer RecordingDevice::dowrite(const void *buffer, std::size_t bytes)
{
    const Transfer transfer = inner->write(buffer, bytes);
    recording->operations.push_back(
        {Operation::Kind::write, position, bytes, transfer.bytes, transfer.status, {}});
    position += transfer.bytes;
    return transfer;
}

Status RecordingDevice::ask(const char *name, const std::function<Status()> &request)
{
    const Status status = request();
    recording->operations.push_back({Operation::Kind::request, 0, 0, 0, status, name});
    return status;
}

} // namespace platform
