#include "core/tlcore.h"
#include "planner/diskpartition.h"
#include "platform/simulated/simulated.h"
#include "scan/diskscanpage.h"
#include "tests/support/dialogs.h"
#include "tests/support/loopdisk.h"
#include "wizard/dpwizard.h"
#include "wizard/geomdlg.h"
#include "wizard/lastpage.h"
#include "wizard/selectdiskpage.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QComboBox>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>
#include <QTextEdit>

#include <gtest/gtest.h>

#include <algorithm>

// The whole job, from the first page to the last, by clicks: on a simulated disk and on a block
// device with real damage. Both report no geometry, so the guess stands: 2 GiB are 261 cylinders
// of 16065 sectors, one segment each.
namespace
{

constexpr std::uint64_t diskbytes = 2147483648;
constexpr std::uint64_t cylinder = 16065;
constexpr std::uint64_t track = 63;
constexpr int segments = 261;

// Damage in the first cylinder (behind the first two tracks), in four places, and in the last
// segment.
constexpr int damaged[] = {0, 50, 100, 130, 200, 260};
constexpr std::uint64_t damagedsector = 200;

// The good stretches that are left with a margin of one segment, in cylinders: three primaries and
// two logical disks.
constexpr struct {
    std::uint64_t start, stop;
} good[] = {{2, 48}, {52, 98}, {102, 128}, {132, 198}, {202, 258}};

using Bytes = std::vector<std::uint8_t>;

void put(Bytes &bytes, std::size_t offset, std::uint64_t value, int width)
{
    for (int i = 0; i < width; i++)
        bytes[offset + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(value >> 8 * i);
}

// One entry: no position here lies behind cylinder 1023.
void slot(Bytes &sector, int number, std::uint8_t type, std::uint64_t first, std::uint64_t last,
          std::uint64_t base)
{
    const std::size_t at = 0x1BE + 16 * static_cast<std::size_t>(number);
    const auto position = [&](std::size_t offset, std::uint64_t lba) {
        sector[at + offset] = static_cast<std::uint8_t>(lba / track % 255);
        sector[at + offset + 1] =
            static_cast<std::uint8_t>(lba % track + 1 + (lba / cylinder >> 8 << 6));
        sector[at + offset + 2] = static_cast<std::uint8_t>(lba / cylinder);
    };
    position(1, first);
    sector[at + 4] = type;
    position(5, last);
    put(sector, at + 8, first - base, 4);
    put(sector, at + 12, last - first + 1, 4);
}

Bytes tablesector()
{
    Bytes sector(512);
    sector[0x1FE] = 0x55;
    sector[0x1FF] = 0xAA;
    return sector;
}

std::uint64_t firstof(int block)
{
    return good[block].start * cylinder;
}

std::uint64_t lastof(int block)
{
    return (good[block].stop + 1) * cylinder - 1;
}

// All sectors that the commit writes, but for the clock in the first.
std::map<std::uint64_t, Bytes> expectedsectors(std::uint64_t mbr, std::uint64_t record)
{
    std::map<std::uint64_t, Bytes> sectors;
    Bytes table = tablesector();
    for (int i = 0; i < 3; i++)
        slot(table, i, 7, firstof(i), lastof(i), 0);
    slot(table, 3, 0x0F, firstof(3), lastof(4), 0);
    sectors[mbr] = table;
    Bytes chain = tablesector();
    slot(chain, 0, 7, firstof(3) + track, lastof(3), firstof(3));
    slot(chain, 1, 0x0F, firstof(4), lastof(4), firstof(3));
    sectors[firstof(3)] = chain;
    chain = tablesector();
    slot(chain, 0, 7, firstof(4) + track, lastof(4), firstof(4));
    sectors[firstof(4)] = chain;
    Bytes marks(512);
    put(marks, 0, 0x06431B1F4165DCD9, 8);
    put(marks, 8, segments, 4);
    for (int i = 0; i < segments; i++) {
        const bool bad = std::none_of(std::begin(good), std::end(good), [i](const auto &block) {
            return block.start <= static_cast<unsigned>(i) &&
                   static_cast<unsigned>(i) <= block.stop;
        });
        if (bad)
            marks[12 + static_cast<std::size_t>(i) / 8] |= static_cast<std::uint8_t>(0x80 >> i % 8);
    }
    sectors[record] = marks;
    return sectors;
}

Bytes expectedfile()
{
    Bytes bytes(56 + 24 * segments);
    put(bytes, 0, 255, 4);
    put(bytes, 4, 63, 4);
    put(bytes, 8, 512, 4);
    put(bytes, 16, segments, 8);
    put(bytes, 24, cylinder, 8);
    put(bytes, 32, cylinder * 512, 8);
    put(bytes, 40, diskbytes, 8);
    put(bytes, 48, diskbytes / 512, 8);
    for (unsigned i = 0; i < segments; i++) {
        put(bytes, 56 + 24 * i, i, 8);
        put(bytes, 64 + 24 * i, i, 8);
        bytes[72 + 24 * i] =
            std::count(std::begin(damaged), std::end(damaged), static_cast<int>(i)) != 0;
    }
    return bytes;
}

class WholeRun : public ::testing::Test
{
protected:
    void TearDown() override
    {
        platform::setbackend(nullptr);
        g = geom{};
    }

    template <class Page> Page *page(int id) { return qobject_cast<Page *>(wizard->page(id)); }

    void click(QWizard::WizardButton which)
    {
        ASSERT_TRUE(wizard->button(which)->isVisible() && wizard->button(which)->isEnabled());
        QTest::mouseClick(wizard->button(which), Qt::LeftButton);
    }

    void waitforpage(int id)
    {
        ASSERT_TRUE(QTest::qWaitFor([&] { return wizard->currentId() == id; }, 280'000))
            << dialogs.messages().join("; ").toStdString();
    }

    /// From the first page to the last, with the strategy of all good blocks.
    void walk(const std::string &node)
    {
        dialogs.custom = [this](QWidget *widget) {
            auto *dialog = qobject_cast<GeomDlg *>(widget);
            if (dialog) {
                guesses++;
                dialog->accept();
            }
            return dialog != nullptr;
        };
        wizard = std::make_unique<DpWizard>(nullptr);
        wizard->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(wizard.get()));
        auto *select = page<SelectDiskPage>(wizard->selectdiskid);
        int row = -1;
        for (std::size_t i = 0; i < select->alldisks.size(); i++) {
            if (std::string(select->alldisks[i].devicepath).starts_with(node + "#"))
                row = static_cast<int>(i);
        }
        ASSERT_GE(row, 0) << node << " is not listed";
        QTest::mouseClick(select->diskgroup->button(row), Qt::LeftButton);
        ASSERT_EQ(select->selecteddisk, row);
        click(QWizard::NextButton);
        ASSERT_EQ(wizard->currentId(), wizard->scanpageid);
        ASSERT_EQ(guesses, 1);
        auto *scan = page<DiskScanPage>(wizard->scanpageid);
        filename = scan->filename;
        ASSERT_FALSE(QFile::exists(filename));
        click(QWizard::NextButton);
        waitforpage(wizard->partitionpageid);
        ASSERT_EQ(scan->intsegs.size(), 11U);
        for (std::size_t i = 0; i < 5; i++) {
            EXPECT_EQ(scan->intsegs[2 * i + 1], (SEG{good[i].start, good[i].stop, 0}));
            EXPECT_EQ(scan->intsegs[2 * i].isbad, 1);
        }
        EXPECT_EQ(scan->intsegs.front().start, 0U);
        EXPECT_EQ(scan->intsegs.back(), (SEG{259, 260, 1}));
        page<DiskPartition>(wizard->partitionpageid)->strategybox->setCurrentIndex(1);
        click(QWizard::NextButton);
        ASSERT_EQ(wizard->currentId(), wizard->lastpageid)
            << dialogs.messages().join("; ").toStdString();
        EXPECT_EQ(dialogs.messages().size(), 1);
        EXPECT_TRUE(dialogs.messages().value(0).startsWith("Scan completed."));
        const QString report = page<LastPage>(wizard->lastpageid)->reportedit->toPlainText();
        EXPECT_TRUE(report.startsWith("Primary Partition,start=0.0GB,stop=0.4GB,size=0.4GB,"
                                      "type=NTFS,Inactive\n"))
            << report.toStdString();
        EXPECT_EQ(report.count('\n'), 6);

        QFile file(filename);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const QByteArray image = file.readAll();
        EXPECT_EQ(Bytes(image.begin(), image.end()), expectedfile());
        file.remove();
    }

    template <class Load>
    void comparesectors(std::uint64_t mbr, std::uint64_t record, const Load &load)
    {
        for (const auto &[number, expected] : expectedsectors(mbr, record)) {
            Bytes sector = load(number);
            if (number == mbr)
                std::fill_n(sector.begin() + 0x1B8, 4, std::uint8_t{0});
            EXPECT_EQ(sector, expected) << "sector " << number;
        }
    }

    std::shared_ptr<platform::SimulatedDisk> simulate()
    {
        auto disk = platform::simulateddisk("sim#disk&ven_a&prod_b#1#c", diskbytes);
        disk->geometry.reset();
        for (const int segment : damaged)
            disk->faults->unreadable.add(static_cast<unsigned>(segment) * cylinder + damagedsector);
        backend.disks = {disk};
        platform::setbackend(&backend);
        return disk;
    }

    platform::SimulatedBackend backend;
    DialogAnswers dialogs;
    std::unique_ptr<DpWizard> wizard;
    QString filename;
    int guesses = 0;
};

TEST_F(WholeRun, OnASimulatedDisk)
{
    const auto disk = simulate();
    ASSERT_NO_FATAL_FAILURE(walk("sim"));
    comparesectors(0, 1, [&](std::uint64_t number) {
        Bytes sector(512);
        EXPECT_TRUE(disk->store->load(number * 512, sector.data(), 512));
        return sector;
    });
    // the search for two good sectors tested both, the commit wrote record, table and chain
    EXPECT_EQ(disk->recording->transfers(platform::Operation::Kind::write, 512),
              (std::vector<std::uint64_t>(6, 1)));
    // another Next after Back is another commit
    click(QWizard::BackButton);
    disk->recording->clear();
    click(QWizard::NextButton);
    EXPECT_EQ(wizard->currentId(), wizard->lastpageid);
    EXPECT_EQ(disk->recording->count(platform::Operation::Kind::write), 6U);
}

TEST_F(WholeRun, WithTheFirstSectorsBad)
{
    const auto disk = simulate();
    disk->faults->unreadable.add(0, 2);
    disk->faults->unwritable.add(4);
    ASSERT_NO_FATAL_FAILURE(walk("sim"));
    comparesectors(3, 5, [&](std::uint64_t number) {
        Bytes sector(512);
        EXPECT_TRUE(disk->store->load(number * 512, sector.data(), 512));
        return sector;
    });
}

TEST_F(WholeRun, OnABlockDeviceWithDamage)
{
    std::string why;
    if (!LoopDisk::available(why))
        GTEST_SKIP() << why;
    LoopDisk::Options options;
    options.bytes = diskbytes;
    options.name = "wholerun";
    for (const int segment : damaged) {
        const std::uint64_t sector = static_cast<unsigned>(segment) * cylinder + damagedsector;
        options.badread.push_back({sector, sector});
        options.badwrite.push_back({sector, sector});
    }
    const LoopDisk disk(options);
    ASSERT_FALSE(disk.node.empty()) << disk.error;
    ASSERT_NO_FATAL_FAILURE(walk(disk.node));
    comparesectors(0, 1, [&](std::uint64_t number) {
        const std::string bytes = disk.medium(number * 512, 512);
        return Bytes(bytes.begin(), bytes.end());
    });

    // what others read in it
    QProcess sfdisk;
    sfdisk.start("sfdisk", {"--json", QString::fromStdString(disk.node)});
    ASSERT_TRUE(sfdisk.waitForFinished());
    const QJsonArray partitions = QJsonDocument::fromJson(sfdisk.readAllStandardOutput())
                                      .object()["partitiontable"]
                                      .toObject()["partitions"]
                                      .toArray();
    std::vector<std::string> found;
    for (const auto &one : partitions) {
        const QJsonObject partition = one.toObject();
        found.push_back(QString("%1+%2 %3")
                            .arg(partition["start"].toInteger())
                            .arg(partition["size"].toInteger())
                            .arg(partition["type"].toString())
                            .toStdString());
    }
    EXPECT_EQ(found, (std::vector<std::string>{"32130+755055 7", "835380+755055 7",
                                               "1638630+433755 7", "2120580+2040255 f",
                                               "2120643+1076292 7", "3245193+915642 7"}));
    QProcess parted;
    parted.start("parted", {"--script", "--machine", QString::fromStdString(disk.node), "unit", "s",
                            "print"});
    ASSERT_TRUE(parted.waitForFinished());
    const QString printed = parted.readAllStandardOutput();
    for (const char *line : {"1:32130s:787184s:755055s:", "4:2120580s:4160834s:2040255s:",
                             "5:2120643s:3196934s:1076292s:", "6:3245193s:4160834s:915642s:"})
        EXPECT_TRUE(printed.contains(line)) << printed.toStdString();
}

} // namespace
