#include "platform/signatures.h"

namespace platform
{

// Windows takes no disk as a whole past a partition table, and has no library that knows the
// signatures of systems that do.
std::vector<Signature> signatures(const std::map<std::uint64_t, std::vector<std::uint8_t>> &,
                                  std::uint64_t, std::uint32_t)
{
    return {};
}

std::string removalcommands(const std::string &, const std::vector<Signature> &, bool,
                            std::uint32_t)
{
    return {};
}

} // namespace platform
