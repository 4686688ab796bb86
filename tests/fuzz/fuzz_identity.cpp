#include "core/tlcore.h"
#include "scan/scanfile.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

// Arbitrary identity words: the model has no blank, fits its field, and is a plain file name.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    unsigned short words[256] = {};
    std::memcpy(words, data, std::min(size, sizeof words));
    const std::string model = getstring(words, 27, 46);
    const std::string name = scanfilename(model.c_str());
    if (model.size() > 40 || model.find(' ') != std::string::npos || name.empty() ||
        name.size() > 81 || name.find_first_of("/\\:") != std::string::npos || name == ".." ||
        name == "." || std::strlen(getstring(words, 0, 255)) > 256)
        std::abort();
    return 0;
}
