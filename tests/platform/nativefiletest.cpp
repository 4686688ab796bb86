#include "platform/plainfile.h"
#include "platform/platform.h"

#include "tests/support/tempfolder.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

using namespace platform;

// Files on this system: the program's own, and files used as disks.

TEST(NativeFile, OpensPlainFilesAndNothingElse)
{
    TempFolder folder;
    const std::string name = folder / "file";
    const auto put = [&name](const char *mode, const char *text) {
        std::FILE *file = openplainfile(name.c_str(), mode);
        EXPECT_TRUE(file != nullptr && std::fputs(text, file) >= 0 && syncplainfile(file));
        return file;
    };
    EXPECT_EQ(openplainfile(name.c_str(), "rb"), nullptr);
    std::fclose(put("ab", "gone"));
    std::fclose(put("wb", "one\r\n"));
    // truncated while open, as by a resumed scan after a partial record
    std::FILE *file = put("ab", "tw");
    EXPECT_TRUE(cutplainfile(name.c_str(), 5));
    EXPECT_FALSE(cutplainfile(name.c_str(), 6)) << "never extended";
    EXPECT_TRUE(std::fputs("\n\x1athree", file) >= 0 && std::fclose(file) == 0);
    std::ifstream stream(name, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), "one\r\n\n\x1athree")
        << "no byte is translated";

    EXPECT_EQ(openplainfile(name.c_str(), "r+"), nullptr);
    for (const char *mode : {"rb", "wb", "ab"})
        EXPECT_EQ(openplainfile(folder.path.c_str(), mode), nullptr) << mode;
    EXPECT_FALSE(cutplainfile(folder.path.c_str(), 0));
}

TEST(NativeFile, IsUsedAsADisk)
{
    TempFolder folder;
    const std::string name = folder / "disk";
    constexpr std::uint64_t size = 8ULL << 20;
    std::ofstream(name, std::ios::binary).close();
    std::filesystem::resize_file(name, size);

    Status status;
    EXPECT_EQ(nativebackend().open(folder / "missing", Access::readwrite, status), nullptr);
    EXPECT_EQ(status.fault, Fault::gone);
    EXPECT_EQ(status.code, 2) << "the system's error number, 2 on both systems";
    const auto disk = nativebackend().open(name, Access::readwrite, status);
    ASSERT_NE(disk, nullptr) << status.code;
    std::uint64_t bytes = 0;
    std::uint32_t low = 0;
    EXPECT_TRUE(disk->filesize(bytes).ok() && bytes == size);
    EXPECT_TRUE(disk->filesizelow(low).ok() && low == size);
    std::string in(1025, 'x'); // its second byte is unaligned
    const std::string out(1025, 'a');
    EXPECT_EQ(disk->write(size - 1024, &out[1], 1024).bytes, 1024U);
    EXPECT_TRUE(disk->flush().ok());
    EXPECT_TRUE(disk->read(size - 1024, &in[1], 1024).status.ok());
    EXPECT_EQ(in, 'x' + out.substr(1));
    // a short transfer at the end is no failure
    Transfer transfer = disk->read(size - 512, &in[1], 1024);
    EXPECT_TRUE(transfer.status.ok() && transfer.bytes == 512);
    transfer = disk->read(size, &in[1], 1024);
    EXPECT_TRUE(transfer.status.ok() && transfer.bytes == 0);

    DriveGeometry geometry;
    std::uint8_t map = 0;
    for (const Status &refusal : {disk->drivegeometry(geometry), disk->identitymap(map)})
        EXPECT_FALSE(refusal.ok());
    EXPECT_TRUE(disk->updateproperties().ok()) << "a file has no layout to update";
    const auto reader = nativebackend().open(name, Access::read, status);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->write(0, out.data(), 512).status.fault, Fault::denied);
    EXPECT_EQ(reader->read(~std::uint64_t{0}, &in[1], 512).status.fault, Fault::position);
}
