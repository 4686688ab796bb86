// Catches GUID tables that other systems refuse or read otherwise, and entries that reach beyond
// their blocks or into the tables.
#include "core/gpt.h"

#include "core/bytes.h"
#include "tests/core/coretest.h"

#include <cstdlib>
#include <filesystem>
#include <map>

namespace
{

constexpr std::uint64_t disksectors = 5860533168; // of 512 bytes

// Runs a command of the administrator's shell.
bool succeeds(const std::string &command)
{
    return std::system(("PATH=$PATH:/sbin:/usr/sbin; " + command).c_str()) == 0;
}

Tables tablesof(const std::string &text, const TableSectors &sectors,
                std::span<const std::string> names = {}, std::span<const SEG> segs = {})
{
    const std::vector<PART> parts = partsof(text);
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
    std::uint64_t at = getlittle(header + 72, 8);
    EXPECT_NE(at<getlittle(header + 40, 8), at> getlittle(header + 48, 8)) << "usable sectors";
    for (; array.size() < 128 * 128; ++at)
        array.insert(array.end(), sectors.at(at).begin(), sectors.at(at).end());
    std::string text;
    for (const std::uint8_t *one = array.data(); getlittle(one, 4) != 0; one += 128)
        text += std::to_string(getlittle(one + 32, 8)) + "-" +
                std::to_string(getlittle(one + 40, 8)) + (getlittle(one + 48, 8) == 4 ? "* " : " ");
    return text;
}

using GptTest = CoreTest;

TEST_F(GptTest, OtherToolsFindNoProblemAndTheSamePartitions)
{
    const std::string file = "gpttest.image";
    // a Windows shell would call the first half of it a success
    const bool tools = succeeds("sgdisk --version | grep -q sgdisk");
    // where 32 good sectors are, and the first partition behind them and the scan record
    for (const auto &[array, first] : {std::pair(2U, "2048"), {2016, "4096"}}) {
        const TableSectors sectors{0, array + 33, array, disksectors};
        const std::vector<SEG> segs(500, SEG{0, 1, 0});
        const std::vector<std::string> names = {"NTFS", "", "Linux Swap", "Linux"};
        const Tables tables =
            tablesof("p0-2000000005:7* e2100000000-2200000000 l2100000000-2100100000:82 "
                     "l5000000001-5860533167:83",
                     sectors, names, segs);
        ASSERT_TRUE(tables.faults().empty());
        const auto disk = add("disk", disksectors * 512);
        disk->faults->unreadable.add(array + 32); // the record lies behind it
        std::filesystem::remove(file);
        if (tools)
            disk->store = platform::imagestore(file, disksectors * 512);
        void *handle = opened("disk");
        EXPECT_TRUE(tables.write(handle));
        EXPECT_TRUE(tables.readback(handle).empty());
        EXPECT_EQ(findscanrecord(handle, 500), sectors.scanrecord);
        EXPECT_EQ(findscanrecord(handle, 499), nosector);
        EXPECT_EQ(entriesof(tables, 1),
                  first + std::string("-1999998975* 2100000768-2100099071 5000001536-5860532223 "));
        EXPECT_EQ(entriesof(tables, disksectors - 1), entriesof(tables, 1));
        if (tools) {
            EXPECT_TRUE(
                succeeds("sgdisk -v " + file + " | tee /dev/stderr | grep -q 'No problems'"));
            EXPECT_TRUE(
                succeeds("sfdisk -d " + file + " | grep 0657FD6D-A4AB-43C4-84E5-0933C84B4F4F"));
        }
        backend.disks.clear();
    }
    std::filesystem::remove(file);
    if (!tools)
        GTEST_SKIP() << "sgdisk is not here: the tables were read by our own reader alone";
}

TEST_F(GptTest, WhatCannotBeHeldIsRefused)
{
    std::string many;
    for (std::uint64_t i = 1; i < 130; ++i)
        many += "l" + std::to_string(i) + "000000-" + std::to_string(i) + "999999 ";
    // partitions; entries, or a part of the fault
    const std::pair<std::string, const char *> rows[] = {
        {"p0-2000", "without a sector"},
        {"l5000000-6000000:0", "type 0"},
        {many, "room for 128"},
        // less than the common unit: whole physical sectors
        {"p5000001-5000020", "5000008-5000015 "},
        {"p5000001-5000014", "without a sector"},
        // the array of the copy takes the last 33 sectors
        {"p5860533108-5860533167", "5860533112-5860533127 "},
        {"p5860533128-5860533167", "without a sector"}};
    for (const auto &[parts, expected] : rows) {
        const Tables tables = tablesof(parts, {0, 34, 2, disksectors});
        EXPECT_NE(tables.faults().empty(), tables.images().empty());
        const std::string result =
            tables.faults().empty() ? entriesof(tables, 1) : tables.faults().front().text;
        EXPECT_NE(result.find(expected), std::string::npos) << result << expected;
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
