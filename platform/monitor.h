#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

namespace platform
{

/// Lets one thread follow and cancel the transfers that another one makes. All functions may be
/// called by any thread.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): the counts stand apart on purpose
class Monitor
{
public:
    /// When a piece of work can be cancelled. `untilwritten`: until its first write.
    enum class Cancelling { always, untilwritten, never };

    explicit Monitor(Cancelling allowed = Cancelling::always);

    /// Has every further transfer fail with `Fault::cancelled`. False if it is too late, or the
    /// work can't be cancelled.
    bool cancel();
    [[nodiscard]] bool cancelled() const { return state == State::cancelled; }
    /// Whether `cancel` has an effect, or had one.
    [[nodiscard]] bool cancellable() const { return state != State::uncancellable; }

    /// The offset of the last transfer that was begun, in bytes.
    [[nodiscard]] std::uint64_t offset() const { return lastoffset; }
    /// Number of transfers begun.
    [[nodiscard]] std::uint64_t transfers() const { return count; }

    /// Called by a device before each transfer: whether to make it. `counted` for the device that
    /// the handle stands for, not for those that it decorates; one thread makes these.
    bool begintransfer(std::uint64_t offset, bool write, bool counted);

private:
    enum class State { free, uncancellable, cancelled };

    Cancelling allowed;
    std::atomic<State> state;
    // On a cache line of their own: a thread that reads ahead looks at the state all the time, and
    // would wait for each count.
    alignas(64) std::atomic<std::uint64_t> lastoffset = 0;
    std::atomic<std::uint64_t> count = 0;
};

/// While it lives, `monitor` watches all handles that this thread opens, until they are closed.
class MonitorScope
{
public:
    explicit MonitorScope(std::shared_ptr<Monitor> monitor);
    MonitorScope(const MonitorScope &) = delete;
    MonitorScope &operator=(const MonitorScope &) = delete;
    ~MonitorScope();

    /// The monitor of this thread; null without a scope.
    static const std::shared_ptr<Monitor> &current();

private:
    std::shared_ptr<Monitor> outer;
};

} // namespace platform
