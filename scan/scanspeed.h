#pragma once

#include <cstdint>
#include <optional>
#include <string>

/// Progress, speed and remaining time of a running scan. It has no clock; its owner passes how long
/// each segment took.
///
/// Healthy and damaged segments are counted apart: healthy ones take the time that the disk's rate
/// gives, damaged ones that of the drive's retries, which may be a hundred times as long.
class ScanSpeed
{
public:
    /// The longest text of a usual run.
    static constexpr const char *maxtext =
        "100 % done, 100 bad segments, 1000.0 MB/s, about 23 h 59 min left";

    ScanSpeed() = default;
    /// A run over a plan of `totalbytes` bytes, `donebytes` of which earlier runs have tested.
    /// Those count for the progress alone.
    ScanSpeed(std::uint64_t totalbytes, std::uint64_t donebytes);

    /// A segment of `bytes` bytes was tested in `seconds`, and found damaged or not.
    void add(std::uint64_t bytes, double seconds, bool bad);

    /// Bytes a second in recent healthy segments; nothing before the first one.
    [[nodiscard]] std::optional<double> speed() const;
    /// Estimated seconds for the rest; nothing in the first seconds, and before there was a healthy
    /// segment.
    [[nodiscard]] std::optional<double> secondsleft() const;
    /// Done so far, rounded down, so that 100 % means all of it.
    [[nodiscard]] int percent() const;
    /// `secondsleft` in words: "about 2 h 10 min"; empty if it is not known.
    [[nodiscard]] std::string lefttext() const;
    /// "41 % done, 3 bad segments, 92.4 MB/s, about 2 h 10 min left", as far as it is known.
    [[nodiscard]] std::string text() const;

private:
    std::uint64_t total = 0;  ///< bytes of the plan
    std::uint64_t done = 0;   ///< of these, tested by this run or an earlier one
    std::uint64_t tested = 0; ///< of these, tested by this run
    double spent = 0;         ///< seconds of this run
    int bad = 0;              ///< damaged segments of this run
    std::uint64_t badbytes = 0;
    double badseconds = 0;
    double goodbytes = 0;   ///< of healthy segments, weighted by `memoryseconds`
    double goodseconds = 0; ///< the same
};
