#pragma once

#include "core/diskhandle.h"
#include "tests/support/recording.h"

#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <sstream>

/// Partitions by kind, first and last sector, and ":" with the type byte unless that is 7; "*"
/// marks an active one behind its type: "p0-99:83* e100-999:f l100-999". Their places are their
/// indices.
inline std::vector<PART> partsof(const std::string &text)
{
    std::vector<PART> parts;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        PART part;
        unsigned systype = 7;
        std::sscanf(word.c_str(), "%c%" SCNu64 "-%" SCNu64 ":%x", &part.kind, &part.start,
                    &part.stop, &systype);
        part.size = part.stop - part.start + 1;
        part.index = static_cast<char>(parts.size());
        part.bootflag = word.back() == '*' ? 0x80 : 0;
        part.systype = static_cast<char>(systype);
        parts.push_back(part);
    }
    return parts;
}

/// A backend for each test. Afterwards its handles are closed and the global geometry is reset.
class CoreTest : public ::testing::Test
{
protected:
    CoreTest() { platform::setbackend(&backend); }
    ~CoreTest() override
    {
        handles.clear();
        platform::setbackend(nullptr);
        g = geom{};
    }

    std::shared_ptr<platform::RecordedDisk> add(const std::string &path, std::uint64_t bytes,
                                                std::uint32_t bytespersector = 512)
    {
        auto disk = platform::recordeddisk(path, bytes, bytespersector);
        backend.disks.push_back(disk);
        return disk;
    }

    static std::vector<DISKINFO> list()
    {
        std::vector<DISKINFO> disks;
        getallhdinfo(disks);
        return disks;
    }

    void *opened(const std::string &path) { return handles.emplace_back(path.c_str()).get(); }

    /// Sets the global geometry to one of whole cylinders.
    static geom usegeometry(std::uint32_t bytespersector, std::uint32_t sectorspertrack,
                            std::uint32_t heads, std::uint64_t cylinders)
    {
        g = geom{};
        g.totalbytes = cylinders * bytespersector * sectorspertrack * heads;
        return g = withfactors(g, bytespersector, sectorspertrack, heads);
    }

    platform::SimulatedBackend backend;
    std::vector<DiskHandle> handles;
};
