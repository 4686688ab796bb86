#include "platform/signatures.h"

#include "platform/linux/descriptor.h"
#include "platform/linux/probe.h"

#include <cstddef>
#include <set>

#include <sys/mman.h>
#include <unistd.h>

namespace platform
{

#ifdef QUARN_BLKID

namespace
{

/// Some file systems keep so many copies that a list of them helps nobody.
constexpr std::size_t maxsignatures = 32;

/// Appends what one probe finds, and takes it out of the image.
void probeonce(int image, std::uint32_t bytespersector, std::vector<Signature> &found)
{
    const Probe probe = probeof(image, 0, 0);
    if (!probe || blkid_probe_set_sectorsize(probe.get(), bytespersector) != 0)
        return;
    blkid_probe_enable_superblocks(probe.get(), 1);
    blkid_probe_set_superblocks_flags(probe.get(), BLKID_SUBLKS_TYPE | BLKID_SUBLKS_MAGIC);
    while (blkid_do_probe(probe.get()) == 0) {
        const char *magic = nullptr;
        std::size_t bytes = 0;
        const std::string offset = value(probe.get(), "SBMAGIC_OFFSET");
        if (offset.empty() || blkid_probe_lookup_value(probe.get(), "SBMAGIC", &magic, &bytes) != 0)
            continue;
        found.push_back({value(probe.get(), "TYPE"), std::stoull(offset)});
        const std::string zeros(bytes, '\0');
        if (::pwrite(image, zeros.data(), bytes, static_cast<off_t>(found.back().offset)) < 0)
            return;
    }
}

} // namespace

// libblkid gives up at the first sector that it can't read, so it gets a sparse image in memory.
std::vector<Signature> signatures(const std::map<std::uint64_t, std::vector<std::uint8_t>> &parts,
                                  std::uint64_t diskbytes, std::uint32_t bytespersector)
{
    const Descriptor image(::memfd_create("disk", MFD_CLOEXEC));
    if (!image.isopen() || ::ftruncate(image.get(), static_cast<off_t>(diskbytes)) != 0)
        return {};
    for (const auto &[offset, bytes] : parts) {
        if (::pwrite(image.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset)) !=
            static_cast<ssize_t>(bytes.size()))
            return {};
    }
    std::vector<Signature> found;
    std::size_t known = 0;
    do {
        known = found.size();
        probeonce(image.get(), bytespersector, found);
    } while (found.size() > known && found.size() < maxsignatures);
    return found;
}

#else

std::vector<Signature> signatures(const std::map<std::uint64_t, std::vector<std::uint8_t>> &,
                                  std::uint64_t, std::uint32_t)
{
    return {};
}

#endif

// wipefs, which knows best what to remove, gives up at the first sector that it can't read.
std::string removalcommands(const std::string &devicepath, const std::vector<Signature> &found,
                            bool damaged, std::uint32_t bytespersector)
{
    const std::string node = devicepath.substr(0, devicepath.find('#'));
    std::set<std::string> types;
    std::set<std::uint64_t> sectors;
    for (const Signature &one : found) {
        types.insert(one.type);
        sectors.insert(one.offset / bytespersector);
    }
    std::string text;
    if (damaged) {
        for (const std::uint64_t sector : sectors)
            text += "dd if=/dev/zero of=" + node + " bs=" + std::to_string(bytespersector) +
                    " seek=" + std::to_string(sector) + " count=1 oflag=direct\n";
        return text;
    }
    for (const std::string &type : types)
        text += (text.empty() ? "" : ",") + type;
    return "wipefs --all --types " + text + ' ' + node + '\n';
}

} // namespace platform
