#pragma once

#include "platform/device.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace platform
{

/// Forwards everything to another device, which it owns. Base of all decorators.
///
/// A decorator overrides the transfers that it changes, and `request` for all other operations.
class Decorator : public Device
{
public:
    explicit Decorator(std::unique_ptr<Device> decorated) : inner(std::move(decorated)) {}

    [[nodiscard]] std::string refusal() const final { return inner->refusal(); }
    void watchby(std::shared_ptr<Monitor> watcher, bool counts = true) override
    {
        inner->watchby(watcher, false);
        Device::watchby(std::move(watcher), counts);
    }
    void timeby(std::shared_ptr<TransferTimes> newtimes) override
    {
        inner->timeby(newtimes);
        Device::timeby(std::move(newtimes));
    }

protected:
    /// Makes one request, or a flush, by `call`, which forwards it to the inner device. `name` is
    /// the operation's name.
    virtual Status request(const char *name, const std::function<Status()> &call)
    {
        static_cast<void>(name);
        return call();
    }

    Transfer doread(std::uint64_t offset, void *buffer, std::size_t bytes) override
    {
        return inner->read(offset, buffer, bytes);
    }
    Transfer dowrite(std::uint64_t offset, const void *buffer, std::size_t bytes) override
    {
        return inner->write(offset, buffer, bytes);
    }
    Status dogatherwrites(Gathering step) override
    {
        return request("gatherwrites", [this, step] { return inner->gatherwrites(step); });
    }
    Status doflush() final
    {
        return request("flush", [this] { return inner->flush(); });
    }
    Status dopartitionlength(std::uint64_t &bytes) final
    {
        return request("partitionlength", [&] { return inner->partitionlength(bytes); });
    }
    Status dodrivegeometry(DriveGeometry &geometry) final
    {
        return request("drivegeometry", [&] { return inner->drivegeometry(geometry); });
    }
    Status dofilesize(std::uint64_t &bytes) final
    {
        return request("filesize", [&] { return inner->filesize(bytes); });
    }
    Status dofilesizelow(std::uint32_t &bytes) final
    {
        return request("filesizelow", [&] { return inner->filesizelow(bytes); });
    }
    Status dolength(std::uint64_t &bytes) final
    {
        return request("length", [&] { return inner->length(bytes); });
    }
    Status dosectorsize(std::uint32_t &bytes) final
    {
        return request("sectorsize", [&] { return inner->sectorsize(bytes); });
    }
    Status doidentitymap(std::uint8_t &map) final
    {
        return request("identitymap", [&] { return inner->identitymap(map); });
    }
    Status doidentify(const IdentifyCommand &command, IdentifyData &data) final
    {
        return request("identify", [&] { return inner->identify(command, data); });
    }
    Status doremovable(bool &answer) final
    {
        return request("removable", [&] { return inner->removable(answer); });
    }
    Status dodescription(DiskDescription &answer) final
    {
        return request("description", [&] { return inner->description(answer); });
    }
    Status doupdateproperties() final
    {
        return request("updateproperties", [this] { return inner->updateproperties(); });
    }
    Status doclaim() final
    {
        return request("claim", [this] { return inner->claim(); });
    }

    std::unique_ptr<Device> inner;
};

} // namespace platform
