#include "scan/scanfigures.h"

#include <cstdio>

namespace
{

std::string number(double value, const char *format)
{
    char text[32];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

// Hours, minutes and seconds as 1:02:03.
std::string clocktext(double seconds)
{
    const auto whole = static_cast<unsigned long long>(seconds);
    char text[48];
    std::snprintf(text, sizeof text, "%llu:%02llu:%02llu", whole / 3600, whole / 60 % 60,
                  whole % 60);
    return text;
}

} // namespace

std::string ScanFigures::text() const
{
    using State = SurfaceCell::State;
    if (sum.all.segments == sum.of(State::untested).segments)
        return {};
    std::string lines;
    if (run) {
        lines += "Done: " + std::to_string(run->percent()) + " %\n";
        lines += "Elapsed: " + clocktext(elapsed) + "\n";
    }
    if (run && ison) {
        const std::string left = run->lefttext();
        lines += "Left: " + (left.empty() ? "not known yet" : left) + "\n";
    }
    const std::string mean =
        sum.meanspeed >= 0 ? "mean " + number(sum.meanspeed, "%.1f") : std::string();
    if (ison && speednow >= 0)
        lines += "Speed: " + number(speednow, "%.1f MB/s") + (mean.empty() ? "" : ", ") + mean;
    else if (!mean.empty())
        lines += "Speed: " + mean + " MB/s";
    if (lines.empty() || lines.back() != '\n')
        lines += lines.empty() ? "" : "\n";
    lines += "Bad segments: " + std::to_string(sum.of(State::bad).segments) + "\n";
    if (sum.slowestread) {
        lines += "Slow segments: " + std::to_string(sum.of(State::slow).segments) + "\n";
        lines += "Slowest transfer: " + number(sum.slowestread->slowest, "%.0f ms") + "\n";
    }
    if (ison)
        lines +=
            "Last good read: " + (sincegood < 2 ? "just now" : number(sincegood, "%.0f s ago")) +
            "\n";
    lines.pop_back();
    return lines;
}
