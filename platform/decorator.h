#pragma once

#include "platform/device.h"

#include <memory>
#include <utility>

namespace platform
{

/// Passes everything on to another device, which it owns. Base of all decorators.
class Decorator : public Device
{
public:
    explicit Decorator(std::unique_ptr<Device> decorated) : inner(std::move(decorated)) {}

protected:
    Status doseek(std::uint64_t offset) override { return inner->seek(offset); }
    Transfer doread(void *buffer, std::size_t bytes) override { return inner->read(buffer, bytes); }
    Transfer dowrite(const void *buffer, std::size_t bytes) override
    {
        return inner->write(buffer, bytes);
    }
    Status doflush() override { return inner->flush(); }
    Status dopartitionlength(std::uint64_t &bytes) override
    {
        return inner->partitionlength(bytes);
    }
    Status dodrivegeometry(DriveGeometry &geometry) override
    {
        return inner->drivegeometry(geometry);
    }
    Status dofilesize(std::uint64_t &bytes) override { return inner->filesize(bytes); }
    Status dofilesizelow(std::uint32_t &bytes) override { return inner->filesizelow(bytes); }
    Status dosectorsize(std::uint32_t &bytes) override { return inner->sectorsize(bytes); }
    Status doidentitymap(std::uint8_t &map) override { return inner->identitymap(map); }
    Status doidentify(const IdentifyCommand &command, IdentifyData &data) override
    {
        return inner->identify(command, data);
    }
    Status doremovable(bool &answer) override { return inner->removable(answer); }
    Status doupdateproperties() override { return inner->updateproperties(); }

    std::unique_ptr<Device> inner;
};

} // namespace platform
