#pragma once

#include <memory>

namespace platform
{

/// Keeps the machine from going to sleep for as long as it lives. A system without such a service
/// is no failure: the object then does nothing.
class StayAwake
{
public:
    /// `reason` is shown to users who ask their system what holds it awake.
    explicit StayAwake(const char *reason);
    StayAwake(const StayAwake &) = delete;
    StayAwake &operator=(const StayAwake &) = delete;
    ~StayAwake();

    /// Whether the system took the wish.
    [[nodiscard]] bool held() const;

private:
    struct Hold;
    std::unique_ptr<Hold> hold;
};

} // namespace platform
