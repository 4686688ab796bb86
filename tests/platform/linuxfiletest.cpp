#include "platform/plainfile.h"

#include "tests/support/tempfolder.h"

#include <gtest/gtest.h>

#include <fstream>

#include <sys/stat.h>

using namespace platform;

// What the other kinds lead to stays as it is, and no open waits for another end.
TEST(PlainFile, FollowsNoLinkAndOpensNoPipeOrDevice)
{
    TempFolder folder;
    const std::string name = folder / "file";
    std::ofstream(name) << "kept";
    std::filesystem::create_symlink(name, folder / "link");
    std::filesystem::create_symlink(folder / "missing", folder / "dangling");
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    for (const char *kind : {"link", "dangling", "pipe"}) {
        for (const char *mode : {"rb", "wb", "ab"})
            EXPECT_EQ(openplainfile((folder / kind).c_str(), mode), nullptr) << kind << mode;
        EXPECT_FALSE(cutplainfile((folder / kind).c_str(), 0)) << kind;
    }
    EXPECT_EQ(openplainfile("/dev/null", "wb"), nullptr);
    EXPECT_EQ(std::filesystem::file_size(name), 4U);
    EXPECT_FALSE(std::filesystem::exists(folder / "missing"));
}
