#include "tests/support/disturbed.h"

#include "platform/decorator.h"

#include <cstring>
#include <utility>

namespace platform
{

namespace
{

/// Counts each call at its backend, which may disturb it.
class DisturbedDevice : public Decorator
{
public:
    DisturbedDevice(std::unique_ptr<Device> decorated, DisturbedBackend &asked)
        : Decorator(std::move(decorated)), backend(asked)
    {
    }

protected:
    Transfer doread(std::uint64_t offset, void *buffer, std::size_t bytes) override
    {
        bool cut = false;
        if (const Status status = backend.enter(true, &cut); !status.ok())
            return {status, 0};
        std::vector<char> whole(bytes);
        Transfer transfer = inner->read(offset, whole.data(), bytes);
        if (cut)
            transfer.bytes /= 2;
        if (transfer.bytes > 0)
            std::memcpy(buffer, whole.data(), transfer.bytes);
        return transfer;
    }

    Transfer dowrite(std::uint64_t offset, const void *buffer, std::size_t bytes) override
    {
        bool cut = false;
        if (const Status status = backend.enter(true, &cut); !status.ok())
            return {status, 0};
        if (!cut)
            return inner->write(offset, buffer, bytes);
        const std::size_t stored = bytes / 2 / backend.bytespersector * backend.bytespersector;
        Transfer transfer = inner->write(offset, buffer, stored);
        if (transfer.status.ok())
            transfer.bytes = bytes / 2;
        return transfer;
    }

    Status request(const char *, const std::function<Status()> &call) override
    {
        const Status status = backend.enter();
        return status.ok() ? call() : status;
    }

private:
    DisturbedBackend &backend;
};

} // namespace

Status DisturbedBackend::enter(bool transfer, bool *cut)
{
    const std::uint64_t number = calls.size();
    calls.push_back(transfer);
    switch (disturbance) {
    case Disturbance::fail:
        return {number == victim ? Fault::medium : Fault::none, 0};
    case Disturbance::gone:
        return {number >= victim ? Fault::gone : Fault::none, 0};
    case Disturbance::cut:
        if (cut != nullptr)
            *cut = number == victim;
        break;
    case Disturbance::none:
        break;
    }
    return Status::success();
}

Status DisturbedBackend::systemvolumes(std::vector<std::string> &paths)
{
    const Status status = enter();
    return status.ok() ? inner.systemvolumes(paths) : status;
}

Status DisturbedBackend::listdisks(std::vector<std::string> &paths)
{
    const Status status = enter();
    return status.ok() ? inner.listdisks(paths) : status;
}

std::unique_ptr<Device> DisturbedBackend::open(const std::string &path, Access access,
                                               Status &status)
{
    status = enter();
    if (!status.ok())
        return nullptr;
    std::unique_ptr<Device> device = inner.open(path, access, status);
    if (device == nullptr)
        return nullptr;
    return std::make_unique<DisturbedDevice>(std::move(device), *this);
}

Status DisturbedBackend::inuse(const std::string &path, std::string &reason, bool &claimable)
{
    const Status status = enter();
    return status.ok() ? inner.inuse(path, reason, claimable) : status;
}

} // namespace platform
