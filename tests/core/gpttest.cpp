#include "core/gpt.h"

#include "core/bytes.h"
#include "tests/core/coretest.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>

namespace
{

class GptTest : public CoreTest
{
protected:
    // The output of a program of the system; empty if it is not there.
    static std::string outputof(const std::string &command)
    {
        const std::string name = "gpttest.output";
        std::string text;
        if (std::system(
                ("PATH=$PATH:/sbin:/usr/sbin; " + command + " >" + name + " 2>&1").c_str()) /
                256 !=
            127) {
            std::stringstream content;
            content << std::ifstream(name).rdbuf();
            text = content.str();
        }
        std::filesystem::remove(name);
        return text;
    }

    static geom geometryof(std::uint64_t bytes, std::uint32_t sectorbytes)
    {
        geom whole;
        whole.totalbytes = bytes;
        return withfactors(whole, sectorbytes, 63, 255);
    }
};

PART part(char kind, std::uint64_t start, std::uint64_t stop, char systype = char(0x83),
          std::uint8_t bootflag = 0)
{
    return {start, stop, stop - start + 1, kind, 0, bootflag, systype};
}

// What another reader makes of the images: each field at its offset, and every CRC.
struct ReadTable {
    explicit ReadTable(const Tables &tables)
    {
        for (const SectorImage &image : tables.images())
            EXPECT_TRUE(sectors.emplace(image.sector, image.bytes).second) << image.sector;
    }

    // The entries that the header in this sector leads to, a line each.
    std::string entries(std::uint64_t headersector, bool checkcrc = true)
    {
        const std::uint8_t *header = sectors.at(headersector).data();
        std::vector<std::uint8_t> copy(header, header + 92);
        std::memset(&copy[16], 0, 4);
        if (checkcrc) {
            EXPECT_EQ(getlittle(header + 16, 4), bitwisecrc(copy));
        }
        EXPECT_EQ(getlittle(header + 24, 8), headersector);
        first = getlittle(header + 40, 8);
        last = getlittle(header + 48, 8);
        std::vector<std::uint8_t> array;
        for (std::uint64_t at = getlittle(header + 72, 8); array.size() < 128 * 128; ++at)
            array.insert(array.end(), sectors.at(at).begin(), sectors.at(at).end());
        array.resize(128 * 128);
        if (checkcrc) {
            EXPECT_EQ(getlittle(header + 88, 4), bitwisecrc(array));
        }
        std::string text;
        for (const std::uint8_t *at = array.data(); getlittle(at, 4) != 0; at += 128)
            text += std::to_string(getlittle(at + 32, 8)) + "-" +
                    std::to_string(getlittle(at + 40, 8)) +
                    (getlittle(at + 48, 8) == 4 ? "*\n" : "\n");
        return text;
    }

    // The remainder of the polynomial division, highest bit of the message first.
    static std::uint32_t bitwisecrc(const std::vector<std::uint8_t> &bytes)
    {
        std::uint32_t rest = 0;
        for (std::size_t i = 0; i < bytes.size() * 8 + 32; ++i) {
            unsigned bit = i < bytes.size() * 8 ? bytes[i / 8] >> i % 8 & 1 : 0;
            bit ^= i < 32 ? 1 : 0;
            const bool carry = rest >> 31 != 0;
            rest = rest << 1 | bit;
            if (carry)
                rest ^= 0x04C11DB7;
        }
        std::uint32_t turned = 0;
        for (int i = 0; i < 32; ++i)
            turned |= (rest >> i & 1) << (31 - i);
        return ~turned;
    }

    std::map<std::uint64_t, std::vector<std::uint8_t>> sectors;
    std::uint64_t first = 0;
    std::uint64_t last = 0;
};

TEST_F(GptTest, OtherToolsFindNoProblemAndTheSamePartitions)
{
    struct {
        std::uint64_t bytes;
        std::uint32_t sectorbytes;
        std::uint64_t array; // where 32 good sectors are
    } const rows[] = {{3'000'592'982'016, 512, 2}, {8'001'563'222'016, 512, 70}};
    const std::string file = "gpttest.image";
    const bool tools = outputof("sgdisk --version").find("GPT fdisk") != std::string::npos;
    for (const auto &row : rows) {
        const geom geometry = geometryof(row.bytes, row.sectorbytes);
        const TableSectors sectors{0, row.array + 32, row.array, row.bytes / row.sectorbytes};
        std::vector<Guid> ids(5);
        std::generate(ids.begin(), ids.end(), newguid);
        const std::vector<SEG> segs(500, SEG{0, 1, 0});
        const std::vector<std::string> names = {"NTFS", "", "Linux Swap", "Linux"};
        const Tables tables =
            Tables::gpt({part('p', 0, 2'000'000'005, 0x07, 0x80), part('e', 2'100'000'000, ~0ULL),
                         part('l', 2'100'000'000, 2'100'100'000, char(0x82)),
                         part('l', 5'000'000'001, sectors.disksectors - 1)},
                        geometry, sectors, ids, names, segs);
        ASSERT_TRUE(tables.faults().empty());
        const auto disk = add("disk", row.bytes, row.sectorbytes);
        std::filesystem::remove(file);
        if (tools)
            disk->store = platform::imagestore(file, row.bytes);
        void *handle = opened("disk");
        g = geometry;
        EXPECT_TRUE(tables.write(handle));
        EXPECT_TRUE(tables.readback(handle).empty());
        EXPECT_EQ(findscanrecord(handle, 500), sectors.scanrecord);
        EXPECT_EQ(findscanrecord(handle, 499), nosector);

        ReadTable reader(tables);
        const std::string entries = reader.entries(1);
        EXPECT_EQ(reader.entries(sectors.disksectors - 1), entries);
        const std::string end = std::to_string((sectors.disksectors - 33) / 2048 * 2048 - 1);
        EXPECT_EQ(entries, "2048-1999998975*\n2100000768-2100099071\n5000001536-" + end + "\n")
            << entries;
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

// Good blocks between bad ones, as parts; every entry lies inside its block and off the tables.
TEST_F(GptTest, EntriesStayOnGoodGround)
{
    std::mt19937_64 random(3);
    for (int i = 0; i < 3000; ++i) {
        const std::uint32_t sectorbytes = i % 2 ? 512 : 4096;
        const std::uint64_t count = (1ULL << 32) + random() % (1ULL << 34);
        const geom geometry = geometryof(count * sectorbytes, sectorbytes);
        std::vector<PART> blocks;
        for (std::uint64_t at = i % 3 ? 0 : random() % 100'000'000;
             blocks.size() < random() % 130;) {
            const std::uint64_t length = random() % (i % 5 ? 400'000'000 : 4000);
            if (at + length >= geometry.totalsectors)
                break;
            blocks.push_back(part(i % 7 ? 'p' : 'l', at, at + length));
            at += length + 1 + (random() % 2 ? random() % 30'000'000 : 0);
        }
        TableSectors sectors{0, nosector, 2 + random() % 200, count};
        if (i % 11 == 0)
            sectors.array = random() % 1'000'000'000;
        sectors.scanrecord = sectors.array + gptarraysectors(sectorbytes) + random() % 50;
        const Tables tables = Tables::gpt(blocks, geometry, sectors, {}, {});
        if (!tables.faults().empty()) {
            for (const PARTFAULT &fault : tables.faults())
                EXPECT_NE(fault.text, "");
            EXPECT_TRUE(tables.images().empty());
            continue;
        }
        ReadTable reader(tables);
        std::istringstream lines(reader.entries(1, i % 200 == 0));
        EXPECT_GT(reader.first, sectors.scanrecord);
        EXPECT_LT(reader.last, count - gptarraysectors(sectorbytes) - 1);
        std::uint64_t first = 0;
        std::uint64_t last = 0;
        char dash = 0;
        for (const PART &block : blocks) {
            ASSERT_TRUE(lines >> first >> dash >> last);
            EXPECT_GE(first, std::max(block.start, reader.first));
            EXPECT_LE(last, std::min(block.stop, reader.last));
            EXPECT_LE(first, last);
            EXPECT_EQ(first % (4096 / sectorbytes), 0U);
            EXPECT_EQ((last + 1) % (4096 / sectorbytes), 0U);
        }
        EXPECT_FALSE(lines >> first);
    }
}

TEST_F(GptTest, WhatCannotBeHeldIsRefused)
{
    const geom geometry = geometryof(3'000'592'982'016, 512);
    const TableSectors sectors{0, 34, 2, 5860533168};
    const auto fault = [&](std::vector<PART> parts) {
        const Tables tables = Tables::gpt(std::move(parts), geometry, sectors, {}, {});
        EXPECT_TRUE(tables.images().empty());
        return tables.faults().empty() ? std::string() : tables.faults().front().text;
    };
    EXPECT_NE(fault({part('p', 0, 2000)}).find("without a sector"), std::string::npos);
    EXPECT_NE(fault({part('l', 5'000'000, 6'000'000, 0)}).find("type 0"), std::string::npos);
    std::vector<PART> many;
    for (std::uint64_t i = 0; i < 129; ++i)
        many.push_back(part('l', 1'000'000 * (i + 1), 1'000'000 * (i + 2) - 1));
    EXPECT_NE(fault(many).find("room for 128"), std::string::npos);
    // damage in a header or a short sector is no header
    const GptHeader header;
    std::vector<std::uint8_t> sector = encodegptheader(header, 512);
    EXPECT_EQ(decodegptheader(sector)->array, 2U);
    sector[72] ^= 1;
    EXPECT_TRUE(hasgptmark(sector) && !decodegptheader(sector));
    EXPECT_FALSE(decodegptheader(std::vector<std::uint8_t>(64)));
}

} // namespace
