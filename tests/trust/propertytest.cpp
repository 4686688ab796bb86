// Catches partitions, boot records and tables on bad ground or on each other, and tables that
// another reader reads otherwise.
#include "core/bytes.h"
#include "core/diskhandle.h"
#include "core/gpt.h"
#include "plan/commit.h"
#include "plan/planreport.h"
#include "scan/consolidation.h"
#include "scan/scanplan.h"
#include "tests/support/planchecker.h"
#include "tests/support/wizardbench.h"

#include <cmath>
#include <random>

namespace
{
using Range = std::pair<std::uint64_t, std::uint64_t>; // sectors, inclusive

// What a reader finds who knows nothing but the sectors and the fields' places.
struct Reader {
    platform::SectorStore &store;
    std::uint64_t sectorbytes;
    std::vector<Range> found = {};           // partitions, the extended one aside, in table order
    std::vector<std::uint64_t> records = {}; // the table's own sectors

    std::vector<std::uint8_t> load(std::uint64_t sector, std::uint64_t count = 1) const
    {
        std::vector<std::uint8_t> bytes(count * sectorbytes);
        EXPECT_TRUE(store.load(sector * sectorbytes, bytes.data(), bytes.size()));
        return bytes;
    }
    // The table in this sector and the chain behind it.
    void readtables(std::uint64_t at)
    {
        for (std::uint64_t base = 0, next = 0; records.empty() || at != 0; at = next) {
            const std::vector<std::uint8_t> sector = load(at);
            ASSERT_EQ(getlittle(&sector[0x1FE], 2), 0xAA55U);
            ASSERT_LE(records.size(), maxsegments) << "no end to the chain";
            const std::uint64_t from = records.empty() ? 0 : at;
            next = 0;
            for (const std::uint8_t *slot = &sector[0x1BE]; slot < &sector[0x1FE]; slot += 16) {
                const std::uint64_t first = getlittle(slot + 8, 4);
                if (slot[4] == 0x0F)
                    next = base + first;
                else if (slot[4] != 0)
                    found.emplace_back(from + first, from + first + getlittle(slot + 12, 4) - 1);
            }
            base = records.empty() ? next : base;
            records.push_back(at);
        }
    }
    void readguidtable()
    {
        const std::uint64_t array = getlittle(&load(1)[72], 8), length = 128 * 128 / sectorbytes;
        records = {1, array, array + length - 1};
        const std::vector<std::uint8_t> bytes = load(array, length);
        for (const std::uint8_t *at = bytes.data(); getlittle(at, 8) != 0; at += 128)
            found.emplace_back(getlittle(at + 32, 8), getlittle(at + 40, 8));
    }
};

// QUARN_CASES random disks (200), from QUARN_SEED.
TEST(PropertyTest, WhatIsWrittenLiesOnGoodGroundAlone)
{
    const int cases = qEnvironmentVariable("QUARN_CASES", "200").toInt();
    std::mt19937_64 random(qEnvironmentVariable("QUARN_SEED", "1").toUInt());
    const auto upto = [&random](std::uint64_t most) {
        return std::uniform_int_distribution<std::uint64_t>(0, most)(random);
    };
    WizardBench bench;
    bench.dialogs.fallback = [&](const DialogAnswers::Seen &seen) {
        return QVariant(seen.minimum +
                        (seen.maximum - seen.minimum) * static_cast<double>(upto(33)) / 100);
    };
    DiskPartition page;
    for (int i = 0; i < cases && !HasFailure(); i++) {
        const std::uint32_t sectorbytes = upto(1) != 0 ? 4096 : 512;
        geom geometry; // sizes even over the orders of magnitude, from 100 MB to 30 TB
        const double exponent = 8 + 5.477 * static_cast<double>(upto(1'000'000)) / 1e6;
        geometry.totalbytes = static_cast<std::uint64_t>(std::pow(10.0, exponent));
        const auto heads = static_cast<std::uint32_t>(upto(3) != 0 ? 255 : 16 + upto(48));
        geometry = g = withfactors(geometry, sectorbytes, 63, heads);
        std::vector<SEG> segs = makeplan(geometry);
        const bool guid = geometry.totalsectors >= 1ULL << 32;
        const std::uint64_t rate = upto(3) * upto(60);
        for (SEG &seg : segs)
            seg.isbad = upto(999) < rate;
        segs[0].isbad = upto(7) == 0;
        if (upto(1) != 0)
            addprotect(segs.data(), static_cast<int>(segs.size()));
        segs[upto(segs.size() - 1)].isbad = 0;
        const std::uint64_t end = geometry.totalsectors + 7; // more than the geometry tells
        platform::SectorSet bad;
        bad.add(end + upto(3));
        for (const SEG &seg : segs) {
            if (seg.isbad != 0)
                bad.add(seg.firstsector(g.sectorspercyl), seg.lastsector(g.sectorspercyl));
        }

        bench.backend.disks = {
            platform::simulateddisk("disk", (end + 1) * sectorbytes, sectorbytes)};
        platform::SimulatedDisk &disk = *bench.backend.disks[0];
        disk.faults->unreadable = bad;
        if (upto(1) != 0) // damage in the first segment may leave the first tracks alone
            disk.faults->unreadable.remove(0, 2 * 63 - 1);
        if (guid && segs[0].isbad) {
            const std::uint64_t at = 1 + upto(61);
            disk.faults->unreadable.add(at, at + upto(3));
        }
        // a GUID table that the disk held before, in sector 1 and at its end
        const std::string stale = "EFI PART" + std::string(sectorbytes - 8, 'x');
        for (const std::uint64_t at : {std::uint64_t{1}, end})
            disk.store->save(at * sectorbytes, stale.data(), stale.size());

        page.clearall();
        integratesegs(segs.data(), static_cast<int>(segs.size()), page.segs);
        page.constructextparts();
        page.initpartdiagram();
        page.onstrategychanged(static_cast<int>(upto(5)));
        if (page.treemodel->getallparts().empty())
            page.defaultpartition();
        ASSERT_EQ(planfaults(page), "");
        std::vector<PART> parts = buildparts(page.treemodel->getallparts(), g.sectorspercyl);
        SCOPED_TRACE("case " + std::to_string(i) + ": " + blocktext(page.extparts));
        PARTRESULT result;
        {
            Commit commit(geometry, segs, parts, false);
            const DiskHandle handle("disk");
            ASSERT_EQ(commit.refusal().toStdString(), "");
            const QString fault = commit.prepare(handle.get(), {});
            if (guid && disk.faults->unreadable.lowest(0, 1)) { // before anything is written
                ASSERT_TRUE(fault.endsWith("needs the sectors 0 and 1.")) << fault.toStdString();
                continue;
            }
            for (const QString &text :
                 {fault, commit.risk(), commit.search(handle.get()), commit.write(handle.get())})
                ASSERT_EQ(text.toStdString(), "");
            commit.readback(handle.get());
            commit.report(result);
        }
        if (guid) { // only the copy at the end may lie on bad ground
            EXPECT_EQ(result.report.contains("copy of the partition table"),
                      bad.lowest(end - 32, end).has_value());
            EXPECT_EQ(result.ondisk, OnDisk::whole);
        }

        const std::array<std::uint64_t, 2> own = {firstgoodsector, secondgoodsector};
        Reader reader{*disk.store, sectorbytes};
        for (const std::uint64_t at : {std::uint64_t{1}, end}) {
            if (disk.faults->unreadable.contains(at))
                continue;
            const std::vector<std::uint8_t> now = reader.load(at);
            EXPECT_TRUE(guid ? decodegptheader(now).has_value() : !hasgptmark(now)) << at;
        }
        if (!guid)
            keepofftracks(parts, own, 63);
        std::vector<Range> wanted;
        for (const PART &part : parts) {
            if (part.kind != 'e')
                wanted.emplace_back(part.start + (part.kind == 'l' && !guid ? 63 : 0), part.stop);
        }
        // whether a system that reads 4096 bytes at once can't read this sector
        const auto lostunit = [&disk, unit = 4096 / sectorbytes](std::uint64_t sector) {
            return disk.faults->unreadable.lowest(sector / unit * unit, sector | (unit - 1))
                .has_value();
        };
        if (guid)
            reader.readguidtable();
        else
            reader.readtables(own[0]);
        std::vector<Range> taken = reader.found;
        std::vector<std::uint64_t> &records = reader.records;
        if (guid) { // cut to whole units inside the blocks
            ASSERT_EQ(taken.size(), wanted.size());
            for (std::size_t k = 0; k < taken.size(); k++) {
                const std::uint64_t ends[] = {wanted[k].first, taken[k].first, taken[k].second,
                                              wanted[k].second};
                EXPECT_TRUE(std::ranges::is_sorted(ends));
                EXPECT_EQ(taken[k].first * sectorbytes % 4096, 0U);
            }
            wanted = taken;
        }
        EXPECT_EQ(taken, wanted);
        for (std::size_t k = 1; k < records.size() && !guid; k++)
            taken.emplace_back(records[k], records[k]);
        for (const Range &one : taken)
            EXPECT_FALSE(bad.lowest(one.first, one.second));
        taken.insert(taken.end(), {{own[0], own[0]}, {own[1], own[1]}});
        if (guid) { // the entries may lie in a bad segment, on sectors that were tested
            taken.insert(taken.end(), {{1, 1}, {records[1], records[2]}, {end, end}});
            const std::uint64_t ahead = 16384 / sectorbytes - 1; // what a system may read as one
            EXPECT_FALSE(disk.faults->unreadable.lowest(records[1] & ~ahead, records[2] | ahead));
            records = {0};
        }
        EXPECT_EQ(result.report.contains("bad sectors stand next to these of it"),
                  std::ranges::any_of(records, lostunit));
        EXPECT_LT(guid ? 0 : result.report.count('\n'), 2);
        std::sort(taken.begin(), taken.end());
        for (std::size_t k = 1; k < taken.size(); k++)
            EXPECT_LT(taken[k - 1].second, taken[k].first);
    }
}

} // namespace
