#include "core/tlcore.h"
#include "scan/scanfile.h"

#include <cstdlib>
#include <cstring>

// An arbitrary device path: the model is terminated and has no '&' or '#', and nothing behind the
// path is read.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string path(reinterpret_cast<const char *>(data), size);
    char model[sizeof(DISKINFO::model)];
    std::memset(model, '#', sizeof model);
    const int result = getusbsnmodel(path.c_str(), model);
    if (std::memchr(model, '\0', sizeof model) == nullptr || std::strpbrk(model, "&#") != nullptr ||
        (result != 0 && model[0] != '\0') || scanfilename(model).find('/') != std::string::npos)
        std::abort();
    return 0;
}
