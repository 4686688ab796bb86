#pragma once

#include <utility>

#include <unistd.h>

namespace platform
{

/// Owns a file descriptor; negative: none.
class Descriptor
{
public:
    Descriptor() = default;
    explicit Descriptor(int opened) : number(opened) {}
    Descriptor(Descriptor &&other) noexcept : number(other.release()) {}
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        std::swap(number, other.number);
        return *this;
    }
    ~Descriptor()
    {
        if (number >= 0)
            ::close(number);
    }

    [[nodiscard]] bool isopen() const { return number >= 0; }
    [[nodiscard]] int get() const { return number; }
    int release() { return std::exchange(number, -1); }

private:
    int number = -1;
};

} // namespace platform
