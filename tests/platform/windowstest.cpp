#include "platform/awake.h"
#include "platform/plainfile.h"
#include "platform/platform.h"
#include "platform/windows/errors.h"

#include "tests/support/tempfolder.h"

#include <gtest/gtest.h>

#include <vector>

using namespace platform;

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
    std::vector<std::string> volumes;
    ASSERT_TRUE(nativebackend().systemvolumes(volumes).ok());
    ASSERT_TRUE(volumes.size() == 1 && volumes[0].size() == 6);
    EXPECT_TRUE(volumes[0].starts_with("\\\\.\\") && volumes[0].ends_with(":")) << volumes[0];
    std::vector<std::string> disks;
    EXPECT_TRUE(nativebackend().listdisks(disks).ok());
    for (const std::string &path : disks)
        EXPECT_TRUE(path.starts_with("\\\\?\\")) << path;
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
        EXPECT_TRUE(first.held() && StayAwake("test").held());
        EXPECT_NE(
            ::SetThreadExecutionState(ES_CONTINUOUS | ES_SYSTEM_REQUIRED) & ES_SYSTEM_REQUIRED, 0U);
    }
    EXPECT_EQ(::SetThreadExecutionState(ES_CONTINUOUS) & ES_SYSTEM_REQUIRED, 0U);
}
