// Catches a byte that the whole job, done by clicks or by keys, leaves otherwise in the scan file
// or on the medium than worked out by hand, and tables that other programs do not read so.
#include "tests/support/loopdisk.h"
#include "tests/support/wizardbench.h"

#include <set>

// The whole job, from the first page to the last, by clicks: on a simulated disk and on a block
// device with real damage. Both report no geometry, so the guess stands: 2 GiB are 261 cylinders
// of 16065 sectors, one segment each. What must lie on the medium was worked out by hand.
namespace
{

constexpr std::uint64_t cylinder = 16065;

// The sectors with damage: in the first cylinder (behind the first two tracks), in four places, and
// in the last segment.
const std::set<std::uint64_t> damagedsegments = {0, 50, 100, 130, 200, 260};
constexpr std::uint64_t damagedsector(std::uint64_t segment)
{
    return segment * cylinder + 200;
}

// The good stretches that are left with a margin of one segment: three primaries and two logical
// disks.
const std::vector<SEG> stretches = {{0, 1, 1},     {2, 48, 0},    {49, 51, 1},   {52, 98, 0},
                                    {99, 101, 1},  {102, 128, 0}, {129, 131, 1}, {132, 198, 0},
                                    {199, 201, 1}, {202, 258, 0}, {259, 260, 1}};

QByteArray table(const char *entries)
{
    return QByteArray(0x1BE, '\0') + QByteArray::fromHex(entries).leftJustified(64, '\0') +
           "\x55\xAA";
}

QByteArray expectedfile()
{
    QByteArray bytes =
        QByteArray::fromHex("ff0000003f00000000020000000000000501000000000000c13e000000000000"
                            "00827d000000000000000080000000000000400000000000");
    for (unsigned i = 0; i < 261; i++) {
        QByteArray record(24, '\0');
        record[0] = record[8] = static_cast<char>(i);
        record[1] = record[9] = static_cast<char>(i >> 8);
        record[16] = damagedsegments.contains(i);
        bytes += record;
    }
    return bytes;
}

class WholeRun : public ::testing::Test
{
protected:
    /// From the first page to the last, with the strategy of all good blocks. Then all that the
    /// commit writes is compared, but for the clock in the first sector.
    void walk(const std::string &node, const std::function<QByteArray(std::uint64_t)> &load)
    {
        bench.open(-1);
        const int row = bench.rowof(node);
        ASSERT_GE(row, 0) << node << " is not listed";
        QAbstractButton *disk = bench.selectpage()->diskgroup->button(row);
        if (bench.bykeyboard) {
            ASSERT_TRUE(bench.reach(disk));
            QTest::keyClick(disk, Qt::Key_Space);
        } else {
            disk->click();
        }
        EXPECT_EQ(bench.unnamed(), QStringList());
        ASSERT_TRUE(bench.click(WizardBench::next));
        EXPECT_EQ(bench.unnamed(), QStringList());
        ASSERT_TRUE(bench.click(WizardBench::next) && bench.waitrun(280'000));
        ASSERT_EQ(bench.current(), bench.wizard->partitionpageid);
        EXPECT_EQ(bench.unnamed(), QStringList());
        // no closed dialog is left for screen readers
        EXPECT_EQ(QAccessible::queryAccessibleInterface(qApp)->childCount(), 1);
        EXPECT_EQ(bench.scanpage()->intsegs, stretches);
        EXPECT_EQ(filecontent(bench.scanpage()->filename), expectedfile());
        QComboBox *strategies = bench.planner()->strategybox;
        ASSERT_TRUE(bench.reach(strategies));
        EXPECT_TRUE(bench.planner()->plannote->toolTip().contains(" 0.049 GB lost to damage, "));
        QTest::keyClick(strategies, Qt::Key_Down);
        ASSERT_TRUE(bench.click(WizardBench::next));
        const QStringList messages = bench.dialogs.messages();
        ASSERT_EQ(bench.current(), bench.wizard->lastpageid) << messages.join("; ").toStdString();
        EXPECT_TRUE(messages.join("; ").startsWith("Scan completed."));
        EXPECT_EQ(messages.size(), 1);
        EXPECT_EQ(bench.unnamed(), QStringList());
        EXPECT_EQ(bench.lastpage()->reportedit->toPlainText().count('\n'), 6);
        EXPECT_TRUE(bench.reach(bench.wizard->button(WizardBench::back)));

        EXPECT_EQ(load(0).replace(0x1B8, 4, QByteArray(4, '\0')),
                  table("0000010207fe3f30827d00006f850b00"
                        "0000013407fe3f6234bf0c006f850b00"
                        "0000016607fe3f80e60019005b9e0600"
                        "000001840ffe7f02845b2000bf211f00"));
        EXPECT_EQ(load(132 * cylinder), table("0001018407fe3fc63f000000446c1000"
                                              "000001ca0ffe7f02c6281100f9f80d00"));
        EXPECT_EQ(load(202 * cylinder), table("000101ca07fe7f023f000000baf80d00"));
        EXPECT_EQ(load(1),
                  QByteArray::fromHex("d9dc65411f1b430605010000c000000000007000000000001c0000007000"
                                      "00000000000001c00000000000001800")
                      .leftJustified(512, '\0'));
    }
    WizardBench bench;
    std::shared_ptr<platform::RecordedDisk> simulated = bench.adddisk(65536, 8, 8);
};

} // namespace

TEST_F(WholeRun, OnASimulatedDiskByKeyboardAlone)
{
    bench.bykeyboard = true;
    simulated->geometry.reset();
    for (const std::uint64_t segment : damagedsegments)
        simulated->faults->unreadable.add(damagedsector(segment));
    walk("sim0", [this](std::uint64_t number) {
        QByteArray sector(512, 'x');
        EXPECT_TRUE(simulated->store->load(number * 512, sector.data(), 512));
        return sector;
    });
    // the search for two good sectors tested both, the commit wrote record, table and chain
    EXPECT_EQ(simulated->recording->count(platform::Operation::Kind::write), 6U);
}

TEST_F(WholeRun, OnABlockDeviceWithDamage)
{
    std::string why;
    if (!LoopDisk::available(why))
        GTEST_SKIP() << why;
    std::string damage;
    for (const char *option : {" read=", " write="}) {
        for (const std::uint64_t segment : damagedsegments)
            damage += option + std::to_string(damagedsector(segment));
    }
    const LoopDisk disk(2147483648, damage, "wholerun");
    ASSERT_FALSE(disk.node.empty()) << disk.error;
    platform::setbackend(nullptr);
    const auto run = [](const QString &command) {
        return QByteArray::fromStdString(outputof(command.toStdString()));
    };
    const QString target = QString::fromStdString(disk.node);
    run("printf 'label: dos\n63,9000\n20000,4000000,E\n20063,9000\n40063,9000\n' | sfdisk -q "
        "--no-reread " +
        target);
    const QByteArray oldtable = run("sfdisk --dump " + target);
    const auto start = [&disk] {
        return disk.medium(0, 126 * 512) + disk.medium(132 * cylinder * 512, 512) +
               disk.medium(202 * cylinder * 512, 512) + disk.medium(40000 * 512, 512);
    };
    const std::string old = start();
    ASSERT_NO_FATAL_FAILURE(walk(disk.node, [&disk](std::uint64_t number) {
        return QByteArray::fromStdString(disk.medium(number * 512, 512));
    }));

    // What others read in it.
    const QByteArray read = run("sfdisk --dump " + target).simplified();
    for (const char *partition :
         {"1 : start= 32130, size= 755055, type=7", "2 : start= 835380, size= 755055, type=7",
          "3 : start= 1638630, size= 433755, type=7", "4 : start= 2120580, size= 2040255, type=f",
          "5 : start= 2120643, size= 1076292, type=7", "6 : start= 3245193, size= 915642, type=7"})
        EXPECT_TRUE(read.contains(partition)) << partition << read.toStdString();

    // The way back: by the program, and by the tools that the file's header names.
    const QStringList kept = QDir().entryList({QString(bench.scanpage()->filename) + ".tables-*"});
    ASSERT_EQ(kept.size(), 1);
    EXPECT_NE(start(), old);
    ASSERT_TRUE(bench.click(WizardBench::back, WizardBench::back, WizardBench::back));
    bench.dialogs.consent = true;
    EXPECT_TRUE(bench.restore().contains("are on the disk again."));
    EXPECT_EQ(start(), old);
    EXPECT_EQ(run("sfdisk --dump " + target), oldtable);
    run("dd if=/dev/urandom of=" + target + " bs=512 count=126 conv=fsync");
    run(QString("sed -n '/^dd /p;/^sha256/q' %1 | FILE=%1 DISK=%2 sh; sync").arg(kept[0], target));
    EXPECT_EQ(start().substr(0, 1024), old.substr(0, 1024));
    EXPECT_EQ(run("sfdisk --dump " + target), oldtable);
}
