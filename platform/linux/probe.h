#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>

#ifdef QUARN_BLKID
#include <blkid/blkid.h>

namespace platform
{

struct FreeProbe {
    void operator()(blkid_probe probe) const { blkid_free_probe(probe); }
};
using Probe = std::unique_ptr<std::remove_pointer_t<blkid_probe>, FreeProbe>;

/// A probe of a range of bytes; null on failure. 0 bytes: to the end.
inline Probe probeof(int descriptor, std::uint64_t offset, std::uint64_t bytes)
{
    Probe probe(blkid_new_probe());
    if (probe && blkid_probe_set_device(probe.get(), descriptor, static_cast<blkid_loff_t>(offset),
                                        static_cast<blkid_loff_t>(bytes)) != 0)
        return nullptr;
    return probe;
}

/// What a probe has found under this name; empty if nothing.
inline std::string value(blkid_probe probe, const char *name)
{
    const char *text = nullptr;
    return blkid_probe_lookup_value(probe, name, &text, nullptr) == 0 ? text : std::string();
}

} // namespace platform

#endif
