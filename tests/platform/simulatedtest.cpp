#include "platform/simulated/simulated.h"
#include "platform/readahead.h"

#include "tests/support/tempfolder.h"

#include <gtest/gtest.h>

using namespace platform;

// As real disks do; otherwise tests on simulated disks would miss such transfers.
TEST(Simulated, RefusesPartsOfSectorsAndWritesOfReaders)
{
    SimulatedBackend simulated;
    simulated.disks = {simulateddisk("sim", 1000 * 4096, 4096)};
    Status status;
    const auto disk = simulated.open("sim", Access::readwrite, status);
    const auto reader = simulated.open("sim", Access::read, status);
    const char bytes[4096] = {};
    EXPECT_EQ(disk->write(0, bytes, 512).status.fault, Fault::badargument);
    EXPECT_EQ(disk->write(512, bytes, 4096).status.fault, Fault::badargument);
    EXPECT_EQ(reader->write(0, bytes, 4096).status.fault, Fault::denied);
    // a disk that can't be claimed takes no write, and says why through every decorator
    ASSERT_TRUE(disk->claim().ok() && disk->refusal().empty());
    simulated.disks[0]->refusal = "held";
    const ReadAhead outer(simulated.open("sim", Access::readwrite, status));
    EXPECT_EQ(disk->write(0, bytes, 4096).status.fault, Fault::busy);
    EXPECT_EQ(outer.refusal(), "held");
}

// A caller that misses a failed open does no harm.
TEST(Platform, NoDiskFailsEveryOperation)
{
    Device &none = device(invalidhandle);
    std::uint64_t size = 0;
    char bytes[512];
    for (const Status &status : {none.read(0, bytes, 512).status, none.write(0, bytes, 512).status})
        EXPECT_EQ(status.fault, Fault::position);
    for (const Status &status : {none.flush(), none.partitionlength(size), none.updateproperties(),
                                 device(nullptr).filesize(size)})
        EXPECT_EQ(status.fault, Fault::badargument);
    platform::close(invalidhandle);
}

TEST(SectorStore, ASecondStoreReadsTheFirstOnesImage)
{
    const TempFolder folder;
    constexpr std::uint64_t size = std::uint64_t{5} << 30;
    EXPECT_TRUE(imagestore(folder / "image", size)->save(size - 512, "what", 4));
    std::string bytes(8, 'x');
    EXPECT_TRUE(imagestore(folder / "image", size)->load(size - 514, bytes.data(), 8));
    EXPECT_EQ(bytes, std::string("\0\0what\0\0", 8));
    EXPECT_EQ(imagestore(folder / "none/image", size), nullptr);
}
