#include "tests/core/coretest.h"

#include <cmath>
#include <limits>

namespace
{

class Geometry : public CoreTest
{
};

TEST_F(Geometry, ImagesHaveTheirBytesInPlace)
{
    geom geometry;
    geometry.heads = 255;
    geometry.sectorspertrack = 63;
    geometry.bytespersector = 512;
    geometry.cylinders = 121601;
    geometry.sectorspercyl = 16065;
    geometry.bytespercyl = 8225280;
    geometry.totalbytes = 0x0102030405060708;
    geometry.totalsectors = 0x1112131415161718;
    auto image = encodegeom(geometry);
    const std::array<std::uint8_t, geomsize> expected = {
        0xFF, 0,    0,    0,    63,   0,    0,    0,
        0,    2,    0,    0,    0,    0,    0,    0, // factors and padding
        0x01, 0xDB, 1,    0,    0,    0,    0,    0,
        0xC1, 0x3E, 0,    0,    0,    0,    0,    0, // cylinders, sectors of one
        0x00, 0x82, 0x7D, 0,    0,    0,    0,    0,
        8,    7,    6,    5,    4,    3,    2,    1,     // bytes of one, all bytes
        0x18, 0x17, 0x16, 0x15, 0x14, 0x13, 0x12, 0x11}; // all sectors
    EXPECT_EQ(image, expected);
    image[13] = 0xEE; // the padding means nothing
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
    auto disk = add(platform::simulateddisk("disk", 1'000'000'000));
    OpenDisk handle("disk");

    disk->geometry = platform::DriveGeometry{100, 16, 63, 512};
    geom geometry;
    EXPECT_EQ(get_geometry(handle, &geometry), 0);
    EXPECT_EQ(geometry.totalbytes, 100ULL * 16 * 63 * 512); // not the device's 1,000,000,000
    EXPECT_EQ(geometry.sectorspercyl, 16U * 63);
    EXPECT_EQ(geometry.totalsectors, 100ULL * 16 * 63);

    // no answer, and answers that are no geometry: a zero, an impossible sector, an overflow
    using Answer = std::optional<platform::DriveGeometry>;
    const std::uint32_t most = 0xFFFFFFFF;
    for (const Answer &answer : {Answer(), Answer({121, 0, 63, 512}), Answer({121, 255, 0, 512}),
                                 Answer({121, 255, 63, 0}), Answer({121, 255, 63, 520}),
                                 Answer({121, 255, 63, 8192}), Answer({121, most, most, 512}),
                                 Answer({121, 65536, 65536, 512}), Answer({~0ULL, 255, 63, 512})}) {
        disk->geometry = answer;
        EXPECT_EQ(get_geometry(handle, &geometry), -1);
        EXPECT_EQ(geometry.heads, 255U);
        EXPECT_EQ(geometry.sectorspertrack, 63U);
        EXPECT_EQ(geometry.bytespersector, 512U);
        EXPECT_EQ(geometry.cylinders, 121U);
        EXPECT_EQ(geometry.totalbytes, 1'000'000'000U);
        EXPECT_EQ(geometry.totalsectors, 1'953'125U);
    }
    // the system's own length of a sector, where it is one
    const std::pair<std::uint32_t, std::uint32_t> lengths[] = {
        {4096, 4096}, {1024, 1024}, {0, 512}, {256, 512}, {520, 512}, {8192, 512}};
    for (const auto &[answer, used] : lengths) {
        disk->sectorsize = answer;
        EXPECT_EQ(get_geometry(handle, &geometry), -1);
        EXPECT_EQ(geometry.bytespersector, used);
        EXPECT_EQ(geometry.totalsectors, 1'000'000'000U / used);
    }
    const geom changed = withfactors(geometry, 512, 63, 16);
    EXPECT_EQ(changed.sectorspercyl, 1008U);
    EXPECT_EQ(changed.cylinders, 1'000'000'000U / (1008 * 512));
}

TEST_F(Geometry, TypedFactorsAndStoredHeadersAreJudged)
{
    EXPECT_EQ(checkgeomfactors(512, 63, 256), GeomFault::none);
    EXPECT_EQ(checkgeomfactors(4096, 1, 1), GeomFault::none);
    for (const long long bytes : {0, -512, 256, 511, 1000, 8192})
        EXPECT_EQ(checkgeomfactors(bytes, 63, 255), GeomFault::bytespersector) << bytes;
    EXPECT_EQ(checkgeomfactors(512, 0, 255), GeomFault::sectorspertrack);
    EXPECT_EQ(checkgeomfactors(512, 64, 255), GeomFault::sectorspertrack);
    EXPECT_EQ(checkgeomfactors(512, 63, 0), GeomFault::heads);
    EXPECT_EQ(checkgeomfactors(512, 63, 257), GeomFault::heads);

    const geom sound = usegeometry(512, 63, 255, 1000);
    EXPECT_TRUE(geomissound(sound));
    const auto broken = [&](auto change) {
        geom geometry = sound;
        change(geometry);
        return !geomissound(geometry);
    };
    EXPECT_TRUE(broken([](geom &x) { x.heads = 0; }));
    EXPECT_TRUE(broken([](geom &x) { x.sectorspertrack = 0; }));
    EXPECT_TRUE(broken([](geom &x) { x.bytespersector = 0; }));
    EXPECT_TRUE(broken([](geom &x) { x.sectorspercyl++; }));
    EXPECT_TRUE(broken([](geom &x) { x.bytespercyl *= 2; }));
    EXPECT_TRUE(broken([](geom &x) { x.cylinders++; }));
    EXPECT_TRUE(broken([](geom &x) {
        x.heads = x.sectorspertrack = x.bytespersector = 0xFFFFFFFF; // wraps round in 64 bits
        x.sectorspercyl = 0xFFFFFFFE00000001;
        x.bytespercyl = x.sectorspercyl * 0xFFFFFFFF;
        x.cylinders = 1;
    }));
}

TEST_F(Geometry, GigabytesTurnIntoCylindersWithoutUndefinedValues)
{
    const geom geometry = usegeometry(512, 63, 255, 1000);
    EXPECT_EQ(gbtocylinders(8.225280, geometry), 1000U);
    EXPECT_EQ(gbtocylinders(8.225279, geometry), 999U);
    EXPECT_EQ(gbtocylinders(-1, geometry), 0U);
    EXPECT_EQ(gbtocylinders(std::nan(""), geometry), 0U);
    EXPECT_EQ(gbtocylinders(1e30, geometry), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(gbtocylinders(std::numeric_limits<double>::infinity(), geometry),
              std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(gbtocylinders(1, geom{}), 0U);
    EXPECT_DOUBLE_EQ(cylinderstogb(1000, geometry), 8.22528);
}

TEST_F(Geometry, SectorsMoveWholeOrNotAtAll)
{
    // positions beyond 2^32 bytes and beyond 2^32 sectors
    for (const std::uint32_t sectorbytes : {512U, 4096U}) {
        const std::string path = "disk" + std::to_string(sectorbytes);
        auto disk = add(platform::simulateddisk(path, (5ULL << 32) * sectorbytes, sectorbytes));
        usegeometry(sectorbytes, 63, 255, 1);
        OpenDisk handle(path);
        const unsigned long long far = (4ULL << 32) + 7;
        std::vector<char> out(sectorbytes, 'x');
        std::vector<char> in(sectorbytes);
        EXPECT_EQ(writeasector(handle, far, out.data()), 0);
        EXPECT_EQ(readasector(handle, far, in.data()), 0);
        EXPECT_EQ(in, out);
        EXPECT_EQ(readasector(handle, 7, in.data()), 0);
        EXPECT_EQ(in, std::vector<char>(sectorbytes));

        disk->faults->unreadable.add(9);
        disk->faults->shortreads[10] = sectorbytes / 2;
        disk->faults->shortwrites[10] = sectorbytes / 2;
        EXPECT_EQ(readasector(handle, 9, in.data()), 1);
        EXPECT_EQ(readasector(handle, 10, in.data()), 1);
        EXPECT_EQ(writeasector(handle, 10, in.data()), 1);
        EXPECT_EQ(readasector(handle, 8, in.data()), 0); // the handle stays usable
        EXPECT_TRUE(diskpresent(handle));
        disk->faults->vanishafter = 0;
        EXPECT_FALSE(diskpresent(handle));
    }
    EXPECT_EQ(opendisk("no such disk"), invaliddisk);
    EXPECT_FALSE(diskpresent(invaliddisk));
}

} // namespace
