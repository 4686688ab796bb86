#include "platform/plainfile.h"

#include "tests/support/tempfolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include <sys/stat.h>

using namespace platform;

namespace
{

std::string contents(const std::string &name)
{
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool put(const std::string &name, const char *mode, const char *text)
{
    std::FILE *file = openplainfile(name.c_str(), mode);
    if (file == nullptr)
        return false;
    const bool good = std::fputs(text, file) >= 0 && syncplainfile(file);
    return std::fclose(file) == 0 && good;
}

} // namespace

TEST(PlainFile, OpensPlainFilesAndNothingElse)
{
    TempFolder folder;
    const std::string name = folder / "file";
    EXPECT_EQ(openplainfile(name.c_str(), "rb"), nullptr);
    EXPECT_TRUE(put(name, "ab", "one"));
    EXPECT_TRUE(put(name, "ab", "two"));
    EXPECT_EQ(contents(name), "onetwo");
    EXPECT_EQ(openplainfile(name.c_str(), "r+"), nullptr);
    EXPECT_TRUE(cutplainfile(name.c_str(), 4));
    EXPECT_EQ(contents(name), "onet");
    EXPECT_FALSE(cutplainfile(name.c_str(), 5)) << "a cut adds nothing";
    EXPECT_EQ(contents(name), "onet");
    EXPECT_TRUE(put(name, "wb", "new"));
    EXPECT_EQ(contents(name), "new");
    std::FILE *file = openplainfile(name.c_str(), "rb");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(std::fgetc(file), 'n');
    std::fclose(file);

    // What the other kinds lead to stays as it is, and no open waits for another end.
    std::filesystem::create_symlink(name, folder / "link");
    std::filesystem::create_symlink(folder / "missing", folder / "dangling");
    std::filesystem::create_directory(folder / "folder");
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    for (const char *kind : {"link", "dangling", "folder", "pipe"}) {
        for (const char *mode : {"rb", "wb", "ab"})
            EXPECT_EQ(openplainfile((folder / kind).c_str(), mode), nullptr) << kind << mode;
        EXPECT_FALSE(cutplainfile((folder / kind).c_str(), 0)) << kind;
    }
    EXPECT_EQ(openplainfile("/dev/null", "wb"), nullptr);
    EXPECT_EQ(contents(name), "new");
    EXPECT_FALSE(std::filesystem::exists(folder / "missing"));
}
