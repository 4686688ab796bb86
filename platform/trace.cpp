#include "platform/trace.h"

#include <cstdio>
#include <cstdlib>
#include <system_error>

namespace platform
{

const bool tracing = [] {
    const char *value = std::getenv("QUARN_TRACE");
    return value != nullptr && *value != '\0';
}();

void trace(const char *operation, const std::string &path, const Status &status,
           std::uint64_t offset, std::size_t bytes)
{
    std::string line = std::string("quarn: ") + operation + " " + path;
    if (bytes > 0)
        line += ", offset " + std::to_string(offset) + ", " + std::to_string(bytes) + " bytes";
    line += std::string(": ") + faultname(status.fault);
    if (status.code != 0)
        line += ", error " + std::to_string(status.code) + " (" +
                std::system_category().message(status.code) + ")";
    // one call, so that lines of several threads do not mix
    std::fputs((line + "\n").c_str(), stderr);
}

std::string reasontext(const Status &status)
{
    std::string words;
    if (status.code != 0)
        words = std::system_category().message(status.code);
    switch (status.fault) {
    case Fault::gone:
        return "the disk is not there";
    case Fault::busy:
        return "in use by another program";
    case Fault::denied:
        if (std::system_category().default_error_condition(status.code) ==
            std::errc::read_only_file_system)
            return "read-only";
        return "no rights" + (words.empty() ? "" : ": " + words);
    case Fault::medium:
        return "the medium failed" + (words.empty() ? "" : ": " + words);
    default:
        return words.empty() ? faultname(status.fault) : words;
    }
}

const char *faultname(Fault fault)
{
    switch (fault) {
    case Fault::none:
        return "none";
    case Fault::medium:
        return "medium";
    case Fault::gone:
        return "gone";
    case Fault::denied:
        return "denied";
    case Fault::busy:
        return "busy";
    case Fault::unsupported:
        return "unsupported";
    case Fault::badargument:
        return "badargument";
    case Fault::position:
        return "position";
    case Fault::cancelled:
        return "cancelled";
    case Fault::other:
        break;
    }
    return "other";
}

} // namespace platform
