// Catches success that is told where an operation on the disk failed, and sectors that are written
// although no plan asks for them.
#include "core/bytes.h"
#include "core/diskhandle.h"
#include "core/tables.h"
#include "plan/planreport.h"
#include "tests/support/planchecker.h"
#include "tests/support/wizardbench.h"

#include <set>

using platform::Operation;
using Disturbance = platform::Recording::Disturbance;

namespace
{

constexpr std::uint64_t cylinders = 12;
constexpr std::uint64_t cylinder = 8; // sectors, in two tracks
constexpr std::uint64_t damagedcylinder = 5;

// A whole session: scan, plan and commit; the file's result again, a re-test and a commit; the
// result on the disk again and a commit. It ends where it does not go on.
class Session
{
public:
    /// Disturbs one operation, by its number; `gone`: it is the last before the disks are gone.
    Session(Disturbance how, std::size_t victim, bool gone = false)
        : disk(bench.adddisk(cylinders, 2, 4))
    {
        disk->recording->disturbance = how;
        disk->recording->victim = victim;
        if (gone)
            disk->faults->vanishafter = victim;
        disk->faults->unreadable.add(damagedcylinder * cylinder + 3);
        bench.adddisk(1)->listed = false;
        bench.backend.systempaths = {bench.backend.disks[1]->path};
        QFile::remove("disk0");
        bench.open(-1);
        reachedend = scan() && commit() && reuse(true) && commit() && reuse(false) && commit();
        bench.wizard.reset();
        writes = touched(Operation::Kind::write);
        EXPECT_EQ(disk->recording->count(Operation::Kind::open),
                  disk->recording->count(Operation::Kind::close));
    }

    WizardBench bench;
    std::shared_ptr<platform::RecordedDisk> disk;
    std::set<std::uint64_t> writes;
    std::set<std::uint64_t> planned; ///< sectors that the plans of this session ask for
    bool reachedend = false;
    int lost = 0; ///< lines about sectors that did not reach the disk

private:
    // The sectors that operations of this kind have moved.
    std::set<std::uint64_t> touched(Operation::Kind kind) const
    {
        std::set<std::uint64_t> sectors;
        for (const Operation &one : disk->recording->operations) {
            for (std::uint64_t i = 0; one.kind == kind && i < one.moved / 512; i++)
                sectors.insert(one.offset / 512 + i);
        }
        return sectors;
    }

    bool scan()
    {
        QAbstractButton *row = bench.selectpage()->diskgroup->button(0);
        if (!row)
            return false;
        row->click();
        if (!bench.click(WizardBench::next) || !bench.runscan() || !onplanner())
            return false;
        const QByteArray saved = filecontent("disk0");
        EXPECT_EQ(saved.size(), 56 + 24 * static_cast<int>(cylinders));
        EXPECT_EQ(saved.mid(56 + 24 * 5 + 16, 1), QByteArray("\1"));
        return true;
    }

    bool reuse(bool fromfile)
    {
        constexpr auto back = WizardBench::back;
        if (!fromfile)
            QFile::remove("disk0");
        if (!bench.click(back, back, back, WizardBench::next, WizardBench::prev) || !onplanner())
            return false;
        selectblocks(*bench.planner(), {bench.planner()->extparts.last()->start});
        bench.planner()->rescan();
        return true;
    }

    // Whether the session is there; then the damage is known, and what is called good was read.
    bool onplanner()
    {
        if (bench.current() != bench.wizard->partitionpageid)
            return false;
        const std::set<std::uint64_t> good = touched(Operation::Kind::read);
        for (const SEG &seg : bench.planner()->segs) {
            for (std::uint64_t i = seg.firstsector(cylinder);
                 seg.isbad == 0 && i <= seg.lastsector(cylinder); i++)
                EXPECT_TRUE(good.contains(i)) << "sector " << i << " is called good";
        }
        return true;
    }

    bool commit()
    {
        DiskPartition &page = *bench.planner();
        page.onstrategychanged(0);
        for (const EXTPART *part : page.extparts) {
            selectblocks(page, {part->start});
            page.addld();
        }
        std::vector<PART> parts = buildparts(page.treemodel->getallparts(), cylinder);
        keepofftracks(parts, {}, 4);
        const SEG *segs = bench.scanpage()->segs;
        for (std::uint64_t i = 0; i < (segs[0].isbad ? cylinder : 2); i++)
            planned.insert(i);
        for (const PART &part : parts) {
            if (part.kind == 'l')
                planned.insert(part.start);
        }
        if (!bench.click(WizardBench::next) || bench.current() != bench.wizard->lastpageid)
            return false;
        // Success was told: what is missing on the disk must be in the report.
        const QString report = bench.lastpage()->reportedit->toPlainText();
        lost += static_cast<int>(report.count("is not on the disk"));
        const auto count = static_cast<std::size_t>(bench.scanpage()->segnum);
        const auto *table = reinterpret_cast<const std::uint8_t *>(MBRbuffer.data());
        const Tables tables =
            Tables::mbr(parts, g, {firstgoodsector, secondgoodsector},
                        static_cast<std::uint32_t>(getlittle(table + 0x1B8, 4)), {segs, count});
        // read behind the session's back
        platform::Recording &recording = *disk->recording;
        const auto operations = recording.operations;
        const Disturbance how = std::exchange(recording.disturbance, Disturbance::none);
        const auto vanishes = std::exchange(disk->faults->vanishafter, std::nullopt);
        for (const SectorImage &image : tables.readback(DiskHandle(disk->path.c_str()).get()))
            EXPECT_TRUE(report.contains(QString("sector %1 is not on the disk").arg(image.sector)));
        recording.operations = operations;
        recording.disturbance = how;
        disk->faults->vanishafter = vanishes;
        return true;
    }
};

// Each operation of a session fails, is cut short, or is the last before the disks are gone. The
// tests take every so many-th; QUARN_SWEEP=1 takes them all.
TEST(Sweep, NoFailureIsTakenForSuccess)
{
    const Session whole(Disturbance::none, 0);
    ASSERT_TRUE(whole.reachedend) << whole.bench.dialogs.messages().join('\n').toStdString();
    ASSERT_EQ(whole.lost, 0);
    ASSERT_EQ(whole.writes, whole.planned);
    const bool all = qEnvironmentVariableIsSet("QUARN_SWEEP");
    const std::vector<Operation> &operations = whole.disk->recording->operations;
    int told = 0;
    for (const Disturbance how : {Disturbance::fail, Disturbance::cut, Disturbance::none}) {
        for (std::size_t i = 0; i < operations.size(); i++) {
            const bool disturbs =
                how == Disturbance::none || operations[i].bytes > 0 ||
                (how == Disturbance::fail && operations[i].kind == Operation::Kind::request);
            if (!disturbs || (!all && (i + static_cast<unsigned>(how)) % 11 != 0))
                continue;
            SCOPED_TRACE(testing::Message() << "disturbance " << int(how) << " of operation " << i);
            const Session session(how, i, how == Disturbance::none);
            std::set<std::uint64_t> asked = session.planned;
            asked.insert(whole.writes.begin(), whole.writes.end());
            EXPECT_TRUE(std::ranges::includes(asked, session.writes));
            told += session.lost > 0 ? 1 : 0;
        }
    }
    EXPECT_GT(told, 0);
}

} // namespace
