#include "platform/plainfile.h"

#include "tests/support/tempfolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

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

    std::filesystem::create_directory(folder / "folder");
    for (const char *mode : {"rb", "wb", "ab"})
        EXPECT_EQ(openplainfile((folder / "folder").c_str(), mode), nullptr) << mode;
    EXPECT_FALSE(cutplainfile((folder / "folder").c_str(), 0));
}

// As a scan does that goes on behind a record which came down in part.
TEST(PlainFile, IsCutWhileItIsOpen)
{
    TempFolder folder;
    const std::string name = folder / "file";
    ASSERT_TRUE(put(name, "wb", "one\r\ntw"));
    std::FILE *file = openplainfile(name.c_str(), "ab");
    ASSERT_NE(file, nullptr);
    EXPECT_TRUE(cutplainfile(name.c_str(), 5));
    EXPECT_GE(std::fputs("\n\x1athree", file), 0);
    EXPECT_TRUE(syncplainfile(file));
    EXPECT_EQ(contents(name), "one\r\n\n\x1athree") << "no byte stands for another";
    std::fclose(file);
}
