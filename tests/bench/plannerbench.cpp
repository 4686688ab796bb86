#include "scan/consolidation.h"
#include "tests/support/planchecker.h"
#include "tests/support/wizardbench.h"

#include <cstdio>
#include <cstring>
#include <fstream>

// Measures how long a user of the planner waits, on a disk of 2 TB with as many blocks as a scan
// can leave, and with many more.

namespace
{

double milliseconds(const std::function<void()> &work)
{
    QElapsedTimer clock;
    clock.start();
    work();
    return static_cast<double>(clock.nsecsElapsed()) / 1e6;
}

/// Prints the median times of an operation, of the views' events that follow, and of a redraw.
void report(DiskPartition &page, const char *name, const std::function<void()> &before,
            const std::function<void()> &work, int repeats = 7)
{
    const std::function<void()> parts[] = {work, [] { QApplication::processEvents(); },
                                           [&page] { page.diagramview->grab(); },
                                           [&page] { page.grab(); }};
    std::vector<double> times[4];
    for (int i = 0; i < repeats; ++i) {
        before();
        QApplication::processEvents();
        for (int k = 0; k < 4; ++k)
            times[k].push_back(milliseconds(parts[k]));
    }
    std::printf("%-34s %7d", name, static_cast<int>(page.extparts.size()));
    for (std::vector<double> &values : times) {
        std::ranges::sort(values);
        std::printf(" %9.2f", values[values.size() / 2]);
    }
    std::puts("");
    std::fflush(stdout);
}

void selectall(DiskPartition &page)
{
    QTest::keyClick(page.diagramview, Qt::Key_Home);
    QTest::keyClick(page.diagramview, Qt::Key_End, Qt::ShiftModifier);
}

/// Gives the planner a scan result: every second segment damaged, or none.
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

void strategies(DiskPartition &page)
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
    const auto split = [&page, bare] {
        bare();
        page.splitpart(50);
        for (int i = 0; i < 50; ++i)
            page.extparts[i]->item->setSelected(true);
    };
    report(page, "split into 50", bare, [&page] { page.splitpart(50); });
    report(page, "combine 50", split, [&page] { page.combineparts(); });
    report(page, "add a logical disk", bare, [&page] { page.addld(); });
    const auto full = [&page] {
        page.onstrategychanged(1);
        page.diagramview->selectblock(200);
    };
    report(page, "delete one of all", full, [&page] { page.delpart(); });
    report(page, "select all by keys", full, [&page] { selectall(page); });
    report(page, "resize", full, [&page] { page.resizepartdiagram(); });
}

void manyblocks(DiskPartition &page, DialogAnswers &answers)
{
    // ten blocks, each split into fifty logical disks; all are then combined
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
        selectall(page);
    };
    report(page, "combine 500 logical disks", five, [&page] { page.combineparts(); });
    report(page, "move a boundary among 500", five, [&page] {
        const QModelIndex index = page.treemodel->findpart(page.extparts[250]);
        page.treemodel->setData(index.siblingAtColumn(2), 1002.5, Qt::EditRole);
    });
    answers.fallback = [](const DialogAnswers::Seen &seen) -> QVariant {
        return seen.text == "CMax:" ? 0.1 : 0.0;
    };
    const auto many = [&page] { page.onstrategychanged(5); };
    report(
        page, "strategy 5, blocks of 0.1 GB", [] {}, many, 3);
    report(
        page, "back to strategy 0", many, [&page] { page.onstrategychanged(0); }, 3);
}

} // namespace

int main(int argc, char **argv)
{
    QElapsedTimer clock;
    clock.start();
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    const QTemporaryDir folder;
    if (!folder.isValid() || !QDir::setCurrent(folder.path()))
        return 1;
    const auto requested = [argc, argv](const char *what) {
        return argc > 1 && std::strcmp(argv[1], what) == 0;
    };
    WizardBench bench;
    for (int i = 0; i < 3; ++i)
        bench.adddisk(243201, 255, 63);
    bench.open(-1);
    const bool shown = QTest::qWaitForWindowExposed(bench.wizard.get());
    std::printf("first page after %.0f ms\n", static_cast<double>(clock.nsecsElapsed()) / 1e6);
    if (!shown || requested("start"))
        return shown ? 0 : 1;

    bench.openscanpage();
    bench.click(QWizard::CustomButton1);
    DiskPartition &page = *bench.planner();
    fill(bench, true);
    if (page.extparts.size() != 500) {
        std::fprintf(stderr, "%d blocks\n", static_cast<int>(page.extparts.size()));
        return 1;
    }
    if (requested("memory")) {
        page.onstrategychanged(1);
        QApplication::processEvents();
        page.grab();
    } else {
        std::printf("%-34s %7s %9s %9s %9s %9s\n", "milliseconds", "blocks", "operation", "views",
                    "diagram", "page");
        strategies(page);
        fill(bench, false);
        manyblocks(page, bench.dialogs);
    }
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM"))
            std::puts(line.c_str());
    }
    return 0;
}
