// Catches GUID tables that other systems refuse or read otherwise, and entries that reach beyond
// their blocks or into the tables.
#include "core/gpt.h"

#include "core/bytes.h"
#include "tests/core/coretest.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace
{

constexpr std::uint64_t disksectors = 5860533168; // of 512 bytes

// The output of a program of the system; empty if it is not there.
std::string outputof(const std::string &command)
{
    const std::string name = "gpttest.output";
    const int status =
        std::system(("PATH=$PATH:/sbin:/usr/sbin; " + command + " >" + name + " 2>&1").c_str());
    std::stringstream content;
    if (status / 256 != 127)
        content << std::ifstream(name).rdbuf();
    std::filesystem::remove(name);
    return content.str();
}

PART part(char kind, std::uint64_t start, std::uint64_t stop, char systype = char(0x83),
          std::uint8_t bootflag = 0)
{
    return {start, stop, stop - start + 1, kind, 0, bootflag, systype};
}

Tables tablesof(const std::vector<PART> &parts, const TableSectors &sectors,
                std::span<const std::string> names = {}, std::span<const SEG> segs = {})
{
    std::vector<Guid> ids(parts.size() + 1);
    std::generate(ids.begin(), ids.end(), newguid);
    geom geometry;
    geometry.totalbytes = sectors.disksectors * 512;
    return Tables::gpt(parts, g = withfactors(geometry, 512, 63, 255), sectors, ids, names, segs);
}

// What a reader finds who knows the fields' places: the entries that the header in this sector
// leads to.
std::string entriesof(const Tables &tables, std::uint64_t headersector)
{
    std::map<std::uint64_t, std::vector<std::uint8_t>> sectors;
    for (const SectorImage &image : tables.images())
        EXPECT_TRUE(sectors.emplace(image.sector, image.bytes).second) << image.sector;
    const std::uint8_t *header = sectors.at(headersector).data();
    EXPECT_EQ(getlittle(header + 24, 8), headersector);
    std::vector<std::uint8_t> array;
    for (std::uint64_t at = getlittle(header + 72, 8); array.size() < 128 * 128; ++at)
        array.insert(array.end(), sectors.at(at).begin(), sectors.at(at).end());
    std::string text;
    for (const std::uint8_t *at = array.data(); getlittle(at, 4) != 0; at += 128)
        text += std::to_string(getlittle(at + 32, 8)) + "-" +
                std::to_string(getlittle(at + 40, 8)) + (getlittle(at + 48, 8) == 4 ? "* " : " ");
    return text;
}

using GptTest = CoreTest;

TEST_F(GptTest, OtherToolsFindNoProblemAndTheSamePartitions)
{
    const std::string file = "gpttest.image";
    const bool tools = outputof("sgdisk --version").find("GPT fdisk") != std::string::npos;
    for (const std::uint64_t array : {2, 70}) { // where 32 good sectors are
        const TableSectors sectors{0, array + 32, array, disksectors};
        const std::vector<SEG> segs(500, SEG{0, 1, 0});
        const std::vector<std::string> names = {"NTFS", "", "Linux Swap", "Linux"};
        const Tables tables =
            tablesof({part('p', 0, 2'000'000'005, 0x07, 0x80), part('e', 2'100'000'000, ~0ULL),
                      part('l', 2'100'000'000, 2'100'100'000, char(0x82)),
                      part('l', 5'000'000'001, disksectors - 1)},
                     sectors, names, segs);
        ASSERT_TRUE(tables.faults().empty());
        const auto disk = add("disk", disksectors * 512);
        std::filesystem::remove(file);
        if (tools)
            disk->store = platform::imagestore(file, disksectors * 512);
        void *handle = opened("disk");
        EXPECT_TRUE(tables.write(handle));
        EXPECT_TRUE(tables.readback(handle).empty());
        EXPECT_EQ(findscanrecord(handle, 500), sectors.scanrecord);
        EXPECT_EQ(findscanrecord(handle, 499), nosector);
        EXPECT_EQ(entriesof(tables, 1),
                  "2048-1999998975* 2100000768-2100099071 5000001536-5860532223 ");
        EXPECT_EQ(entriesof(tables, disksectors - 1), entriesof(tables, 1));
        if (tools) {
            const std::string verdict = outputof("sgdisk -v " + file),
                              list = outputof("sfdisk -d " + file);
            EXPECT_NE(verdict.find("No problems found"), std::string::npos) << verdict;
            EXPECT_NE(list.find("0657FD6D-A4AB-43C4-84E5-0933C84B4F4F"), std::string::npos) << list;
        }
        backend.disks.clear();
    }
    std::filesystem::remove(file);
    if (!tools)
        GTEST_SKIP() << "sgdisk is not here: the tables were read by our own reader alone";
}

TEST_F(GptTest, WhatCannotBeHeldIsRefused)
{
    std::vector<PART> many;
    for (std::uint64_t i = 0; i < 129; ++i)
        many.push_back(part('l', 1'000'000 * (i + 1), 1'000'000 * (i + 2) - 1));
    const struct {
        std::vector<PART> parts;
        const char *result; // entries, or a part of the fault
    } rows[] = {{{part('p', 0, 2000)}, "without a sector"},
                {{part('l', 5'000'000, 6'000'000, 0)}, "type 0"},
                {many, "room for 128"},
                // less than the common unit: whole physical sectors
                {{part('p', 5'000'001, 5'000'020)}, "5000008-5000015 "},
                {{part('p', 5'000'001, 5'000'014)}, "without a sector"},
                // the array of the copy takes the last 33 sectors
                {{part('p', disksectors - 60, disksectors - 1)}, "5860533112-5860533127 "},
                {{part('p', disksectors - 40, disksectors - 1)}, "without a sector"}};
    for (const auto &row : rows) {
        const Tables tables = tablesof(row.parts, {0, 34, 2, disksectors});
        EXPECT_NE(tables.faults().empty(), tables.images().empty());
        const std::string result =
            tables.faults().empty() ? entriesof(tables, 1) : tables.faults().front().text;
        EXPECT_NE(result.find(row.result), std::string::npos) << result << row.result;
    }
    // damage in a header or a short sector is no header
    std::vector<std::uint8_t> sector = encodegptheader(GptHeader(), 512);
    EXPECT_EQ(decodegptheader(sector)->array, 2U);
    sector[72] ^= 1;
    EXPECT_TRUE(hasgptmark(sector));
    EXPECT_FALSE(decodegptheader(sector));
    EXPECT_FALSE(decodegptheader(std::vector<std::uint8_t>(64)));
}

} // namespace
