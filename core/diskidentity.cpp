#include "core/diskidentity.h"

#include "core/bytes.h"

#include <array>
#include <utility>

namespace
{

// "Its serial number is A, that of the chosen disk is B."
std::string sentence(const char *what, const std::string &found, const std::string &chosen)
{
    return std::string("Its ") + what + " is " + found + ", that of the chosen disk is " + chosen +
           ".";
}

} // namespace

std::string normalserial(std::string_view serial)
{
    std::string normal;
    for (const char c : serial) {
        if (c >= 'a' && c <= 'z')
            normal += static_cast<char>(c - 'a' + 'A');
        else if ((c >= 'A' && c <= 'Z') || (c >= '1' && c <= '9') || (c == '0' && !normal.empty()))
            normal += c;
    }
    return normal;
}

std::uint32_t serialchecksum(std::string_view normalised)
{
    if (normalised.empty())
        return 0;
    const std::uint32_t crc =
        crc32({reinterpret_cast<const std::uint8_t *>(normalised.data()), normalised.size()});
    // 0 stands for no serial number
    return crc != 0 ? crc : 1;
}

std::string differencefrom(const DiskIdentity &chosen, const DiskIdentity &found)
{
    const std::array<std::pair<const char *, std::string DiskIdentity::*>, 3> texts{
        {{"serial number", &DiskIdentity::serial},
         {"world wide name", &DiskIdentity::wwn},
         {"model", &DiskIdentity::model}}};
    for (const auto &[what, text] : texts) {
        if (!(chosen.*text).empty() && !(found.*text).empty() && chosen.*text != found.*text)
            return sentence(what, found.*text, chosen.*text);
    }
    if (chosen.bytes != 0 && found.bytes != 0 && chosen.bytes != found.bytes)
        return sentence("length in bytes", std::to_string(found.bytes),
                        std::to_string(chosen.bytes));
    if (chosen.bytespersector != 0 && found.bytespersector != 0 &&
        chosen.bytespersector != found.bytespersector)
        return sentence("sector length in bytes", std::to_string(found.bytespersector),
                        std::to_string(chosen.bytespersector));
    if (!chosen.instance.empty() && chosen.instance == found.instance)
        return {};
    // what both have is equal by now
    if ((!chosen.serial.empty() && !found.serial.empty()) ||
        (!chosen.wwn.empty() && !found.wwn.empty()))
        return {};
    if (!chosen.serial.empty() || !chosen.wwn.empty())
        return "It does not tell its serial number.";
    if (!chosen.instance.empty() && !found.instance.empty())
        return "The disk was removed, and has no serial number to know it by.";
    return {};
}
