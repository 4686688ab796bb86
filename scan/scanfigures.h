#pragma once

#include "scan/scanspeed.h"
#include "scan/surfacesum.h"

#include <optional>
#include <string>

/// The figures of a scan as text, a line each. It has no clock; its owner passes the times.
struct ScanFigures {
    SurfaceSum sum;                 ///< of the cells, which must live as long
    std::optional<ScanSpeed> run{}; ///< of the run that is on, or was the last one
    double elapsed = 0;             ///< seconds of that run
    bool ison = false;              ///< whether the run is on; the rest is of use only then
    double speednow = -1; ///< MB/s, of 10^6 bytes, where it reads now; negative: not known
    double sincegood = 0; ///< seconds since a read last succeeded

    /// A usual text of the greatest width.
    static constexpr const char *widest = "Speed: 1000.0 MB/s, mean 1000.0";

    /// Lines of a text at most.
    static constexpr int mostlines = 8;

    /// What is not known is left out; empty if nothing is.
    [[nodiscard]] std::string text() const;
};
