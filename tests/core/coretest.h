#pragma once

#include "core/tlcore.h"
#include "platform/simulated/simulated.h"

#include <gtest/gtest.h>

/// A backend of its own for each test, and the global geometry put back afterwards.
class CoreTest : public ::testing::Test
{
protected:
    CoreTest() { platform::setbackend(&backend); }
    ~CoreTest() override
    {
        platform::setbackend(nullptr);
        g = geom{};
    }

    std::shared_ptr<platform::SimulatedDisk> add(std::shared_ptr<platform::SimulatedDisk> disk)
    {
        backend.disks.push_back(disk);
        return disk;
    }

    /// A geometry of whole cylinders, as if the system had reported it; also the global one.
    static geom usegeometry(std::uint32_t bytespersector, std::uint32_t sectorspertrack,
                            std::uint32_t heads, std::uint64_t cylinders)
    {
        geom geometry;
        geometry.totalbytes =
            cylinders * bytespersector * static_cast<std::uint64_t>(sectorspertrack) * heads;
        g = withfactors(geometry, bytespersector, sectorspertrack, heads);
        return g;
    }

    platform::SimulatedBackend backend;
};

/// An open disk for the length of a scope.
class OpenDisk
{
public:
    explicit OpenDisk(const std::string &path) : handle(opendisk(path.c_str())) {}
    OpenDisk(const OpenDisk &) = delete;
    OpenDisk &operator=(const OpenDisk &) = delete;
    ~OpenDisk() { closedisk(handle); }
    operator void *() const { return handle; }

private:
    void *handle;
};
