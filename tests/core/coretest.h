#pragma once

#include "core/diskhandle.h"
#include "tests/support/recording.h"

#include <gtest/gtest.h>

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
