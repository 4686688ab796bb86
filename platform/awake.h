#pragma once

#include <memory>

namespace platform
{

/// Keeps the machine from sleeping during its lifetime: holds an inhibitor lock of the system.
/// Where there is no such lock the object does nothing; that is no error.
class StayAwake
{
public:
    /// `reason` is what the system shows to a user who lists the locks.
    explicit StayAwake(const char *reason);
    StayAwake(const StayAwake &) = delete;
    StayAwake &operator=(const StayAwake &) = delete;
    ~StayAwake();

    /// Whether the system granted the lock.
    [[nodiscard]] bool held() const;

private:
    struct Hold;
    std::unique_ptr<Hold> hold;
};

} // namespace platform
