// Catches on Windows what no other system shows: a removed disk that passes for a damaged one, the
// system's disk or a mounted volume that is written to, and a device opened for a file.
#include "core/reading.h"
#include "core/tlcore.h"
#include "platform/awake.h"
#include "platform/plainfile.h"
#include "platform/platform.h"
#include "platform/windows/errors.h"

#include "tests/support/tempfolder.h"
#include "tests/wine/standin.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

using namespace platform;

namespace
{
/// The disks of a described system under the program.
class DescribedSystem : public testing::Test
{
protected:
    static void SetUpTestSuite() { standin::install(); }
    void SetUp() override
    {
        std::ofstream(folder / "disk", std::ios::binary).close();
        std::filesystem::resize_file(folder / "disk", length);
    }
    void TearDown() override { standin::describe(""); }

    /// A line for a disk of 64 MiB; its path has the model "DISK-<number>".
    std::string disk(int number, const std::string &words)
    {
        return "disk number=" + std::to_string(number) + " path=" + path(number) +
               " length=" + std::to_string(length) + " file=" + (folder / "disk") + " " + words +
               "\n";
    }
    static std::string path(int number)
    {
        const std::string name = std::to_string(number);
        return "\\\\?\\scsi#disk&disk&" + name + "#" + name + "#{53f56307}";
    }
    /// A line for a volume from 1 MiB to the 33rd.
    static std::string volume(int number, int on, const std::string &words)
    {
        return "volume name=\\\\?\\Volume{" + std::to_string(number) +
               "} disk=" + std::to_string(on) + " offset=1048576 length=33554432 " + words + "\n";
    }

    static constexpr std::uint64_t length = std::uint64_t{64} << 20;
    const TempFolder folder;
};

} // namespace

TEST(Windows, GoneIsNotMedium)
{
    const std::pair<Fault, std::vector<DWORD>> table[] = {
        {Fault::none, {0}},
        {Fault::medium, {21, 23, 25, 27, 29, 30, 31, 121, 483, 1117, 1127, 1128, 1392, 1393}},
        {Fault::gone, {2, 3, 15, 20, 34, 55, 321, 433, 1006, 1110, 1112, 1167, 1617, 4319}},
        {Fault::denied, {5, 19, 740, 1314}},
        {Fault::busy, {32, 33, 108, 170, 2404}},
        {Fault::unsupported, {1, 50, 120, 316}},
        {Fault::badargument, {6, 24, 87, 123, 131, 161, 327}},
        {Fault::other, {8, 112, 995, 1450, 0xFFFFFFFF}},
    };
    for (const auto &[fault, codes] : table) {
        for (const DWORD code : codes)
            EXPECT_EQ(faultof(code), fault) << code;
    }
}

TEST(Windows, NamesTheSystemsVolumeAndListsDisks)
{
    std::vector<std::string> volumes, disks;
    EXPECT_TRUE(nativebackend().systemvolumes(volumes).ok());
    EXPECT_EQ(volumes,
              std::vector<std::string>{std::string("\\\\.\\") + std::getenv("SystemDrive")});
    EXPECT_TRUE(nativebackend().listdisks(disks).ok());
}

TEST_F(DescribedSystem, RefusesTheSystemsDisksAndNamesVolumes)
{
    const std::string text = disk(0, "table=gpt") + disk(1, "table=mbr") +
                             disk(2, "table=gpt identity=short") + disk(3, "table=gpt identity=X") +
                             disk(4, "table=pool") + disk(5, "table=mbr");
    const std::string others = volume(1, 1, "mounts=D:\\,C:\\mnt\\x\\") +
                               volume(2, 2, "device=\\Device\\HarddiskVolume2 boot") +
                               volume(3, 3, "mounts=E:\\ pagefile");
    const auto rows = [] {
        std::string all;
        std::vector<DISKINFO> found;
        getallhdinfo(found);
        for (const DISKINFO &one : found)
            all += std::string(one.model) + (one.runningos ? "!" : "") +
                   (one.claimable ? "" : "-") + one.inuse + ";";
        return all;
    };
    // no disk but the last answers SMART as it should, the system's least of all
    standin::describe(text + volume(0, 0, "mounts=C:\\ system") + others);
    EXPECT_EQ(rows(), "disk-0!mounted as C:;disk-1mounted as D:, mounted at C:\\mnt\\x;disk-2!;"
                      "X!-holds a page file, mounted as E:;disk-4-part of a storage pool;disk-5;");
    standin::describe(disk(5, "table=mbr") + others);
    EXPECT_EQ(rows(), "disk-5-may be the system's disk, Windows does not say which that is;");
}

TEST_F(DescribedSystem, TellsWhatADiskIsAndHolds)
{
    standin::describe(volume(1, 1, "filesystem=NTFS label=data") +
                      disk(1, "table=gpt bus=17 vendor=V product=P serial=S-01 arrival=7") +
                      disk(2, "table=mbr bus=11 serial=x identity=MODEL"));
    for (const std::string text :
         {"NVMe,V,P,S-01,SCSI\\DISK\\0 7", "SATA,,MODEL,x,SCSI\\DISK\\1 0"}) {
        DiskDescription is;
        Status status;
        const std::string disk = path(text[0] == 'N' ? 1 : 2);
        EXPECT_TRUE(nativebackend().open(disk, Access::read, status)->description(is).ok());
        EXPECT_EQ(is.bus + "," + is.vendor + "," + is.model + "," + is.serial + "," + is.instance,
                  text);
    }
    DiskContents contents;
    ASSERT_TRUE(nativebackend().contents(path(1), contents).ok());
    ASSERT_EQ(contents.volumes.size(), 1U);
    const DiskContents::Volume &held = contents.volumes[0];
    EXPECT_EQ(contents.table + held.filesystem + held.label, "gptNTFSdata");
    EXPECT_EQ(held.number, 1);
    EXPECT_EQ(held.offset, 1048576U);
    EXPECT_EQ(held.bytes, 33554432U);
}

TEST_F(DescribedSystem, ClaimsVolumesBeforeTheFirstWriteAndReadsAhead)
{
    standin::describe(disk(1, "table=gpt") + volume(0, 0, "mounts=C:\\ system") +
                      volume(1, 1, "mounts=D:\\") + volume(2, 2, "mounts=E:\\ open") +
                      disk(2, "table=gpt"));
    void *handle = opendisk(path(1).c_str());
    void *second = opendisk(path(1).c_str());
    EXPECT_EQ(readrange(handle, 0, length / 512 - 1, 512), Reading::good);
    EXPECT_EQ(standin::events(), "") << "reading claims nothing";
    EXPECT_EQ(writerange(handle, 2048, 4095, 512), Reading::good);
    EXPECT_EQ(writerange(second, 2048, 2067, 512), Reading::good) << "the claim is shared";
    EXPECT_EQ(standin::events(), "lock D:\\\ndismount D:\\\n");
    closedisk(second);
    EXPECT_EQ(writerange(handle, 2048, 2067, 512), Reading::good);
    closedisk(handle);
    const std::string all = standin::events();
    unsigned reads = 0;
    ASSERT_EQ(std::sscanf(all.c_str() + all.find("closed"), "closed 1: %u", &reads), 1) << all;
    EXPECT_LT(reads, 200U) << "64 MiB by twenty sectors are 6,554 reads, the write test has 104";

    handle = opendisk(path(2).c_str());
    EXPECT_EQ(writerange(handle, 2048, 4095, 512), Reading::refused);
    EXPECT_NE(refusal(handle).find("E: is in use by another program"), std::string::npos);
    EXPECT_EQ(claimdisk(handle), 1);
    closedisk(handle);
}

TEST(Windows, OpensNoDeviceByItsName)
{
    TempFolder folder;
    for (const std::string &name : {std::string("NUL"), folder / "nul", std::string("\\\\.\\C:")}) {
        for (const char *mode : {"rb", "wb", "ab"})
            EXPECT_EQ(openplainfile(name.c_str(), mode), nullptr) << name << mode;
        EXPECT_FALSE(cutplainfile(name.c_str(), 0)) << name;
    }
}

TEST(Windows, StaysAwakeUntilTheLastHoldEnds)
{
    {
        const StayAwake first("test");
        EXPECT_TRUE(first.held());
        EXPECT_TRUE(StayAwake("test").held());
        EXPECT_NE(
            ::SetThreadExecutionState(ES_CONTINUOUS | ES_SYSTEM_REQUIRED) & ES_SYSTEM_REQUIRED, 0U);
    }
    EXPECT_EQ(::SetThreadExecutionState(ES_CONTINUOUS) & ES_SYSTEM_REQUIRED, 0U);
}
