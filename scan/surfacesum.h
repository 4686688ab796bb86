#pragma once

#include "core/geom.h"
#include "core/surface.h"

#include <array>
#include <cstdint>
#include <span>

/// The cells of a scan, summed up for report and verdict.
struct SurfaceSum {
    using State = SurfaceCell::State;
    struct Share {
        int segments = 0;
        std::uint64_t bytes = 0;
    };

    SurfaceSum(std::span<const SurfaceCell> cells, const geom &geometry);

    [[nodiscard]] const Share &of(State state) const { return states[static_cast<int>(state)]; }
    /// Whether every segment was tested.
    [[nodiscard]] bool iswhole() const
    {
        return all.segments > 0 && of(State::untested).segments + of(State::working).segments == 0;
    }

    std::array<Share, 6> states{}; ///< by `SurfaceCell::State`
    std::array<int, 5> classes{};  ///< segments by `LatencyClass`
    Share all;                     ///< of the plan
    double meanspeed = -1;         ///< MB/s over all that was measured; negative: nothing
    const SurfaceCell *slowestspeed = nullptr; ///< of `cells`; null: no speed was measured
    const SurfaceCell *slowestread = nullptr;  ///< of `cells`; null: no time was measured
};
