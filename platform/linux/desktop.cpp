#include "platform/awake.h"

#ifdef QUARN_SYSTEMD

#include <fcntl.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstdint>

namespace platform
{

/// How long the service may take to answer, in microseconds.
static constexpr std::uint64_t patience = 2'000'000;

/// The service lets the machine sleep again when the descriptor is closed, in whatever way.
struct StayAwake::Hold {
    int descriptor;

    explicit Hold(int file) : descriptor(file) {}
    Hold(const Hold &) = delete;
    Hold &operator=(const Hold &) = delete;
    ~Hold() { ::close(descriptor); }
};

// The descriptor that stands for the wish; -1 if the service is not there or does not take it.
static int inhibit(const char *reason)
{
    sd_bus *bus = nullptr;
    sd_bus_message *call = nullptr;
    sd_bus_message *reply = nullptr;
    int descriptor = -1;
    int passed = -1;
    if (sd_bus_open_system(&bus) >= 0 &&
        sd_bus_message_new_method_call(bus, &call, "org.freedesktop.login1",
                                       "/org/freedesktop/login1", "org.freedesktop.login1.Manager",
                                       "Inhibit") >= 0 &&
        sd_bus_message_append(call, "ssss", "sleep:idle", "QUARN", reason, "block") >= 0 &&
        sd_bus_call(bus, call, patience, nullptr, &reply) >= 0 &&
        sd_bus_message_read(reply, "h", &passed) >= 0)
        descriptor = ::fcntl(passed, F_DUPFD_CLOEXEC, 0); // the message owns the one it brought
    sd_bus_message_unref(reply);
    sd_bus_message_unref(call);
    sd_bus_flush_close_unref(bus);
    return descriptor;
}

StayAwake::StayAwake(const char *reason)
{
    const int descriptor = inhibit(reason);
    if (descriptor >= 0)
        hold = std::make_unique<Hold>(descriptor);
}

} // namespace platform

#else

namespace platform
{

/// Built without the means to ask: the machine is left to itself.
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

} // namespace platform
