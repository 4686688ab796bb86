// Catches a window that stands still, or takes a press for what it was not meant for, while the
// disk works, and an abort that comes late or leaves a trace.
#include "scan/scanfile.h"
#include "scan/surfaceview.h"
#include "tests/support/planchecker.h"
#include "tests/support/wizardbench.h"
#include "views/diskjob.h"
#include "views/jobdialog.h"
#include "views/surfacemap.h"

#include <random>

namespace
{

using Kind = platform::Operation::Kind;
constexpr auto next = WizardBench::next, back = WizardBench::back, prev = WizardBench::prev;

// A disk of 12 cylinders with 4 sectors each: one read for each segment.
class Responsive : public ::testing::Test
{
protected:
    void SetUp() override
    {
        QFile::remove("disk0");
        bench.openscanpage();
        disk->faults->delay = delay;
        disk->recording->clear();
    }
    std::size_t count(Kind kind) { return disk->recording->count(kind); }
    bool stays() { return bench.current() == bench.wizard->partitionpageid; }
    /// The dialog of the work in progress.
    static JobDialog *dialog()
    {
        for (QWidget *window : QApplication::topLevelWidgets()) {
            auto *found = qobject_cast<JobDialog *>(window);
            if (found && found->isVisible())
                return found;
        }
        return nullptr;
    }
    /// Calls `act` once the dialog of some work shows, amid a transfer.
    void duringwork(const std::function<void()> &act)
    {
        auto *poll = new QTimer(&bench.dialogs);
        poll->callOnTimeout([this, act, poll] {
            if (!dialog())
                return;
            poll->deleteLater();
            poll->stop();
            QTimer::singleShot(delay / 3, &bench.dialogs, act);
        });
        poll->start(5);
    }

    // Longer for a look by hand.
    const std::chrono::milliseconds delay{
        std::max(qEnvironmentVariableIntValue("QUARN_READ_MILLISECONDS"), 300)};
    WizardBench bench;
    std::shared_ptr<platform::RecordedDisk> disk = bench.adddisk(12, 2, 2);
};

} // namespace

// A whole session in which every transfer is slow: the event loop keeps running, and presses of all
// kinds on everything but the work's dialog have no effect.
TEST_F(Responsive, InputDuringWorkGoesNowhere)
{
    std::mt19937 random(7);
    QTimer watchdog, presses;
    qint64 longest = 0; // that the event loop did not serve a timer, in milliseconds
    QElapsedTimer served;
    served.start();
    watchdog.callOnTimeout([&] { longest = std::max(longest, served.restart()); });
    watchdog.start(10);
    int pressed = 0;
    QString labels;
    presses.callOnTimeout([&] {
        if (!InputGuard::active())
            return;
        labels += dialog() ? dialog()->labelText() : QString();
        QList<QWidget *> targets = bench.wizard->findChildren<QWidget *>();
        targets.removeIf([](QWidget *one) { return !one->isVisible() || !one->isEnabled(); });
        QWidget *const target = targets[static_cast<qsizetype>(random()) % targets.size()];
        const Qt::Key keys[] = {Qt::Key_Return, Qt::Key_Space, Qt::Key_Escape, Qt::Key_Delete};
        ++pressed;
        QTest::keyClick(target, keys[random() % 4]);
        QTest::keyClick(bench.wizard.get(), Qt::Key_N, Qt::AltModifier);
        bench.wizard->button(next)->click(); // as a screen reader does
        for (const auto which : {next, back, bench.skip, prev, QWizard::CancelButton})
            QTest::mouseClick(bench.wizard->button(which), Qt::LeftButton);
        if (QPushButton *abort = dialog() ? dialog()->findChild<QPushButton *>() : nullptr) {
            QKeyEvent repeated(QEvent::KeyPress, Qt::Key_Return, {}, QString(), true);
            QApplication::sendEvent(abort, &repeated);
        }
        for (QWidget *one : {target, bench.scanpage()->surfaceview->map->focusProxy()})
            QTest::mouseClick(one, Qt::LeftButton);
    });
    presses.start(20);

    disk->faults->unreadable.add(5 * 4 + 1);
    ASSERT_TRUE(bench.runscan());
    EXPECT_EQ(readscanfile("disk0").state, ScanFileState::complete);
    EXPECT_EQ(bench.scanpage()->intsegs, (std::vector<SEG>{{0, 3, 0}, {4, 6, 1}, {7, 11, 0}}));
    EXPECT_LE(bench.scanpage()->surfaceview->map->currentcell(), 0); // 0 comes with the focus
    ASSERT_TRUE(stays());
    disk->faults->delay = delay * 7 / 5; // the boundary's eight reads take more than 3 s
    ASSERT_TRUE(bench.click(back, prev));
    disk->faults->delay = delay;
    ASSERT_TRUE(stays());
    const QByteArray file = filecontent("disk0");
    selectblocks(*bench.planner(), {7});
    bench.planner()->rescan();
    EXPECT_EQ(bench.planner()->strategybox->currentIndex(), 0);
    EXPECT_EQ(blocktext(bench.planner()->extparts), "u0-4 b5-6 u7-11");
    EXPECT_EQ(count(Kind::write), 0U);
    ASSERT_TRUE(bench.click(next));
    EXPECT_EQ(bench.current(), bench.wizard->lastpageid);
    // the scan's end, and the boundary that the reused marks needed to move
    EXPECT_EQ(bench.dialogs.messages().size(), 3);
    EXPECT_EQ(filecontent("disk0"), file);
    EXPECT_EQ(QString::fromStdString(disk->recording->course()).count(" w0+1"), 1);

    EXPECT_GT(pressed, 50);
    EXPECT_TRUE(labels.contains("This can not be cancelled any more."));
    EXPECT_FALSE(labels.contains("waiting for the disk"));
    EXPECT_LT(longest, delay.count() * 9 / 10); // a read that blocks takes all of it
}

TEST_F(Responsive, AnAbortIsAnsweredAtOnceAndLeavesNoTrace)
{
    // a good segment, and one of many that fail
    for (const int aborted : {2, 5}) {
        ASSERT_TRUE(bench.click(next));
        if (aborted == 5)
            disk->faults->unreadable.add(5 * 4, 12 * 4);
        ASSERT_TRUE(bench.wait([&] { return bench.scanpage()->curseg == aborted; }));
        QString label;
        duringwork([&] {
            bench.abortscan();
            label = bench.scanpage()->scanprogress->labelText();
            EXPECT_FALSE(bench.offered(next));
        });
        ASSERT_TRUE(bench.waitrun());
        EXPECT_TRUE(label.startsWith("Stopping…")) << label.toStdString();
        EXPECT_TRUE(bench.offered(next));
        EXPECT_EQ(dialog(), nullptr);
        EXPECT_EQ(readscanfile("disk0").records, aborted);
        EXPECT_EQ(count(Kind::read), aborted + 1U);
        EXPECT_EQ(bench.scanpage()->segs[aborted].isbad, 0);
        disk->recording->clear();
    }

    // a re-test
    disk->faults->unreadable.clear();
    ASSERT_TRUE(bench.click(bench.skip));
    selectblocks(*bench.planner(), {0});
    const std::string before = planstate(*bench.planner());
    disk->faults->unreadable.add(0, 47);
    duringwork([] {
        if (dialog())
            dialog()->close();
    });
    bench.planner()->rescan();
    EXPECT_LT(count(Kind::read), 12U);
    EXPECT_EQ(planstate(*bench.planner()), before);
    EXPECT_TRUE(bench.dialogs.messages().isEmpty());
}

TEST_F(Responsive, AStalledDiskIsNamed)
{
    // between two calls of its work a dialog does not come up, however long a question stands
    JobDialog idle("", {}, 0, 0);
    disk->faults->delay = std::chrono::milliseconds(4200);
    ASSERT_TRUE(bench.click(next));
    QTimer::singleShot(3800, &bench.dialogs, [this] {
        EXPECT_EQ(bench.scanpage()->scanprogress->labelText(),
                  "Scanning disk...\nwaiting for the disk at 0.0 GB, 3 s");
        bench.abortscan();
    });
    EXPECT_TRUE(bench.waitrun());
    EXPECT_TRUE(idle.isHidden());
}

// Repeated keys do not press, and a press that began on another page does not.
TEST_F(Responsive, APressCountsOnThePageThatShows)
{
    disk->faults->delay = std::chrono::milliseconds(0);
    QAbstractButton *const button = bench.wizard->button(next);
    ASSERT_TRUE(bench.click(bench.skip));
    QTest::mouseClick(bench.wizard->button(back), Qt::LeftButton);
    QTest::mousePress(button, Qt::LeftButton);
    bench.scanpage()->skipscan();
    bench.wizard->back();
    EXPECT_FALSE(button->isDown());
    // a hand that is not still would push it down again
    QMouseEvent move(QEvent::MouseMove, QPointF(9, 9), button->mapToGlobal(QPointF(9, 9)),
                     Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(button, &move);
    QTest::mouseRelease(button, Qt::LeftButton);
    ASSERT_TRUE(bench.click(bench.skip)); // no run began
    button->setFocus();
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Space}) {
        for (const auto type : {QEvent::KeyPress, QEvent::KeyRelease}) {
            QKeyEvent repeated(type, key, Qt::NoModifier, QString(), true);
            QApplication::sendEvent(button, &repeated);
        }
    }
    { // what the window system delivers behind the work was pressed before
        const InputGuard guard;
        for (const auto type : {QEvent::KeyPress, QEvent::KeyRelease})
            QCoreApplication::postEvent(button, new QKeyEvent(type, Qt::Key_Space, {}));
    }
    QCoreApplication::processEvents();
    // on the page's blank ground, and where Return means something else or nothing
    DiskPartition *const page = bench.planner();
    page->strategybox->setCurrentIndex(1);
    for (QWidget *widget : std::initializer_list<QWidget *>{page, page->strategybox, page->treeview,
                                                            page->diagramview}) {
        widget->setFocus();
        for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter})
            QTest::keyClick(widget, key);
    }
    QTest::keyClick(bench.planner(), Qt::Key_Escape);
    EXPECT_TRUE(stays());
    EXPECT_TRUE(bench.wizard->isVisible());
    EXPECT_EQ(count(Kind::write), 0U);
}

// However Next is pressed, an open editor's value is in the table, or refused and nothing written.
TEST_F(Responsive, NextClosesTheEditorFirst)
{
    disk->faults->delay = std::chrono::milliseconds(0);
    ASSERT_TRUE(bench.click(bench.skip));
    DiskPartition *const page = bench.planner();
    page->strategybox->setCurrentIndex(1);
    const auto edit = [&](int column, const char *text) {
        bench.wizard->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(bench.wizard.get()));
        page->treeview->setCurrentIndex(page->treemodel->index(0, column));
        page->treeview->edit(page->treeview->currentIndex());
        auto *box = page->treeview->viewport()->findChild<QComboBox *>();
        ASSERT_TRUE(box);
        box->setEditText(text);
    };
    ASSERT_NO_FATAL_FAILURE(edit(startcolumn, "1000"));
    bench.wizard->button(next)->click();
    EXPECT_EQ(bench.dialogs.messages().size(), 1);
    // the box opens in the middle of the press and takes the release
    ASSERT_NO_FATAL_FAILURE(edit(startcolumn, "1000"));
    QTest::mousePress(bench.wizard->button(next), Qt::LeftButton);
    EXPECT_EQ(bench.dialogs.messages().size(), 2);
    EXPECT_TRUE(bench.wait([this] { return !bench.wizard->button(next)->isDown(); }, 1000));
    EXPECT_TRUE(stays());
    EXPECT_EQ(count(Kind::write), 0U);
    ASSERT_NO_FATAL_FAILURE(edit(typecolumn, "83"));
    QTest::keyClick(bench.wizard.get(), Qt::Key_N, Qt::AltModifier);
    EXPECT_EQ(bench.current(), bench.wizard->lastpageid);
    std::vector<std::uint8_t> table(512);
    EXPECT_TRUE(disk->store->load(0, table.data(), table.size()));
    EXPECT_EQ(table[0x1BE + 4], 0x83);
}
