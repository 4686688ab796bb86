#pragma once

#include <cstdint>

/// What a scan knows of one segment of its plan: a cell of the surface map.
struct SurfaceCell {
    enum class State {
        untested,
        good,
        slow,   ///< its slowest block read took as long as the limit, or longer
        bad,    ///< a transfer failed
        margin, ///< good itself, marked as the neighbour of a bad segment
        working ///< under test now
    };

    std::uint64_t start = 0; ///< first cylinder
    std::uint64_t stop = 0;  ///< last cylinder, inclusive
    State state = State::untested;
    double slowest = -1; ///< milliseconds of its slowest block read; negative: not measured
    double speed = -1;   ///< MB/s, of 10^6 bytes; negative: not measured
};

/// The classes of `SurfaceCell::slowest`; surface scanners use the same steps.
enum class LatencyClass { unknown, below50, below150, below500, above };

/// The class of a time in milliseconds.
constexpr LatencyClass latencyclass(double milliseconds)
{
    if (milliseconds < 0)
        return LatencyClass::unknown;
    if (milliseconds < 50)
        return LatencyClass::below50;
    if (milliseconds < 150)
        return LatencyClass::below150;
    return milliseconds < 500 ? LatencyClass::below500 : LatencyClass::above;
}
