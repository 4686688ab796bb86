#include "planner/diskpartition.h"
#include "scan/consolidation.h"
#include "tests/support/wizardbench.h"
#include "views/graphicsview.h"
#include "views/partitem.h"
#include "views/parttreemodel.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeView>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>

// Times what a user of the planner waits for, with a disk of 2 TB cut into as many blocks as a scan
// can leave, and with many more.

namespace
{

constexpr int repeats = 7;

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double milliseconds(const std::function<void()> &work)
{
    QElapsedTimer clock;
    clock.start();
    work();
    return static_cast<double>(clock.nsecsElapsed()) / 1e6;
}

/// Prints the medians of an operation, of what the views then do about it, and of a redraw.
void report(DiskPartition &page, const char *name, const std::function<void()> &before,
            const std::function<void()> &work, int times = repeats)
{
    std::vector<double> done, settled, diagram, whole;
    for (int i = 0; i < times; ++i) {
        before();
        QApplication::processEvents();
        done.push_back(milliseconds(work));
        settled.push_back(milliseconds([] { QApplication::processEvents(); }));
        diagram.push_back(milliseconds([&page] { page.diagramview->grab(); }));
        whole.push_back(milliseconds([&page] { page.grab(); }));
    }
    std::printf("%-34s %7d %9.2f %9.2f %9.2f %9.2f\n", name, static_cast<int>(page.extparts.size()),
                median(done), median(settled), median(diagram), median(whole));
    std::fflush(stdout);
}

void select(DiskPartition &page, int first, int last)
{
    page.diagramview->selectblock(first);
    for (int i = first; i < last; ++i)
        QTest::keyClick(page.diagramview, Qt::Key_Right, Qt::ShiftModifier);
}

/// Gives the planner what a scan would have found: every second segment damaged, or none.
void fill(WizardBench &bench, bool damaged)
{
    DiskScanPage *scan = bench.scanpage();
    std::vector<SEG> segs(scan->segs, scan->segs + scan->segnum);
    for (std::size_t i = 1; damaged && i < segs.size(); i += 2)
        segs[i].isbad = 1;
    integratesegs(segs.data(), scan->segnum, bench.planner()->segs);
    bench.planner()->onstrategychanged(0);
    QApplication::processEvents();
}

void strategies(DiskPartition &page, DialogAnswers &answers)
{
    const auto nothing = [] {};
    for (int i = 0; i < 6; ++i) {
        const QString name = QString("strategy %1%2").arg(i).arg(i > 3 ? ", with its dialogs" : "");
        report(page, qPrintable(name), nothing, [&page, i] { page.onstrategychanged(i); });
    }
    report(page, "default plan", nothing, [&page] { page.defaultpartition(); });
    const auto bare = [&page] {
        page.onstrategychanged(0);
        page.diagramview->selectblock(0);
    };
    report(page, "split into 50", bare, [&page] { page.splitpart(50); });
    report(
        page, "combine 50",
        [&page, &bare] {
            bare();
            page.splitpart(50);
            select(page, 0, 49);
        },
        [&page] { page.combineparts(); });
    report(
        page, "a logical disk more", [&page] { page.onstrategychanged(0); },
        [&page] {
            page.diagramview->selectblock(0);
            page.addld();
        });
    const auto full = [&page] { page.onstrategychanged(1); };
    report(page, "delete one of all", full, [&page] {
        page.diagramview->selectblock(200);
        page.delpart();
    });
    report(page, "select all by keys", full, [&page] {
        QTest::keyClick(page.diagramview, Qt::Key_Home);
        QTest::keyClick(page.diagramview, Qt::Key_End, Qt::ShiftModifier);
    });
    report(page, "resize", full, [&page] { page.resizepartdiagram(); });
    answers.takeseen();
}

void manyblocks(DiskPartition &page, DialogAnswers &answers)
{
    // ten blocks of fifty, all logical disks, and all of them joined
    const auto five = [&page] {
        page.onstrategychanged(0);
        page.diagramview->selectblock(0);
        page.splitpart(10);
        for (int i = 9; i >= 0; --i) {
            page.diagramview->selectblock(i);
            page.splitpart(50);
        }
        for (int i = 0; i < page.extparts.size(); ++i) {
            page.diagramview->selectblock(i);
            page.addld();
        }
    };
    report(
        page, "combine 500 logical disks",
        [&page, &five] {
            five();
            QTest::keyClick(page.diagramview, Qt::Key_Home);
            QTest::keyClick(page.diagramview, Qt::Key_End, Qt::ShiftModifier);
        },
        [&page] { page.combineparts(); });
    report(page, "move a boundary among 500", five, [&page] {
        const QModelIndex index = page.treemodel->findpart(page.extparts[250]);
        page.treemodel->setData(index.siblingAtColumn(2), 1002.5, Qt::EditRole);
    });
    answers.fallback = [](const DialogAnswers::Seen &seen) -> QVariant {
        return seen.text == "CMax:" ? 0.1 : 0.0;
    };
    report(
        page, "strategy 5, pieces of 0.1 GB", [] {}, [&page] { page.onstrategychanged(5); }, 3);
    report(
        page, "back to strategy 0", [&page] { page.onstrategychanged(5); },
        [&page] { page.onstrategychanged(0); }, 3);
}

void peakmemory()
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmHWM", 0) == 0)
            std::printf("%s\n", line.c_str());
    }
}

} // namespace

int main(int argc, char **argv)
{
    QElapsedTimer clock;
    clock.start();
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    QTemporaryDir folder;
    if (!folder.isValid() || !QDir::setCurrent(folder.path()))
        return 1;
    WizardBench bench;
    for (int i = 0; i < 3; ++i)
        bench.adddisk(243201, 255, 63);
    bench.open(-1);
    const bool shown = QTest::qWaitForWindowExposed(bench.wizard.get());
    std::printf("first page after %.0f ms\n", static_cast<double>(clock.nsecsElapsed()) / 1e6);
    if (!shown)
        return 1;
    if (argc > 1 && std::strcmp(argv[1], "start") == 0)
        return 0;

    bench.openscanpage();
    const bool memory = argc > 1 && std::strcmp(argv[1], "memory") == 0;
    bench.click(QWizard::CustomButton1);
    DiskPartition &page = *bench.planner();
    fill(bench, true);
    if (page.extparts.size() != 500) {
        std::fprintf(stderr, "%d blocks\n", static_cast<int>(page.extparts.size()));
        return 1;
    }
    if (memory) {
        page.onstrategychanged(1);
        QApplication::processEvents();
        page.grab();
        peakmemory();
        return 0;
    }
    std::printf("%-34s %7s %9s %9s %9s %9s\n", "milliseconds", "blocks", "operation", "views",
                "diagram", "page");
    strategies(page, bench.dialogs);
    fill(bench, false);
    manyblocks(page, bench.dialogs);
    peakmemory();
    return 0;
}
