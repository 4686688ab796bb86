// Catches pages that pass the user's clicks, disks and texts on otherwise than they show them.
#include "tests/support/wizardbench.h"

#include <sstream>

namespace
{

constexpr auto back = WizardBench::back, next = WizardBench::next, skip = WizardBench::skip,
               prev = WizardBench::prev, cancel = QWizard::CancelButton;

class Wizard : public ::testing::Test
{
protected:
    void SetUp() override { QFile::remove("disk0"); }

    std::string said()
    {
        QString text;
        for (const DialogAnswers::Seen &one : bench.dialogs.takeseen())
            text += one.kind + ":" + one.title + ":" + one.text + "\n";
        return text.toStdString();
    }
    /// The page's number and the letters of the buttons that show, each enabled one as a capital:
    /// Back, Skip scan, Use prev., Next, Cancel.
    std::string stands(bool done = true)
    {
        // what a screen of 1920 x 1080 at 200 % leaves below its task bar and the title
        EXPECT_LE(bench.wizard->minimumSizeHint().height(), 452);
        std::string text = done ? std::to_string(bench.current()) : "not done ";
        for (const auto &[which, letter] :
             {std::pair{back, 'b'}, {skip, 's'}, {prev, 'p'}, {next, 'n'}, {cancel, 'c'}}) {
            if (bench.wizard->button(which)->isVisible())
                text += static_cast<char>(bench.offered(which) ? std::toupper(letter) : letter);
        }
        return text;
    }

    WizardBench bench;
};

} // namespace

TEST_F(Wizard, AsksForADisk)
{
    bench.open(-1);
    EXPECT_EQ(said(), "warning:error:Can not detect any hard disk. \nPlease run quarn.exe as "
                      "administrator(probably by right-clicking quarn.exe and selecting \"Run as "
                      "Administrator\")\n");
    EXPECT_EQ(stands(bench.click(next)), "0bNC");
    EXPECT_EQ(said(), "warning:error:Please select a disk to proceed.\n");

    // The system's disk is listed and refused; texts of devices are no shortcuts, no markup, no
    // places for arguments and no folders.
    bench.adddisk(100, 255, 63);
    bench.adddisk(5)->path = "sim1#d&a&b#serial#class";
    const auto hostile = bench.adddisk(4);
    hostile->identitymap = 1;
    hostile->identity = platform::identitywithmodel("<b>&lt;x\r\n\x1b[2J../../etc/x:%1%n\x7f");
    bench.backend.systempaths = {bench.backend.disks[0]->path};
    bench.open(-1);
    EXPECT_EQ(bench.wizard->focusWidget(), bench.selectpage()->diskgroup->button(1));
    bench.openscanpage(2);
    QStringList rows;
    for (const auto *row : bench.wizard->findChildren<QRadioButton *>())
        rows.append(row->text() + (row->isEnabled() ? "" : "-") + (row->isChecked() ? "!" : ""));
    EXPECT_EQ(rows, QStringList({"disk0,0.8G(running OS installed here, don't partition it)-",
                                 "a-b,0.0G", "<b>&&lt;x???[2J../../etc/x:%1%n?,0.0G!"}));
    EXPECT_STREQ(bench.scanpage()->filename, "_b_&lt;x___[2J.._.._etc_x_%1%n_");
    EXPECT_TRUE(bench.runscan());
    EXPECT_TRUE(bench.dialogs.messages().last().contains("_b_&lt;x___[2J.._.._etc_x_%1%n_."));
    EXPECT_FALSE(bench.wizard->windowIcon().pixmap(48).isNull());
}

// The row says which disk it is and what it holds; what could not be read is not empty.
TEST_F(Wizard, RowsTellWhatTheDisksHold)
{
    for (int i = 0; i < 4; ++i)
        bench.adddisk(i < 2 ? 4 : 364'801, i < 2 ? 2 : 255, i < 2 ? 25 : 63)->sectorsize = 512;
    auto &disks = bench.backend.disks;
    platform::DiskDescription &description = disks[0]->description.emplace();
    description.serial = "s-1";
    description.bus = "USB";
    description.model = "<b>M";
    disks[0]->contents = {"dos",
                          {{1, 0, 5'000'000'000, "ext4", "my\ndata", true},
                           {5, 0, 100'000'000, "", "", true},
                           {6, 0, 0, "", "", false}}};
    disks[1]->contents.emplace();
    disks[1]->inuse = "mounted at /x";
    disks[2]->inuse = "mounted at D:";
    disks[2]->claimable = true; // a claim ends that use
    disks[2]->contents = {"", {{0, 0, 3'000'590'369'280, "xfs", "", true}}};
    bench.open();
    const char *const rows[] = {
        "sim0, USB, <b>M\nSerial number: S1\n102400 bytes, sectors of 512 bytes\n"
        "Gets a master boot sector\nPartition table: dos\n1: 5.0 GB, ext4, \"my?data\"\n5: 0.1 GB, "
        "no known file system\n"
        "6: 0.0 GB, could not be read",
        "sim1\nSerial number: not known\n102400 bytes, sectors of 512 bytes\nGets a "
        "master boot sector\nRefused, in use: mounted at /x\nIt holds no partition table and no "
        "known file system.",
        "sim2\nSerial number: not known\n3000590369280 bytes (3.0 TB), sectors of 512 bytes\nGets "
        "a GUID partition table\nIn use: mounted at D:\nWithout a partition table:\n3.0 TB, xfs",
        "sim3\nSerial number: not known\n3000590369280 bytes (3.0 TB), sectors of 512 bytes\nGets "
        "a GUID partition table\nWhat it holds can not be told here."};
    for (int i = 0; i < 4; ++i) {
        const QAbstractButton *row = bench.selectpage()->diskgroup->button(i);
        WizardBench::wait([row] { return !row->accessibleDescription().contains("being read"); });
        EXPECT_EQ(row->accessibleDescription(), rows[i]);
        EXPECT_EQ(row->isEnabled(), i != 1);
        EXPECT_EQ(row->toolTip().contains("&lt;b&gt;M"), i == 0);
    }
    bench.click(next, skip);
    EXPECT_TRUE(bench.planner()->toolTip().contains("Serial number: S1"));
}

// Back and Next through all pages, by the buttons alone; each click has one effect.
TEST_F(Wizard, ThePagesHandTheNextButtonOn)
{
    const auto disk = bench.adddisk(60);
    bench.open();
    disk->recording->clear();
    // clicks, and what stands then
    std::istringstream script("n 1BSpNC s 2BNC b 1BSpNC b 0bNC nsbbn 1BSpNC "
                              // Next starts a run and does not advance; a run locks every button;
                              // with a record in the file, there is something to go on from
                              "n 1bspnc a 1BSPNC nw 2BNc b 1BsPNc p 2BNc n 3B b 2BNc n 3B "
                              // all the way back: all is offered anew
                              "bbb 0bNc n 1BSPNC");
    for (std::string clicks, expected; script >> clicks >> expected;)
        EXPECT_EQ(stands(bench.clicks(QString::fromStdString(clicks))), expected) << clicks;
    // no key that comes too soon ticks the test that destroys all data
    EXPECT_EQ(bench.wizard->focusWidget(), bench.wizard->button(next));
    EXPECT_EQ(bench.dialogs.seen.size(), 1); // the end of the scan
    EXPECT_EQ(QString::fromStdString(disk->recording->course()).count(" w0+1"), 2);

    bench.planner()->partresult = {"", 4, 1, 2, false, OnDisk::whole, 0, {}, {}};
    for (const bool inorder : {false, true}) {
        bench.planner()->partresult.indiskorder = inorder;
        bench.lastpage()->initializePage();
        EXPECT_EQ(bench.lastpage()->closinglabel->text().contains(
                      "\nThe partitions are not in disk order and may be incompatible"),
                  !inorder);
    }
    EXPECT_EQ(bench.lastpage()->headlabel->text(),
              "Created 4 primary partitions,1 primary extended partition, and 2 logical disks. The "
              "detailed partition infomation is as follows.");
}

TEST_F(Wizard, AGuessedGeometryCanBeCorrected)
{
    const auto disk = bench.adddisk(1);
    disk->geometry.reset();
    disk->partitionlength = disk->bytes = 1000000000;
    bench.open();
    QStringList answers; // what is typed into the fields; "cancel" cancels
    QString shown;       // what stood there
    bench.dialogs.custom = [&](QWidget *widget) {
        auto *dialog = qobject_cast<GeomDlg *>(widget);
        if (!dialog || !dialog->isEnabled())
            return dialog != nullptr;
        shown.clear();
        const QStringList typed = answers.value(0, "cancel").split(',');
        answers = answers.mid(1);
        QLineEdit *const edits[] = {dialog->bytesedit, dialog->sectorsedit, dialog->headsedit,
                                    dialog->cylindersedit};
        for (int i = 0; i < 4; ++i) {
            shown += edits[i]->text() + ",";
            edits[i]->setText(typed.value(i, edits[i]->text()));
        }
        // later, since a refusal opens its box before the click returns
        dialog->setEnabled(false);
        const auto press = [dialog, button = typed.size() > 1 ? QDialogButtonBox::Ok
                                                              : QDialogButtonBox::Cancel] {
            dialog->setEnabled(true);
            dialog->buttonbox->button(button)->click();
        };
        return QMetaObject::invokeMethod(dialog, press, Qt::QueuedConnection);
    };
    const geom guess = {255, 63, 512, 121, 16065, 8225280, 1000000000, 1953125};
    const struct {
        QString answers, shown; // the last time
        geom geometry;
        std::string said = "";
    } cases[] = {{"512,63,16,x", "512,63,255,121,", withfactors(guess, 512, 63, 16)},
                 {"x,63 4096,1,256",
                  "x,63,255,121,",
                  {256, 1, 4096, 953, 256, 1048576, 1000000000, 244140},
                  "warning:error:\"bytes per sector\" must be a power of two from 512 to 4096.\n"},
                 // What was typed is there again, and Cancel keeps the guess.
                 {"512,64 512,63,99999999999 cancel", "512,63,99999999999,121,", guess,
                  "warning:error:\"sectors per track\" must be a number from 1 to 63.\n"
                  "warning:error:\"heads number\" must be a number from 1 to 256.\n"}};
    for (const auto &row : cases) {
        answers = row.answers.split(' ');
        EXPECT_TRUE(bench.click(next));
        EXPECT_TRUE(answers.isEmpty());
        EXPECT_EQ(shown, row.shown);
        EXPECT_EQ(said(), row.said);
        EXPECT_EQ(bench.scanpage()->diskgeom, row.geometry);
        EXPECT_EQ(bench.scanpage()->segs[bench.scanpage()->segnum - 1].stop, g.cylinders - 1);
        EXPECT_TRUE(bench.click(back));
    }
}
