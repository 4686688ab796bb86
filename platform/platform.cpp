#include "platform/platform.h"

#include <cstdint>

namespace platform
{

namespace
{

Backend *chosen = nullptr;

/// Serves the invalid handle: every operation fails, so that a caller that misses a failed open
/// does no harm. Its transfers fail as on a handle that can't be positioned.
class RefusingDevice : public Device
{
protected:
    Transfer doread(std::uint64_t, void *, std::size_t) override { return {{Fault::position}, 0}; }
    Transfer dowrite(std::uint64_t, const void *, std::size_t) override
    {
        return {{Fault::position}, 0};
    }
    Status doflush() override { return failure; }
    Status dopartitionlength(std::uint64_t &) override { return failure; }
    Status dodrivegeometry(DriveGeometry &) override { return failure; }
    Status dofilesize(std::uint64_t &) override { return failure; }
    Status dofilesizelow(std::uint32_t &) override { return failure; }
    Status dosectorsize(std::uint32_t &) override { return failure; }
    Status doidentitymap(std::uint8_t &) override { return failure; }
    Status doidentify(const IdentifyCommand &, IdentifyData &) override { return failure; }
    Status doremovable(bool &) override { return failure; }
    Status dodescription(DiskDescription &) override { return failure; }
    Status doupdateproperties() override { return failure; }
    Status doclaim() override { return failure; }

private:
    static constexpr Status failure{Fault::badargument, 0};
};

bool isopen(void *handle)
{
    return handle != nullptr && handle != invalidhandle;
}

} // namespace

void *const invalidhandle = reinterpret_cast<void *>(~std::uintptr_t{0});

Backend &backend()
{
    return chosen != nullptr ? *chosen : nativebackend();
}

void setbackend(Backend *other)
{
    chosen = other;
}

void *open(const char *path, Access access, Status *status)
{
    Status outcome{Fault::badargument, 0};
    std::unique_ptr<Device> opened;
    if (path != nullptr && *path != '\0') {
        opened = backend().open(path, access, outcome);
        if (opened != nullptr)
            outcome = Status::success();
        else if (outcome.ok())
            outcome = {Fault::other, 0};
    }
    if (opened != nullptr)
        opened->watchby(MonitorScope::current());
    if (tracing && opened != nullptr)
        opened->traceas(path);
    else if (tracing)
        trace("open", path != nullptr ? path : "", outcome);
    if (status != nullptr)
        *status = outcome;
    return opened != nullptr ? opened.release() : invalidhandle;
}

void close(void *handle)
{
    const std::unique_ptr<Device> owned(isopen(handle) ? static_cast<Device *>(handle) : nullptr);
}

Device &device(void *handle)
{
    static RefusingDevice refusing;
    if (isopen(handle))
        return *static_cast<Device *>(handle);
    return refusing;
}

} // namespace platform
