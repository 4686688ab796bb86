#include "scan/consolidation.h"
#include "tests/support/planchecker.h"
#include "tests/support/wizardbench.h"
#include "views/surfacemap.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>

// Measures how long a user of the planner waits, on a disk of 2 TB with as many blocks as a scan
// can leave, and with many more.

namespace
{

// Processor time: what else the machine does is not measured along.
double milliseconds(const std::function<void()> &work)
{
    const std::clock_t start = std::clock();
    work();
    return static_cast<double>(std::clock() - start) * 1000 / CLOCKS_PER_SEC;
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

/// Has strategy 5 cut the disk into blocks of 0.1 GB.
void cutsmall(DialogAnswers &answers)
{
    answers.fallback = [](const DialogAnswers::Seen &seen) -> QVariant {
        return seen.text == "CMax:" ? 0.1 : 0.0;
    };
}

void someblocks(DiskPartition &page)
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
}

void manyblocks(DiskPartition &page)
{
    const auto nothing = [] {};
    const auto many = [&page] { page.onstrategychanged(5); };
    report(page, "strategy 5, blocks of 0.1 GB", nothing, many, 3);
    report(
        page, "back to strategy 0", many, [&page] { page.onstrategychanged(0); }, 3);
    report(
        page, "undo of that", [&page] { page.onstrategychanged(0); }, [&page] { page.undo(); });
    report(
        page, "redo", [&page] { page.undo(); }, [&page] { page.redo(); });
    many();
    const auto at = [&page](int index) {
        return [&page, index] { page.diagramview->selectblock(index); };
    };
    report(page, "select a block", at(9000), at(10'000));
    report(page, "the next one by key", at(10'000),
           [&page] { QTest::keyClick(page.diagramview, Qt::Key_Right); });
    report(page, "select all by keys", at(0), [&page] { selectall(page); });
    report(page, "select a row", at(10), [&page] {
        page.treeview->setCurrentIndex(page.treemodel->findpart(page.extparts[10'000]));
    });
    report(page, "move a row up", at(10'000), [&page] { page.onupPartTreeNode(); });
    report(page, "delete a row", at(10'000), [&page] { page.ondelPartTreeNode(); });
    report(page, "delete one of all", at(10'001), [&page] { page.delpart(); });
    report(page, "add a logical disk", at(10'001), [&page] { page.addld(); });
    report(page, "undo of that", nothing, [&page] { page.undo(); });
    report(page, "split into 50", at(10'002), [&page] { page.splitpart(50); });
    report(page, "move a boundary", nothing, [&page] {
        const QModelIndex index = page.treemodel->findpart(page.extparts[15'000]);
        const double gb = index.siblingAtColumn(2).data().toDouble();
        page.treemodel->setData(index.siblingAtColumn(2), gb - 0.02, Qt::EditRole);
    });
    report(page, "change a type", nothing, [&page] {
        const QModelIndex index = page.treemodel->findpart(page.extparts[15'000]);
        page.treemodel->setData(index.siblingAtColumn(4),
                                0x83 - index.siblingAtColumn(4).data(Qt::EditRole).toInt(),
                                Qt::EditRole);
    });
    report(
        page, "zoom", [&page] { page.diagramview->zoomby(0); },
        [&page] { page.diagramview->zoomby(8); });
    page.diagramview->zoomby(0);
    report(page, "resize", nothing, [&page] {
        page.diagramview->resize(page.diagramview->width() ^ 1, page.diagramview->height());
    });
    report(
        page, "delete the extended row",
        [&page] {
            page.undo();
            page.treeview->setCurrentIndex(page.treemodel->extendindex());
        },
        [&page] { page.ondelPartTreeNode(); });
    report(
        page, "combine all",
        [&page] {
            page.undo();
            selectall(page);
        },
        [&page] { page.combineparts(); });
}

/// Prints the median time of a redraw of the surface map, with cells of every kind.
void surfacemap()
{
    std::vector<SurfaceCell> cells(500);
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const double speed = 200 - 0.2 * static_cast<double>(i);
        cells[i] = {i * 486, i * 486 + 485, static_cast<SurfaceCell::State>(i % 6),
                    static_cast<double>(i * 7 % 600), i % 50 == 0 ? -1 : speed};
    }
    SurfaceMap map;
    map.setdisk(g);
    map.setcells(cells);
    for (const QSize size : {QSize(780, 130), QSize(1800, 800)}) {
        map.resize(size);
        QImage image(size, QImage::Format_RGB32);
        std::vector<double> times(101);
        for (double &time : times)
            time = milliseconds([&] { map.render(&image); });
        std::ranges::sort(times);
        std::printf("surface map of %4d x %3d: %.2f ms\n", size.width(), size.height(), times[50]);
    }
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
    surfacemap();
    if (requested("memory")) {
        cutsmall(bench.dialogs);
        fill(bench, false);
        page.onstrategychanged(5);
        QApplication::processEvents();
        page.grab();
    } else {
        std::printf("%-34s %7s %9s %9s %9s %9s\n", "milliseconds", "blocks", "operation", "views",
                    "diagram", "page");
        strategies(page);
        fill(bench, false);
        someblocks(page);
        cutsmall(bench.dialogs);
        manyblocks(page);
    }
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM"))
            std::puts(line.c_str());
    }
    return 0;
}
