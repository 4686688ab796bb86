#pragma once

#include "platform/device.h"

#include <functional>
#include <memory>
#include <utility>

namespace platform
{

/// Passes everything on to another device, which it owns. Base of all decorators.
///
/// A decorator overrides the seeks and transfers that it changes; of all other operations `ask`
/// alone.
class Decorator : public Device
{
public:
    explicit Decorator(std::unique_ptr<Device> decorated) : inner(std::move(decorated)) {}

protected:
    /// Puts one request, or a flush, to the device behind. `name` is that of the operation.
    virtual Status ask(const char *name, const std::function<Status()> &request)
    {
        static_cast<void>(name);
        return request();
    }

    Status doseek(std::uint64_t offset) override { return inner->seek(offset); }
    Transfer doread(void *buffer, std::size_t bytes) override { return inner->read(buffer, bytes); }
    Transfer dowrite(const void *buffer, std::size_t bytes) override
    {
        return inner->write(buffer, bytes);
    }
    Status doflush() final
    {
        return ask("flush", [this] { return inner->flush(); });
    }
    Status dopartitionlength(std::uint64_t &bytes) final
    {
        return ask("partitionlength", [&] { return inner->partitionlength(bytes); });
    }
    Status dodrivegeometry(DriveGeometry &geometry) final
    {
        return ask("drivegeometry", [&] { return inner->drivegeometry(geometry); });
    }
    Status dofilesize(std::uint64_t &bytes) final
    {
        return ask("filesize", [&] { return inner->filesize(bytes); });
    }
    Status dofilesizelow(std::uint32_t &bytes) final
    {
        return ask("filesizelow", [&] { return inner->filesizelow(bytes); });
    }
    Status dosectorsize(std::uint32_t &bytes) final
    {
        return ask("sectorsize", [&] { return inner->sectorsize(bytes); });
    }
    Status doidentitymap(std::uint8_t &map) final
    {
        return ask("identitymap", [&] { return inner->identitymap(map); });
    }
    Status doidentify(const IdentifyCommand &command, IdentifyData &data) final
    {
        return ask("identify", [&] { return inner->identify(command, data); });
    }
    Status doremovable(bool &answer) final
    {
        return ask("removable", [&] { return inner->removable(answer); });
    }
    Status doupdateproperties() final
    {
        return ask("updateproperties", [this] { return inner->updateproperties(); });
    }

    std::unique_ptr<Device> inner;
};

} // namespace platform
