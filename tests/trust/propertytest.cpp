// Catches partitions, boot records and tables on bad ground or on each other, and tables that
// another reader reads otherwise.
#include "core/diskhandle.h"
#include "plan/commit.h"
#include "plan/planreport.h"
#include "scan/consolidation.h"
#include "scan/scanplan.h"
#include "tests/support/planchecker.h"
#include "tests/support/wizardbench.h"

#include <QtEndian>

#include <cmath>
#include <random>

namespace
{
using Range = std::pair<std::uint64_t, std::uint64_t>; // sectors, inclusive

// The partitions that a reader finds who knows nothing but the sectors, the extended one aside:
// the table's in slot order, then the chain's. The chain's own sectors go to `records`.
std::vector<Range> readtables(platform::SectorStore &store, std::uint64_t at,
                              std::uint64_t sectorbytes, std::vector<std::uint64_t> &records)
{
    std::vector<Range> found;
    std::vector<std::uint8_t> sector(sectorbytes);
    for (std::uint64_t base = 0, next = at; records.size() <= maxsegments; at = next) {
        if (!store.load(at * sectorbytes, sector.data(), sectorbytes) || sector[0x1FE] != 0x55 ||
            sector[0x1FF] != 0xAA)
            break;
        const bool top = records.empty();
        records.push_back(at);
        next = 0;
        for (const std::uint8_t *slot = &sector[0x1BE]; slot < &sector[0x1FE]; slot += 16) {
            const bool link = slot[4] == 0x0F;
            const std::uint64_t first = qFromLittleEndian<quint32>(slot + 8) + (top    ? 0
                                                                                : link ? base
                                                                                       : at);
            if (link)
                next = first;
            else if (slot[4] != 0)
                found.emplace_back(first, first + qFromLittleEndian<quint32>(slot + 12) - 1);
        }
        base = top ? next : base;
        if (next == 0)
            return found;
    }
    return {}; // no table, or no end to the chain
}

// The same for a GUID table, with its array in `records`.
std::vector<Range> readguidtable(platform::SectorStore &store, std::uint64_t sectorbytes,
                                 std::vector<std::uint64_t> &records)
{
    std::vector<Range> found;
    std::vector<std::uint8_t> bytes(128 * 128);
    store.load(sectorbytes, bytes.data(), 92);
    const auto array = qFromLittleEndian<quint64>(&bytes[72]);
    if (std::memcmp(bytes.data(), "EFI PART", 8) != 0)
        return found;
    records = {1, array, array + bytes.size() / sectorbytes - 1};
    store.load(array * sectorbytes, bytes.data(), bytes.size());
    for (const std::uint8_t *at = bytes.data(); qFromLittleEndian<quint64>(at) != 0; at += 128)
        found.emplace_back(qFromLittleEndian<quint64>(at + 32),
                           qFromLittleEndian<quint64>(at + 40));
    return found;
}

// QUARN_CASES random disks (200), from QUARN_SEED.
TEST(PropertyTest, WhatIsWrittenLiesOnGoodGroundAlone)
{
    const auto setting = [](const char *name, int otherwise) {
        return qEnvironmentVariableIsSet(name) ? qEnvironmentVariableIntValue(name) : otherwise;
    };
    const int cases = setting("QUARN_CASES", 200);
    std::mt19937_64 random(static_cast<unsigned>(setting("QUARN_SEED", 1)));
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
        const auto first = [](const SEG &seg) { return seg.firstsector(g.sectorspercyl); };
        const auto last = [](const SEG &seg) { return seg.lastsector(g.sectorspercyl); };

        bench.backend.disks = {platform::simulateddisk("disk", geometry.totalbytes, sectorbytes)};
        platform::SimulatedDisk &disk = *bench.backend.disks[0];
        for (const SEG &seg : segs) {
            if (seg.isbad != 0)
                disk.faults->unreadable.add(first(seg), last(seg));
        }
        if (upto(1) != 0) // damage in the first segment may leave the first tracks alone
            disk.faults->unreadable.remove(0, 2 * 63 - 1);
        if (guid && segs[0].isbad) {
            const std::uint64_t at = 2 + upto(60);
            disk.faults->unreadable.add(at, at + upto(3));
        }
        // a GUID table that the disk held before, in sector 1 and at its end
        const std::string stale = "EFI PART" + std::string(sectorbytes - 8, 'x');
        const std::uint64_t headers[] = {1, geometry.totalsectors - 1};
        for (const std::uint64_t at : headers)
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
            for (const QString &fault :
                 {commit.refusal(), commit.prepare(handle.get(), {}), commit.risk()})
                ASSERT_EQ(fault.toStdString(), "");
            const QString fault = commit.search(handle.get());
            if (guid && disk.faults->unreadable.contains(0)) {
                ASSERT_TRUE(fault.startsWith("Sector 0 of the disk can not be written."));
                continue;
            }
            ASSERT_EQ((fault + commit.write(handle.get())).toStdString(), "");
            commit.readback(handle.get());
            commit.report(result);
        }
        if (guid) { // only the copy at the end may lie on bad ground
            EXPECT_EQ(result.report.contains("copy of the partition table"),
                      segs.back().isbad && last(segs.back()) + 34 > geometry.totalsectors);
            EXPECT_EQ(result.ondisk, OnDisk::whole);
        }

        const std::array<std::uint64_t, 2> own = {firstgoodsector, secondgoodsector};
        for (const std::uint64_t at : headers) {
            std::string now(sectorbytes, ' ');
            disk.store->load(at * sectorbytes, now.data(), now.size());
            const bool unreadable = disk.faults->unreadable.contains(at);
            EXPECT_FALSE(!unreadable && !guid && now.starts_with("EFI PART")) << at;
            EXPECT_TRUE(unreadable || now != stale) << at;
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
        std::vector<std::uint64_t> records;
        std::vector<Range> taken = guid ? readguidtable(*disk.store, sectorbytes, records)
                                        : readtables(*disk.store, own[0], sectorbytes, records);
        if (guid) { // cut to whole units inside the blocks
            ASSERT_EQ(taken.size(), wanted.size());
            for (std::size_t k = 0; k < taken.size(); k++) {
                EXPECT_GE(taken[k].first, wanted[k].first);
                EXPECT_LE(taken[k].second, wanted[k].second);
                EXPECT_LE(taken[k].first, taken[k].second);
                EXPECT_EQ(taken[k].first * sectorbytes % 4096, 0U);
            }
            wanted = taken;
        }
        EXPECT_EQ(taken, wanted);
        for (std::size_t k = 1; k < records.size() && !guid; k++)
            taken.emplace_back(records[k], records[k]);
        for (const SEG &seg : segs) {
            for (const Range &one : taken)
                EXPECT_FALSE(seg.isbad && first(seg) <= one.second && last(seg) >= one.first);
        }
        taken.insert(taken.end(), {{own[0], own[0]}, {own[1], own[1]}});
        if (guid) { // the entries may lie in a bad segment, on sectors that were tested
            const std::uint64_t end = geometry.totalsectors - 1;
            taken.insert(taken.end(), {{1, 1}, {records[1], records[2]}, {end, end}});
            EXPECT_FALSE(lostunit(records[1]) || lostunit(records[2]));
            EXPECT_FALSE(disk.faults->unreadable.lowest(records[1], records[2]));
            records = {0};
        }
        EXPECT_EQ(result.report.contains("bad sectors stand next to these of it"),
                  std::ranges::any_of(records, lostunit));
        EXPECT_TRUE(guid || result.report.count('\n') < 2);
        std::sort(taken.begin(), taken.end());
        for (std::size_t k = 1; k < taken.size(); k++)
            EXPECT_LT(taken[k - 1].second, taken[k].first);
    }
}

} // namespace
