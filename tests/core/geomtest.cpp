// Catches a geometry that does not fit its disk, and numbers that run over.
#include "tests/core/coretest.h"

#include <cmath>

namespace
{

using Geometry = CoreTest;

TEST_F(Geometry, ImagesHaveTheirBytesInPlace)
{
    // the scan file of a whole run shows where each field lies
    const geom geometry = {
        255, 63, 512, 1ULL << 40, 3ULL << 40, 5ULL << 40, 0x0102030405060708, 7ULL << 40};
    auto image = encodegeom(geometry);
    image[13] = 0xEE; // the padding is ignored
    EXPECT_EQ(decodegeom(image), geometry);

    const SEG seg{243, 0x0807060504030201, -2};
    auto record = encodeseg(seg);
    const std::array<std::uint8_t, segsize> bytes = {
        0xF3, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7, 8, 0xFE, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0};
    EXPECT_EQ(record, bytes);
    record[21] = 0xEE;
    EXPECT_EQ(decodeseg(record), seg);
}

TEST_F(Geometry, ReportedGuessedOrRefused)
{
    auto disk = add("disk", 1'000'000'000);
    void *handle = opened("disk");
    geom geometry;
    disk->geometry = platform::DriveGeometry{100, 16, 63, 512};
    EXPECT_EQ(get_geometry(handle, &geometry), 0);
    // whole cylinders, not the device's 1,000,000,000 bytes
    EXPECT_EQ(geometry, (geom{16, 63, 512, 100, 1008, 516096, 51609600, 100800}));

    // no answer, and answers that can't be used: a zero, an impossible sector length, an overflow
    using Answer = std::optional<platform::DriveGeometry>;
    const std::uint32_t max = 0xFFFFFFFF;
    for (const Answer &answer : {Answer(), Answer({121, 0, 63, 512}), Answer({121, 255, 0, 512}),
                                 Answer({121, 255, 63, 0}), Answer({121, 255, 63, 520}),
                                 Answer({121, 255, 63, 8192}), Answer({121, max, max, 512}),
                                 Answer({121, 65536, 65536, 512}), Answer({~0ULL, 255, 63, 512})}) {
        disk->geometry = answer;
        EXPECT_EQ(get_geometry(handle, &geometry), -1);
        EXPECT_EQ(geometry, (geom{255, 63, 512, 121, 16065, 8225280, 1'000'000'000, 1'953'125}));
    }
    // the system's sector length, if it is within the limits
    const std::pair<std::uint32_t, std::uint32_t> lengths[] = {
        {4096, 4096}, {0, 512}, {256, 512}, {520, 512}, {8192, 512}};
    for (const auto &[answer, used] : lengths) {
        disk->sectorsize = answer;
        EXPECT_EQ(get_geometry(handle, &geometry), -1);
        EXPECT_EQ(geometry.bytespersector, used);
        EXPECT_EQ(geometry.totalsectors, 1'000'000'000U / used);
    }
}

TEST_F(Geometry, FactorsAndNumbersHaveBounds)
{
    EXPECT_EQ(checkgeomfactors(512, 63, 256), GeomFault::none);
    for (const long long bytes : {0, -512, 256, 1000, 8192})
        EXPECT_EQ(checkgeomfactors(bytes, 63, 255), GeomFault::bytespersector) << bytes;
    for (const long long sectors : {0, 64})
        EXPECT_EQ(checkgeomfactors(512, sectors, 255), GeomFault::sectorspertrack) << sectors;
    for (const long long heads : {0, 257})
        EXPECT_EQ(checkgeomfactors(512, 63, heads), GeomFault::heads) << heads;
    // products that overflow 64 bits
    EXPECT_FALSE(geomissound({0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 1, 0xFFFFFFFE00000001,
                              0xFFFFFFFE00000001 * 0xFFFFFFFF, ~0ULL, ~0ULL}));

    // more cylinders than the bytes hold
    EXPECT_FALSE(geomissound({255, 63, 512, 2, 16065, 8225280, 8225280, 16065}));
    const geom geometry = usegeometry(512, 63, 255, 1000);
    const std::pair<double, std::uint64_t> rows[] = {
        {8.225280, 1000}, {8.225279, 999}, {-1, 0}, {std::nan(""), 0}, {1e30, ~0ULL}};
    for (const auto &[gb, cylinders] : rows)
        EXPECT_EQ(gbtocylinders(gb, geometry), cylinders) << gb;
    EXPECT_EQ(gbtocylinders(1, geom{}), 0U);
}

} // namespace
