// Catches a device that ends, refuses or fails otherwise than real ones do: a simulated disk hides
// such faults from all other tests, a plain file is what users try the program on.
#include "platform/plainfile.h"
#include "platform/readahead.h"
#include "platform/simulated/simulated.h"
#include "platform/timing.h"

#include "tests/platform/contract.h"
#include "tests/support/tempfolder.h"

#include <fstream>
#include <iterator>

using namespace platform;

TEST(Device, KeepsTheContract)
{
    Status status;
    for (const std::uint32_t sector : {512U, 4096U}) {
        SCOPED_TRACE(sector);
        SimulatedBackend simulated;
        simulated.disks = {simulateddisk("sim", 1000 * sector, sector)};
        keepscontract([&](Access access) { return simulated.open("sim", access, status); }, 1000,
                      sector);
    }
    const TempFolder folder;
    const std::string name = folder / "disk";
    std::ofstream(name, std::ios::binary).close();
    std::filesystem::resize_file(name, 1000 * 512);
    const bool direct = std::filesystem::path::preferred_separator == '/';
    keepscontract([&](Access access) { return nativebackend().open(name, access, status); }, 1000,
                  512, direct);
    const auto file = nativebackend().open(name, Access::read, status);
    char bytes[512];
    DriveGeometry geometry;
    std::uint8_t map = 0;
    EXPECT_EQ(file->read(~std::uint64_t{0} / 512 * 512, bytes, 512).status.fault, Fault::position);
    const auto times = std::make_shared<TransferTimes>(std::vector<std::uint64_t>{1000 * 512});
    file->timeby(times);
    for (const std::uint64_t at : {0, 512})
        EXPECT_TRUE(file->read(at, bytes, 512).status.ok());
    EXPECT_EQ(times->range(0).bytes > 1024, direct)
        << "a native device of known length reads ahead";
    EXPECT_FALSE(file->drivegeometry(geometry).ok());
    EXPECT_FALSE(file->identitymap(map).ok());
    EXPECT_EQ(nativebackend().open(folder / "missing", Access::readwrite, status), nullptr);
    EXPECT_EQ(status.fault, Fault::gone);
    EXPECT_EQ(status.code, 2) << "the system's error number, 2 on both systems";
}

// A disk that can't be claimed takes no write, and says why through every decorator. A caller that
// misses a failed open does no harm.
TEST(Device, RefusesWhatItMust)
{
    Status status;
    SimulatedBackend simulated;
    simulated.disks = {simulateddisk("sim", 4096)};
    ReadAhead disk(simulated.open("sim", Access::readwrite, status));
    EXPECT_TRUE(disk.claim().ok());
    EXPECT_EQ(disk.refusal(), "");
    // a write that ends inside a sector stores the whole ones
    simulated.disks[0]->faults->shortwrites = {{0, 700}};
    std::string out(1024, 'y'), in = out;
    EXPECT_EQ(disk.write(0, out.data(), 1024).bytes, 700U);
    EXPECT_EQ(disk.read(0, in.data(), 1024).bytes, 1024U);
    EXPECT_EQ(in, out.substr(512) + std::string(512, '\0'));
    simulated.disks[0]->refusal = "held";
    char bytes[512] = {};
    EXPECT_EQ(disk.write(0, bytes, 512).status.fault, Fault::busy);
    EXPECT_EQ(disk.refusal(), "held");

    Device &none = device(invalidhandle);
    std::uint64_t size = 0;
    EXPECT_EQ(none.read(0, bytes, 512).status.fault, Fault::position);
    EXPECT_EQ(none.write(0, bytes, 512).status.fault, Fault::position);
    for (const Status &one : {none.flush(), none.partitionlength(size), none.updateproperties(),
                              device(nullptr).filesize(size)})
        EXPECT_EQ(one.fault, Fault::badargument);
    platform::close(invalidhandle);
}

// The program's own files, as a resumed scan cuts and continues them.
TEST(PlainFile, IsWrittenAsItStandsAndNeverExtended)
{
    const TempFolder folder;
    const std::string name = folder / "file";
    const auto put = [&name](const char *mode, const char *text) {
        std::FILE *file = openplainfile(name.c_str(), mode);
        EXPECT_GE(std::fputs(text, file), 0);
        EXPECT_TRUE(syncplainfile(file));
        return file;
    };
    EXPECT_EQ(openplainfile(name.c_str(), "rb"), nullptr);
    std::fclose(put("ab", "gone"));
    std::fclose(put("wb", "one\r\n"));
    std::FILE *file = put("ab", "tw");
    EXPECT_TRUE(cutplainfile(name.c_str(), 5)) << "while open";
    EXPECT_FALSE(cutplainfile(name.c_str(), 6));
    EXPECT_GE(std::fputs("\n\x1athree", file), 0);
    std::fclose(file);
    std::ifstream stream(name, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), "one\r\n\n\x1athree")
        << "no byte is translated";
    EXPECT_EQ(openplainfile(name.c_str(), "r+"), nullptr);
    EXPECT_EQ(openplainfile(folder.path.c_str(), "rb"), nullptr);
    EXPECT_FALSE(cutplainfile(folder.path.c_str(), 0));
}
