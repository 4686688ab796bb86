#include "scan/scanspeed.h"

#include <cmath>
#include <cstdio>

namespace
{

// No estimate before: caches and spin-up distort the first seconds.
constexpr double firstseconds = 5;
// Time constant of the decay by which older segments lose weight. A disk gets slower from its first
// cylinder to its last, so the mean of the whole run would be too fast.
constexpr double memoryseconds = 300;

constexpr double bytespermb = 1e6;

// The two largest units, rounded to the smaller one.
std::string timetext(double seconds)
{
    if (seconds < 60)
        return "less than 1 min";
    const auto minutes = static_cast<unsigned long long>(std::llround(seconds / 60));
    if (minutes < 60)
        return std::to_string(minutes) + " min";
    if (minutes < 24 * 60)
        return std::to_string(minutes / 60) + " h " + std::to_string(minutes % 60) + " min";
    const unsigned long long hours = (minutes + 30) / 60;
    return std::to_string(hours / 24) + " d " + std::to_string(hours % 24) + " h";
}

} // namespace

ScanSpeed::ScanSpeed(std::uint64_t totalbytes, std::uint64_t donebytes)
    : total(totalbytes), done(donebytes)
{
}

void ScanSpeed::add(std::uint64_t bytes, double seconds, bool isbad)
{
    done += bytes;
    tested += bytes;
    spent += seconds;
    if (isbad) {
        ++bad;
        badbytes += bytes;
        badseconds += seconds;
    } else {
        const double kept = std::exp(-seconds / memoryseconds);
        goodbytes = goodbytes * kept + static_cast<double>(bytes);
        goodseconds = goodseconds * kept + seconds;
    }
}

std::optional<double> ScanSpeed::speed() const
{
    if (goodbytes <= 0 || goodseconds <= 0)
        return {};
    return goodbytes / goodseconds;
}

std::optional<double> ScanSpeed::secondsleft() const
{
    const std::optional<double> rate = speed();
    if (!rate || spent < firstseconds)
        return {};
    const auto left = static_cast<double>(total > done ? total - done : 0);
    // The rest is assumed to be damaged in the same proportion and at the same cost as so far.
    const double badleft = left * static_cast<double>(badbytes) / static_cast<double>(tested);
    const double badtime = badbytes ? badleft * badseconds / static_cast<double>(badbytes) : 0;
    return (left - badleft) / *rate + badtime;
}

int ScanSpeed::percent() const
{
    return total ? static_cast<int>(static_cast<long double>(done) * 100 / total) : 0;
}

std::string ScanSpeed::lefttext() const
{
    const std::optional<double> seconds = secondsleft();
    return seconds ? (*seconds < 60 ? "" : "about ") + timetext(*seconds) : std::string();
}

std::string ScanSpeed::text() const
{
    std::string words = std::to_string(percent()) + " % done, " + std::to_string(bad) +
                        (bad == 1 ? " bad segment" : " bad segments");
    if (const std::optional<double> rate = speed()) {
        char number[32];
        std::snprintf(number, sizeof number, ", %.1f MB/s", *rate / bytespermb);
        words += number;
    }
    if (const std::string left = lefttext(); !left.empty())
        words += ", " + left + " left";
    return words;
}
