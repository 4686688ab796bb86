// Catches pages that pass the user's clicks, disks and texts on otherwise than they show them.
#include "tests/support/wizardbench.h"

namespace
{

constexpr auto back = WizardBench::back, next = WizardBench::next, skip = WizardBench::skip,
               prev = WizardBench::prev;

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
    /// The page's number and the buttons that show, each disabled one in brackets.
    std::string stands(bool done = true)
    {
        // what a screen of 1920 x 1080 at 200 % leaves below its task bar and the title
        EXPECT_LE(bench.wizard->minimumSizeHint().height(), 452);
        std::string text = done ? std::to_string(bench.current()) : "not done";
        const std::pair<QWizard::WizardButton, std::string> buttons[] = {
            {back, "back"},
            {skip, "skip"},
            {prev, "prev"},
            {next, "next"},
            {QWizard::CancelButton, "cancel"}};
        for (const auto &[which, name] : buttons) {
            if (bench.wizard->button(which)->isVisible())
                text += bench.offered(which) ? " " + name : " (" + name + ")";
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
    EXPECT_EQ(stands(bench.click(next)), "0 (back) next cancel");
    EXPECT_EQ(said(), "warning:error:Please select a disk to proceed.\n");

    // The system's disk is listed and refused; texts of devices are no shortcuts.
    bench.adddisk(100, 255, 63);
    bench.adddisk(5)->path = "sim1#d&a&b#serial#class";
    bench.backend.systempaths = {bench.backend.disks[0]->path};
    bench.open(-1);
    const auto rows = bench.wizard->findChildren<QRadioButton *>();
    ASSERT_EQ(rows.size(), 2);
    EXPECT_EQ(rows[0]->text(), "disk0,0.8G(running OS installed here, don't partition it)");
    EXPECT_EQ(rows[1]->text(), "a-b,0.0G");
    EXPECT_FALSE(rows[0]->isEnabled());
    EXPECT_TRUE(rows[1]->isEnabled());
    EXPECT_FALSE(rows[1]->isChecked());
    EXPECT_FALSE(bench.wizard->windowIcon().pixmap(48).isNull());
}

// The row says which disk it is and what it holds; what could not be read is not empty.
TEST_F(Wizard, RowsTellWhatTheDisksHold)
{
    platform::DiskDescription description;
    description.serial = "s-1";
    description.bus = "USB";
    description.model = "<b>M";
    platform::DiskContents contents;
    contents.table = "dos";
    contents.volumes = {{1, 0, 5'000'000'000, "ext4", "my\ndata", true},
                        {5, 0, 100'000'000, "", "", true},
                        {6, 0, 0, "", "", false}};
    for (int i = 0; i < 4; ++i)
        bench.adddisk(i < 2 ? 4 : 364'801, i < 2 ? 2 : 255, i < 2 ? 25 : 63)->sectorsize = 512;
    bench.backend.disks[0]->description = description;
    bench.backend.disks[0]->contents = contents;
    bench.backend.disks[1]->contents.emplace();
    bench.backend.disks[1]->inuse = "mounted at /x";
    bench.backend.disks[2]->inuse = "mounted at D:";
    bench.backend.disks[2]->claimable = true; // a claim ends that use
    bench.backend.disks[2]->contents =
        platform::DiskContents{"", {{0, 0, 3'000'590'369'280, "xfs", "", true}}};
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

TEST_F(Wizard, HostileNamesStayPlainText)
{
    const auto disk = bench.adddisk(4, 2, 16);
    disk->identitymap = 1;
    disk->identity = platform::identitywithmodel("<b>&lt;x\r\n\x1b[2J../../etc/x:%1%n\x7f");
    bool plain = true;
    bench.dialogs.custom = [&plain](QWidget *widget) {
        const auto *box = qobject_cast<QMessageBox *>(widget);
        plain = plain && box && box->textFormat() == Qt::PlainText;
        return false;
    };
    bench.openscanpage();
    EXPECT_EQ(bench.selectpage()->diskgroup->button(0)->text(),
              "<b>&&lt;x???[2J../../etc/x:%1%n?,0.0G");
    EXPECT_STREQ(bench.scanpage()->filename, "_b_&lt;x___[2J.._.._etc_x_%1%n_");
    EXPECT_TRUE(bench.runscan());
    EXPECT_TRUE(plain);
    EXPECT_EQ(bench.dialogs.messages().size(), 1);
}

// Back and Next through all pages, by the buttons alone; each click has one effect.
TEST_F(Wizard, ThePagesHandTheNextButtonOn)
{
    const auto disk = bench.adddisk(60);
    bench.open();
    EXPECT_EQ(stands(), "0 (back) next cancel");
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(stands(bench.click(next)), "1 back skip (prev) next cancel");
        EXPECT_EQ(stands(bench.click(skip)), "2 back next cancel");
        EXPECT_EQ(stands(bench.click(back)), "1 back skip (prev) next cancel");
        EXPECT_EQ(stands(bench.click(back)), "0 (back) next cancel");
    }
    // Next starts a run and does not advance; a run locks every button.
    EXPECT_EQ(stands(bench.click(next, next)), "1 (back) (skip) (prev) (next) (cancel)");
    // with a record in the file, there is something to go on from
    EXPECT_TRUE(bench.wait([this] { return bench.scanpage()->curseg > 0; }));
    bench.abortscan();
    EXPECT_TRUE(bench.waitrun());
    EXPECT_EQ(stands(), "1 back skip prev next cancel");
    EXPECT_EQ(stands(bench.runscan()), "2 back next (cancel)");
    EXPECT_EQ(stands(bench.click(back)), "1 back (skip) prev next (cancel)");
    EXPECT_EQ(stands(bench.click(prev)), "2 back next (cancel)");
    said();
    for (int round = 1; round < 3; ++round) {
        EXPECT_EQ(stands(bench.click(next)), "3 back");
        EXPECT_EQ(said(), "");
        int commits = 0;
        for (const platform::Operation &one : disk->recording->operations)
            commits += one.kind == platform::Operation::Kind::write && one.offset == 0;
        EXPECT_EQ(commits, round);
        EXPECT_EQ(stands(bench.click(back)), "2 back next (cancel)");
    }
    // All the way back; the first page's Next is the wizard's own again, and all is offered anew.
    EXPECT_EQ(stands(bench.click(back, back)), "0 (back) next (cancel)");
    EXPECT_EQ(stands(bench.click(next)), "1 back skip prev next cancel");

    bench.planner()->partresult = {"", 4, 1, 2, false, OnDisk::whole, 0, {}, {}};
    bench.lastpage()->initializePage();
    EXPECT_EQ(bench.lastpage()->headlabel->text(),
              "Created 4 primary partitions,1 primary extended partition, and 2 logical disks. The "
              "detailed partition infomation is as follows.");
    const QString order = "The partitions are not in disk order and may be incompatible with some "
                          "software.\n";
    const QString closing = bench.lastpage()->closinglabel->text();
    bench.planner()->partresult.indiskorder = true;
    bench.lastpage()->initializePage();
    EXPECT_EQ(bench.lastpage()->closinglabel->text(), QString(closing).remove(order));
    EXPECT_TRUE(closing.contains(order));
}

TEST_F(Wizard, AGuessedGeometryCanBeCorrected)
{
    const auto disk = bench.adddisk(1);
    disk->geometry.reset();
    disk->partitionlength = disk->bytes = 1000000000;
    bench.open();
    QStringList answers; // what is typed into the fields; "cancel" cancels
    QString shown;       // what stood there
    bool waiting = false;
    bench.dialogs.custom = [&](QWidget *widget) {
        auto *dialog = qobject_cast<GeomDlg *>(widget);
        if (!dialog || waiting || answers.isEmpty())
            return dialog && waiting;
        shown.clear();
        QStringList typed = answers.takeFirst().split(',');
        const auto button = typed[0] == "cancel" ? QDialogButtonBox::Cancel : QDialogButtonBox::Ok;
        for (QLineEdit *edit :
             {dialog->bytesedit, dialog->sectorsedit, dialog->headsedit, dialog->cylindersedit}) {
            shown += edit->text() + ",";
            if (button == QDialogButtonBox::Ok && !typed.isEmpty())
                edit->setText(typed.takeFirst());
        }
        // later, since a refusal opens its box before the click returns
        waiting = true;
        QMetaObject::invokeMethod(
            dialog,
            [&waiting, pressed = dialog->buttonbox->button(button)] {
                waiting = false;
                pressed->click();
            },
            Qt::QueuedConnection);
        return true;
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
        EXPECT_EQ(g, row.geometry);
        EXPECT_EQ(bench.scanpage()->diskgeom, g);
        EXPECT_EQ(bench.scanpage()->segnum, g.cylinders < 500 ? int(g.cylinders) : 500);
        EXPECT_TRUE(bench.click(back));
    }
}
