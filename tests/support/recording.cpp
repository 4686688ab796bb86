#include "tests/support/recording.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <utility>

namespace platform
{

namespace
{

using Kind = Operation::Kind;
using Disturbance = Recording::Disturbance;

/// Records every operation on another device, and disturbs one of them.
class RecordingDevice : public Decorator
{
public:
    RecordingDevice(std::unique_ptr<Device> decorated, std::shared_ptr<Recording> target)
        : Decorator(std::move(decorated)), recording(std::move(target))
    {
        recording->operations.push_back({Kind::open});
    }
    ~RecordingDevice() override
    {
        const auto hold = use();
        recording->operations.push_back({Kind::close});
    }

protected:
    Transfer doread(std::uint64_t offset, void *buffer, std::size_t bytes) override
    {
        const auto hold = use();
        Transfer transfer{{Fault::medium}, 0};
        if (!meets(Disturbance::fail))
            transfer = inner->read(offset, buffer, bytes);
        if (meets(Disturbance::cut)) {
            transfer.bytes /= 2;
            std::memset(static_cast<char *>(buffer) + transfer.bytes, 'x', bytes - transfer.bytes);
        }
        return kept(Kind::read, offset, bytes, transfer);
    }
    Transfer dowrite(std::uint64_t offset, const void *buffer, std::size_t bytes) override
    {
        const auto hold = use();
        Transfer transfer{{Fault::medium}, 0};
        if (meets(Disturbance::cut))
            transfer = {inner->write(offset, buffer, bytes / 2 / 512 * 512).status, bytes / 2};
        else if (!meets(Disturbance::fail))
            transfer = inner->write(offset, buffer, bytes);
        return kept(Kind::write, offset, bytes, transfer);
    }
    Status request(const char *name, const std::function<Status()> &call) override
    {
        const auto hold = use();
        const Status status = meets(Disturbance::fail) ? Status{Fault::medium} : call();
        recording->operations.push_back({Kind::request, 0, 0, 0, name});
        return status;
    }

private:
    /// The time of an operation.
    std::unique_lock<std::mutex> use()
    {
        std::unique_lock hold(busy, std::try_to_lock);
        ++recording->begun;
        recording->clashes += hold ? 0 : 1;
        return hold;
    }
    /// Whether this is what the next operation meets.
    [[nodiscard]] bool meets(Disturbance how) const
    {
        return recording->operations.size() == recording->victim && recording->disturbance == how;
    }
    Transfer kept(Kind kind, std::uint64_t offset, std::size_t bytes, const Transfer &transfer)
    {
        recording->operations.push_back({kind, offset, bytes, transfer.bytes});
        return transfer;
    }

    std::shared_ptr<Recording> recording;
    std::mutex busy;
};

} // namespace

std::string Recording::course(std::uint32_t bytespersector)
{
    std::string text;
    for (const Operation &one : std::exchange(operations, {})) {
        const char *const before = text.empty() ? "" : " ";
        if (one.bytes > 0)
            text += before + std::string(one.kind == Kind::write ? "w" : "r") +
                    std::to_string(one.offset / bytespersector) + "+" +
                    std::to_string(one.bytes / bytespersector);
        else if (one.what == "flush")
            text += before + one.what;
    }
    return text;
}

std::size_t Recording::count(Kind kind) const
{
    return static_cast<std::size_t>(std::ranges::count(operations, kind, &Operation::kind));
}

RecordedDisk::RecordedDisk(const SimulatedDisk &disk) : SimulatedDisk(disk)
{
    wrap = [target = recording](std::unique_ptr<Device> opened) -> std::unique_ptr<Device> {
        return std::make_unique<RecordingDevice>(std::move(opened), target);
    };
}

} // namespace platform
