#include "scan/scanfile.h"

#include "core/bytes.h"
#include "platform/plainfile.h"
#include "scan/scanplan.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace
{

char uppercase(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// Names that Windows reserves for devices, in any folder and with any extension.
bool isdevicename(std::string_view name)
{
    std::string stem(name.substr(0, name.find('.')));
    std::transform(stem.begin(), stem.end(), stem.begin(), uppercase);
    while (!stem.empty() && stem.back() == ' ')
        stem.pop_back();
    for (const char *device : {"CON", "PRN", "AUX", "NUL", "CONIN$", "CONOUT$"}) {
        if (stem == device)
            return true;
    }
    return stem.size() == 4 && (stem.starts_with("COM") || stem.starts_with("LPT")) &&
           stem[3] >= '0' && stem[3] <= '9';
}

// Non-ASCII is replaced too: its encoding differs from system to system.
bool fitsname(char c)
{
    return c >= 0x20 && c < 0x7F && std::string_view("<>:\"/\\|?*").find(c) == std::string::npos;
}

// Offset of the checksum, in the reserved bytes of the header.
constexpr std::size_t checksumoffset = 12;
// How many characters of a serial number tell twins apart in a file's name.
constexpr std::size_t serialend = 8;

} // namespace

std::string scanfilename(const char *model)
{
    std::string name = model;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return !fitsname(c); }, '_');
    // Windows drops dots and blanks at the end. This covers "." and ".." as well.
    if (name.empty())
        name = "_";
    else if (name.back() == '.' || name.back() == ' ')
        name.back() = '_';
    if (isdevicename(name))
        name.insert(name.begin(), '_');
    return name;
}

std::string twinfilename(const char *model, const std::string &serial)
{
    const std::string end = serial.empty()
                                ? "no-serial"
                                : serial.substr(serial.size() - std::min(serial.size(), serialend));
    return scanfilename((std::string(model) + "-" + end).c_str());
}

std::array<std::uint8_t, geomsize> encodescanheader(const geom &geometry, std::uint32_t checksum)
{
    auto image = encodegeom(geometry);
    putlittle(&image[checksumoffset], checksum, 4);
    return image;
}

ScanFile parsescanfile(std::span<const std::uint8_t> image)
{
    ScanFile file;
    file.state = ScanFileState::damaged;
    if (image.size() < geomsize)
        return file;
    const geom geometry = decodegeom(image.first<geomsize>());
    if (!canplan(geometry))
        return file;

    std::vector<SEG> segs = makeplan(geometry);
    const std::uint64_t planend = segs.back().stop + 1;
    const std::span<const std::uint8_t> body = image.subspan(geomsize);
    const std::size_t records = std::min(body.size() / segsize, segs.size());
    std::uint64_t next = 0;
    for (std::size_t i = 0; i < records; ++i) {
        segs[i] = decodeseg(body.subspan(i * segsize).first<segsize>());
        if (segs[i].start != next || segs[i].stop < segs[i].start ||
            segs[i].stop >= geometry.cylinders)
            return file;
        next = segs[i].stop + 1;
    }
    const bool complete = records == segs.size();
    if (records == 0 || next != (complete ? planend : segs[records].start))
        return file;

    file.state = complete ? ScanFileState::complete : ScanFileState::partial;
    file.geometry = geometry;
    file.checksum = static_cast<std::uint32_t>(getlittle(&image[checksumoffset], 4));
    file.segs = std::move(segs);
    file.records = static_cast<int>(records);
    file.wholebytes = geomsize + records * segsize;
    file.ragged = !complete && image.size() > file.wholebytes;
    return file;
}

ScanFile readscanfile(const std::string &name)
{
    // Bytes behind the longest complete result are ignored.
    std::array<std::uint8_t, geomsize + maxsegments * segsize> image;
    std::FILE *stream = platform::openplainfile(name.c_str(), "rb");
    if (!stream)
        return {};
    const std::size_t length = std::fread(image.data(), 1, image.size(), stream);
    const bool failed = std::ferror(stream) != 0;
    std::fclose(stream);
    if (failed)
        return {};
    return parsescanfile(std::span(image).first(length));
}

std::string keptname(const std::string &name)
{
    return name + ".previous";
}

namespace
{

bool movefile(const std::string &from, const std::string &to)
{
    std::error_code error;
    std::filesystem::rename(from, to, error);
    return !error;
}

} // namespace

bool keepresult(const std::string &name)
{
    const ScanFile present = readscanfile(name);
    if (!present.holdsresult() || (present.state == ScanFileState::partial &&
                                   readkeptresult(name).state == ScanFileState::complete))
        return true;
    return movefile(name, keptname(name));
}

bool recallresult(const std::string &name, bool always)
{
    if (!readkeptresult(name).holdsresult() || (!always && readscanfile(name).holdsresult()))
        return false;
    return movefile(keptname(name), name);
}

void dropkeptresult(const std::string &name)
{
    std::error_code error;
    std::filesystem::remove(keptname(name), error);
}

ScanFile readkeptresult(const std::string &name)
{
    return readscanfile(keptname(name));
}
