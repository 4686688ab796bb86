#include "platform/atadescription.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iterator>

namespace platform
{

namespace
{

bool isblank(char c)
{
    return c == '\x7F' || (c >= '\0' && c <= ' ');
}

std::uint16_t word(const IdentifyData &identity, std::size_t number)
{
    return static_cast<std::uint16_t>(identity[2 * number] | identity[2 * number + 1] << 8);
}

/// Text of the words `first` to `last`, inclusive; the high byte of each is its first character.
std::string atatext(const IdentifyData &identity, std::size_t first, std::size_t last)
{
    std::string text;
    for (std::size_t i = first; i <= last; ++i) {
        text += static_cast<char>(identity[2 * i + 1]);
        text += static_cast<char>(identity[2 * i]);
    }
    return trimmed(text);
}

} // namespace

std::string trimmed(const std::string &text)
{
    const auto first = std::find_if_not(text.begin(), text.end(), isblank);
    const auto last = std::find_if_not(text.rbegin(), std::make_reverse_iterator(first), isblank);
    return {first, last.base()};
}

void describeata(const IdentifyData &identity, DiskDescription &description)
{
    if (const std::string serial = atatext(identity, 10, 19); !serial.empty())
        description.serial = serial;
    if (const std::string model = atatext(identity, 27, 46); !model.empty())
        description.model = model;
    // bits 14 and 15 say that word 87 is valid, bit 8 that there is a name
    if ((word(identity, 87) & 0xC100) == 0x4100) {
        char name[21];
        std::snprintf(name, sizeof name, "naa.%04x%04x%04x%04x", word(identity, 108),
                      word(identity, 109), word(identity, 110), word(identity, 111));
        description.wwn = name;
    }
}

} // namespace platform
