#include "tests/support/wizardbench.h"

#include "wizard/geomdlg.h"

#include <QDialogButtonBox>
#include <QFile>
#include <QGroupBox>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTextEdit>

#include <gtest/gtest.h>

namespace
{

constexpr auto skipbutton = QWizard::CustomButton1;
constexpr auto prevbutton = QWizard::CustomButton2;

class Wizard : public ::testing::Test
{
protected:
    void SetUp() override { QFile::remove("disk0"); }

    std::string said()
    {
        std::string text;
        for (const DialogAnswers::Seen &one : bench.dialogs.takeseen())
            text += (one.kind + ":" + one.title + ":" + one.text + "\n").toStdString();
        return text;
    }
    /// The buttons that show, in layout order, each disabled one in brackets.
    std::string buttons()
    {
        const std::pair<QWizard::WizardButton, const char *> all[] = {
            {QWizard::BackButton, "back"},
            {skipbutton, "skip"},
            {prevbutton, "prev"},
            {QWizard::NextButton, "next"},
            {QWizard::CancelButton, "cancel"},
            {QWizard::FinishButton, "finish"},
            {QWizard::CommitButton, "commit"}};
        std::string text;
        for (const auto &[which, name] : all) {
            const QAbstractButton *button = bench.wizard->button(which);
            if (button->isVisible())
                text +=
                    button->isEnabled() ? std::string(name) + " " : "(" + std::string(name) + ") ";
        }
        return text;
    }
    /// How often the master boot sector of the disk was written.
    std::size_t commits()
    {
        std::size_t count = 0;
        for (const auto &operation : bench.backend.disks[0]->recording->operations)
            count += operation.kind == platform::Operation::Kind::write && operation.offset == 0;
        return count;
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
    EXPECT_EQ(buttons(), "(back) next cancel ");
    bench.click(QWizard::NextButton);
    EXPECT_EQ(said(), "warning:error:Please select a disk to proceed.\n");
    EXPECT_EQ(bench.current(), bench.wizard->selectdiskid);

    // The system's disk is listed and refused; texts of devices are no shortcuts.
    bench.adddisk(100, 255, 63);
    bench.adddisk(5);
    bench.backend.disks[1]->path = "sim1#d&a&b#serial#class";
    bench.backend.systempaths = {bench.backend.disks[0]->path};
    bench.open(-1);
    const auto rows = bench.selectpage()->diskbox->findChildren<QRadioButton *>();
    ASSERT_EQ(rows.size(), 2);
    EXPECT_EQ(rows[0]->text(), "disk0,0.8G(running OS installed here, don't partition it)");
    EXPECT_EQ(rows[1]->text(), "a-b,0.0G");
    EXPECT_TRUE(!rows[0]->isEnabled() && rows[1]->isEnabled() && !rows[1]->isChecked());
    DISKINFO disk = {"", "R&D <b>", 1234567, true};
    EXPECT_EQ(diskrowtext(disk), "R&D <b>,1234.6G(running OS installed here, don't partition it)");
    bench.click(QWizard::NextButton);
    EXPECT_EQ(said(), "warning:error:Please select a disk to proceed.\n");
    rows[1]->click();
    EXPECT_EQ(bench.selectpage()->selecteddisk, 1);
    EXPECT_TRUE(bench.click(QWizard::NextButton));
    EXPECT_EQ(bench.current(), bench.wizard->scanpageid);
    EXPECT_FALSE(bench.wizard->windowIcon().pixmap(48).isNull());
    EXPECT_EQ(bench.scanpage()->layout()->contentsMargins(), QMargins(100, 200, 100, 100));
}

// Back and Next through all pages, by the buttons alone; each click has one effect.
TEST_F(Wizard, ThePagesHandTheNextButtonOn)
{
    bench.adddisk(60);
    bench.open();
    const DpWizard &wizard = *bench.wizard;
    EXPECT_EQ(buttons(), "(back) next cancel ");
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(bench.click(QWizard::NextButton));
        ASSERT_EQ(bench.current(), wizard.scanpageid);
        EXPECT_EQ(buttons(), "back skip (prev) next cancel ");
        ASSERT_TRUE(bench.click(QWizard::BackButton));
        ASSERT_EQ(bench.current(), wizard.selectdiskid);
        EXPECT_EQ(buttons(), "(back) next cancel ");
    }
    ASSERT_TRUE(bench.click(QWizard::NextButton));
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(bench.click(skipbutton));
        ASSERT_EQ(bench.current(), wizard.partitionpageid);
        EXPECT_EQ(buttons(), "back next cancel ");
        ASSERT_TRUE(bench.click(QWizard::BackButton));
        ASSERT_EQ(bench.current(), wizard.scanpageid);
        EXPECT_EQ(buttons(), "back skip (prev) next cancel ");
    }
    // Next starts a run and does not advance; a run locks every button.
    EXPECT_EQ(wizard.button(QWizard::NextButton)->text(), wizard.buttonText(QWizard::NextButton));
    ASSERT_TRUE(bench.click(QWizard::NextButton));
    EXPECT_EQ(bench.current(), wizard.scanpageid);
    EXPECT_EQ(buttons(), "(back) (skip) (prev) (next) (cancel) ");
    bench.abortscan();
    EXPECT_EQ(buttons(), "back skip prev next cancel ");
    ASSERT_TRUE(bench.runscan());
    ASSERT_EQ(bench.current(), wizard.partitionpageid);
    EXPECT_EQ(buttons(), "back next (cancel) ");
    said();
    ASSERT_TRUE(bench.click(QWizard::BackButton));
    EXPECT_EQ(buttons(), "back (skip) prev next (cancel) ");
    ASSERT_TRUE(bench.click(prevbutton));
    ASSERT_EQ(bench.current(), wizard.partitionpageid);

    for (std::size_t round = 1; round < 3; ++round) {
        ASSERT_TRUE(bench.click(QWizard::NextButton));
        ASSERT_EQ(bench.current(), wizard.lastpageid);
        EXPECT_EQ(commits(), round);
        EXPECT_EQ(buttons(), "back ");
        EXPECT_EQ(said(), "");
        const PARTRESULT &result = bench.planner()->partresult;
        EXPECT_EQ(bench.lastpage()->headlabel->text(),
                  QString("Created %1 primary partitions,%2 primary extended partition, and %3 "
                          "logical disks. The detailed partition infomation is as follows.")
                      .arg(result.primarycount)
                      .arg(result.extendedcount)
                      .arg(result.logicalcount));
        EXPECT_EQ(bench.lastpage()->reportedit->toPlainText(), result.report);
        EXPECT_EQ(bench.lastpage()->closinglabel->text(),
                  "Partition data has been written to the hard disk. You may need to reset your "
                  "computer to see the changes.\nThanks for using this program!");
        ASSERT_TRUE(bench.click(QWizard::BackButton));
        ASSERT_EQ(bench.current(), wizard.partitionpageid);
        EXPECT_EQ(buttons(), "back next (cancel) ");
    }
    bench.planner()->partresult = {"", 4, 0, 0, false};
    bench.lastpage()->initializePage();
    EXPECT_EQ(bench.lastpage()->closinglabel->text().count('\n'), 2);

    // All the way back; the first page's Next is the wizard's own again, and all is offered anew.
    ASSERT_TRUE(bench.click(QWizard::BackButton) && bench.click(QWizard::BackButton));
    ASSERT_EQ(bench.current(), wizard.selectdiskid);
    ASSERT_TRUE(bench.click(QWizard::NextButton));
    EXPECT_EQ(bench.current(), wizard.scanpageid);
    EXPECT_FALSE(bench.scanpage()->scantimer->isActive());
    EXPECT_TRUE(bench.offered(skipbutton) && bench.offered(prevbutton));
}

TEST_F(Wizard, AGuessedGeometryCanBeCorrected)
{
    const auto disk = bench.adddisk(1);
    disk->geometry.reset();
    disk->partitionlength = disk->bytes = 1000000000;
    bench.open();
    std::vector<QStringList> answers; // what to type; an empty list cancels
    QStringList shown;
    bench.dialogs.custom = [&](QWidget *widget) {
        auto *dialog = qobject_cast<GeomDlg *>(widget);
        if (!dialog)
            return false;
        QLineEdit *const edits[] = {dialog->bytesedit, dialog->sectorsedit, dialog->headsedit,
                                    dialog->cylindersedit};
        shown.clear();
        for (const QLineEdit *edit : edits)
            shown.append(edit->text());
        const QStringList typed = answers.front();
        answers.erase(answers.begin());
        for (qsizetype i = 0; i < typed.size(); ++i)
            edits[i]->setText(typed[i]);
        dialog->buttonbox->button(typed.isEmpty() ? QDialogButtonBox::Cancel : QDialogButtonBox::Ok)
            ->click();
        return true;
    };
    const auto enter = [&](const std::vector<QStringList> &typed) {
        answers = typed;
        EXPECT_TRUE(bench.click(QWizard::NextButton));
        EXPECT_TRUE(answers.empty());
        EXPECT_EQ(g, bench.scanpage()->diskgeom);
        EXPECT_EQ(bench.scanpage()->segnum,
                  static_cast<int>(std::min<std::uint64_t>(g.cylinders, 500)));
        EXPECT_TRUE(bench.click(QWizard::BackButton));
        return said();
    };
    const geom guess = {255, 63, 512, 121, 16065, 8225280, 1000000000, 1953125};
    EXPECT_EQ(enter({{}}), "");
    EXPECT_EQ(shown, QStringList({"512", "63", "255", "121"}));
    EXPECT_EQ(g, guess);
    EXPECT_EQ(enter({{"512", "63", "255", "7"}}), "");
    EXPECT_EQ(g, guess);
    EXPECT_EQ(enter({{"512", "63", "16", "x"}}), "");
    EXPECT_EQ(g.sectorspercyl, 1008U);
    EXPECT_EQ(g.cylinders, 1000000000U / (1008 * 512));

    const std::string bytes = "warning:error:\"bytes per sector\" must be a power of two from 512 "
                              "to 4096.\n";
    const std::string sectors =
        "warning:error:\"sectors per track\" must be a number from 1 to 63.\n";
    const std::string heads = "warning:error:\"heads number\" must be a number from 1 to 256.\n";
    EXPECT_EQ(enter({{"0", "63", "255"},
                     {"1000"},
                     {"8192"},
                     {"-512"},
                     {"512", ""},
                     {"512", "64"},
                     {"512", "63", "257"},
                     {"512", "63", "99999999999"},
                     {}}),
              bytes + bytes + bytes + bytes + sectors + sectors + heads + heads);
    // What was typed was there again, and Cancel keeps the guess.
    EXPECT_EQ(shown, QStringList({"512", "63", "99999999999", "121"}));
    EXPECT_EQ(g, guess);
    EXPECT_EQ(enter({{"x", "63", "255"}, {"4096", "1", "256"}}), bytes);
    EXPECT_EQ(g, (geom{256, 1, 4096, 953, 256, 1048576, 1000000000, 244140}));
}
