#include "platform/awake.h"
#include "platform/windowicon.h"

#ifdef QUARN_SYSTEMD

#include "platform/linux/descriptor.h"

#include <fcntl.h>
#include <systemd/sd-bus.h>

#include <cstdint>

namespace platform
{

namespace
{

/// Timeout of the call to systemd-logind, in microseconds.
constexpr std::uint64_t calltimeout = 2'000'000;

template <auto release> struct Release {
    void operator()(auto *object) const { release(object); }
};
using Bus = std::unique_ptr<sd_bus, Release<sd_bus_flush_close_unref>>;
using Message = std::unique_ptr<sd_bus_message, Release<sd_bus_message_unref>>;

/// Takes an inhibitor lock; not open if logind is not there or refuses.
Descriptor inhibit(const char *reason)
{
    sd_bus *opened = nullptr;
    const int connected = sd_bus_open_system(&opened);
    const Bus bus(opened);
    sd_bus_message *made = nullptr;
    if (connected < 0 || sd_bus_message_new_method_call(
                             bus.get(), &made, "org.freedesktop.login1", "/org/freedesktop/login1",
                             "org.freedesktop.login1.Manager", "Inhibit") < 0)
        return {};
    const Message call(made);
    if (sd_bus_message_append(made, "ssss", "sleep:idle", "QUARN", reason, "block") < 0)
        return {};
    sd_bus_message *received = nullptr;
    const int answered = sd_bus_call(bus.get(), made, calltimeout, nullptr, &received);
    const Message reply(received);
    int passed = -1;
    if (answered < 0 || sd_bus_message_read(received, "h", &passed) < 0)
        return {};
    return Descriptor(::fcntl(passed, F_DUPFD_CLOEXEC, 0)); // the message owns `passed`
}

} // namespace

/// logind holds the inhibitor lock until the descriptor is closed.
struct StayAwake::Hold {
    Descriptor descriptor;
};

StayAwake::StayAwake(const char *reason)
{
    if (Descriptor descriptor = inhibit(reason); descriptor.isopen())
        hold = std::make_unique<Hold>(Hold{std::move(descriptor)});
}

} // namespace platform

#else

namespace platform
{

/// Without libsystemd there is no inhibitor lock.
struct StayAwake::Hold {
};

StayAwake::StayAwake(const char *) {}

} // namespace platform

#endif

namespace platform
{

StayAwake::~StayAwake() = default;

bool StayAwake::held() const
{
    return hold != nullptr;
}

bool setwindowicon(std::uintptr_t)
{
    return true;
}

} // namespace platform
