#include "platform/monitor.h"

#include <utility>

namespace platform
{

namespace
{

thread_local std::shared_ptr<Monitor> scoped;

} // namespace

Monitor::Monitor(Cancelling allowed)
    : allowed(allowed), state(allowed == Cancelling::never ? State::uncancellable : State::free)
{
}

bool Monitor::cancel()
{
    State expected = State::free;
    return state.compare_exchange_strong(expected, State::cancelled) ||
           expected == State::cancelled;
}

bool Monitor::begintransfer(std::uint64_t offset, bool write, bool counted)
{
    if (write && allowed == Cancelling::untilwritten) {
        // either this or the cancel comes first
        State expected = State::free;
        state.compare_exchange_strong(expected, State::uncancellable);
    }
    if (cancelled())
        return false;
    if (counted) {
        lastoffset.store(offset, std::memory_order_relaxed);
        count.store(count.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    }
    return true;
}

MonitorScope::MonitorScope(std::shared_ptr<Monitor> monitor)
    : outer(std::exchange(scoped, std::move(monitor)))
{
}

MonitorScope::~MonitorScope()
{
    scoped = std::move(outer);
}

const std::shared_ptr<Monitor> &MonitorScope::current()
{
    return scoped;
}

} // namespace platform
