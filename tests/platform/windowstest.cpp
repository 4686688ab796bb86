#include "platform/awake.h"
#include "platform/plainfile.h"
#include "platform/windows/faults.h"
#include "platform/windows/windowsbackend.h"
#include "platform/windows/windowsdevice.h"

#include "tests/support/tempfolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <vector>

using namespace platform;

TEST(Faults, DeviceGoneIsToldFromMedium)
{
    const struct {
        Fault fault;
        std::vector<DWORD> codes;
    } table[] = {
        {Fault::none, {0}},
        {Fault::medium, {21, 23, 25, 27, 29, 30, 31, 121, 483, 1117, 1127, 1128, 1392, 1393}},
        {Fault::gone, {2, 3, 15, 20, 34, 55, 321, 433, 1006, 1110, 1112, 1167, 1617, 4319}},
        {Fault::denied, {5, 19, 740, 1314}},
        {Fault::busy, {32, 33, 108, 170, 2404}},
        {Fault::unsupported, {1, 50, 120, 316}},
        {Fault::badargument, {6, 24, 87, 123, 131, 161, 327}},
        {Fault::other, {8, 112, 995, 1450, 0xFFFFFFFF}},
    };
    for (const auto &row : table) {
        for (const DWORD code : row.codes)
            EXPECT_EQ(faultof(code), row.fault) << code;
    }
}

TEST(WindowsDevice, MovesBytesAndKeepsTheCodeOfAFailure)
{
    TempFolder folder;
    const std::string name = folder / "disk";
    constexpr std::uint64_t size = 8ULL << 20;
    std::ofstream(name, std::ios::binary).close();
    std::filesystem::resize_file(name, size);

    Status status;
    EXPECT_EQ(WindowsDevice::open(folder / "missing", Access::readwrite, status), nullptr);
    EXPECT_EQ(status.fault, Fault::gone);
    EXPECT_EQ(status.code, ERROR_FILE_NOT_FOUND);

    // with what the backend puts around it
    status = {};
    const auto disk = nativebackend().open(name, Access::readwrite, status);
    ASSERT_NE(disk, nullptr) << status.code;
    std::uint64_t bytes = 0;
    std::uint32_t low = 0;
    EXPECT_TRUE(disk->filesize(bytes).ok());
    EXPECT_TRUE(disk->filesizelow(low).ok());
    EXPECT_EQ(bytes, size);
    EXPECT_EQ(low, size);
    std::vector<char> out(1024, 'a');
    std::vector<char> in(1024);
    ASSERT_TRUE(disk->seek(size - 1024).ok());
    EXPECT_EQ(disk->write(out.data(), out.size()).bytes, out.size());
    EXPECT_TRUE(disk->flush().ok());
    ASSERT_TRUE(disk->seek(size - 1024).ok());
    Transfer transfer = disk->read(in.data(), in.size());
    EXPECT_TRUE(transfer.status.ok());
    EXPECT_EQ(transfer.bytes, in.size());
    EXPECT_EQ(in, out);
    // a short transfer is no failure here, and no whole one either
    ASSERT_TRUE(disk->seek(size - 512).ok());
    transfer = disk->read(in.data(), in.size());
    EXPECT_TRUE(transfer.status.ok());
    EXPECT_EQ(transfer.bytes, 512U);

    // a file has no answers of a disk
    DriveGeometry geometry;
    std::uint8_t map = 0;
    IdentifyData identity;
    bool removable = false;
    for (const Status &refusal :
         {disk->partitionlength(bytes), disk->drivegeometry(geometry), disk->identitymap(map),
          disk->identify({}, identity), disk->removable(removable)}) {
        EXPECT_FALSE(refusal.ok());
        EXPECT_NE(refusal.code, 0);
    }

    EXPECT_TRUE(disk->updateproperties().ok()) << "nobody reads tables there";

    const auto reader = nativebackend().open(name, Access::read, status);
    ASSERT_NE(reader, nullptr);
    transfer = reader->write(out.data(), out.size());
    EXPECT_EQ(transfer.status.fault, Fault::denied);
    EXPECT_EQ(transfer.status.code, ERROR_ACCESS_DENIED);
    EXPECT_EQ(reader->lasterror().code, ERROR_ACCESS_DENIED);
    EXPECT_FALSE(reader->seek(~std::uint64_t{0}).ok() && reader->read(in.data(), 512).status.ok());
}

TEST(WindowsBackend, NamesTheSystemsVolumeAndListsDisks)
{
    std::vector<std::string> volumes;
    ASSERT_TRUE(nativebackend().systemvolumes(volumes).ok());
    ASSERT_EQ(volumes.size(), 1U);
    EXPECT_EQ(volumes[0].size(), 6U);
    EXPECT_TRUE(volumes[0].starts_with("\\\\.\\") && volumes[0].ends_with(":")) << volumes[0];
    std::vector<std::string> disks;
    EXPECT_TRUE(nativebackend().listdisks(disks).ok());
    for (const std::string &path : disks)
        EXPECT_TRUE(path.starts_with("\\\\?\\")) << path;
}

TEST(PlainFile, OpensNoDeviceByItsName)
{
    TempFolder folder;
    for (const std::string &name : {std::string("NUL"), folder / "nul", std::string("\\\\.\\C:")}) {
        for (const char *mode : {"rb", "wb", "ab"})
            EXPECT_EQ(openplainfile(name.c_str(), mode), nullptr) << name << mode;
        EXPECT_FALSE(cutplainfile(name.c_str(), 0)) << name;
    }
}

TEST(StayAwake, HoldsUntilTheLastOneGoes)
{
    const auto state = [] { return ::SetThreadExecutionState(ES_CONTINUOUS | ES_SYSTEM_REQUIRED); };
    {
        const StayAwake first("test");
        ASSERT_TRUE(first.held());
        {
            const StayAwake second("test");
            EXPECT_TRUE(second.held());
        }
        EXPECT_NE(state() & ES_SYSTEM_REQUIRED, 0U);
    }
    EXPECT_EQ(::SetThreadExecutionState(ES_CONTINUOUS) & ES_SYSTEM_REQUIRED, 0U);
}
