// Operates the wizard from outside, for what is measured or watched by hand, by the name by which
// it is called:
//
// quarn-walk NODE [COMMAND]
//     The whole job on a real disk. Prints every row of the first page, each message box, and the
//     committed partitions in sectors of 512 bytes. COMMAND is run between scan and commit. Status
//     0 on the last page; 1 if a page was not reached; 2 if the row can't be chosen; 3 if the
//     commit was refused.
//
// quarn-scanbench read|write NODE
//     Scans a disk; a write test destroys its contents. Prints seconds, CPU seconds and bad
//     segments; the scan file is left in the current directory.
//
// quarn-plannerbench [start|memory]
//     How long a user of the planner waits, on a disk of 2 TB with as many blocks as a scan can
//     leave, and with many more.
//
// quarn-scanvictim
//     Scans an image file in the current directory, or goes on with an earlier scan there, while
//     something kills it.

#include "plan/planreport.h"
#include "scan/consolidation.h"
#include "tests/support/planchecker.h"
#include "tests/support/wizardbench.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>

namespace
{

/// How long a scan may take on an emulated machine, in milliseconds.
constexpr int scantimeout = 3'000'000;

// ---- quarn-walk

void printplan(const DiskPartition &page)
{
    const std::uint64_t units = g.bytespersector / 512;
    for (const PART &part : buildparts(page.treemodel->getallparts(), g.sectorspercyl)) {
        // the first track holds the boot record of a logical disk, or the master boot sector
        const bool behind = part.kind == 'l' || part.start == 0;
        const std::uint64_t start = part.start + (behind ? g.sectorspertrack : 0);
        std::cout << "part: " << part.kind << " " << start * units << " "
                  << (part.stop - start + 1) * units << "\n";
    }
}

int walk(WizardBench &bench, const QStringList &arguments)
{
    bench.dialogs.custom = [accept = bench.dialogs.custom](QWidget *widget) {
        if (const auto *box = qobject_cast<QMessageBox *>(widget))
            std::printf("box: [%s] %s\n", qPrintable(box->windowTitle()), qPrintable(box->text()));
        return accept(widget);
    };
    bench.open(-1);
    int i = 0;
    for (const DISKINFO &disk : bench.selectpage()->alldisks) {
        const QAbstractButton *row = bench.selectpage()->diskgroup->button(i++);
        std::printf("row: %s %s %s\n", disk.identity.node.c_str(),
                    row->isEnabled() ? "free" : "refused", qPrintable(row->text()));
    }
    const int row = bench.rowof(arguments.value(1).toStdString());
    if (row < 0)
        return 2;
    bench.openscanpage(row);
    if (!bench.click(WizardBench::next) || !bench.waitrun(scantimeout) ||
        bench.current() != bench.wizard->partitionpageid)
        return 1;
    for (const SEG &seg : bench.scanpage()->intsegs) {
        if (seg.isbad != 0)
            std::cout << "bad: cylinders " << seg.start << " to " << seg.stop << "\n";
    }
    if (arguments.size() > 2)
        std::printf("command: status %d\n", std::system(qPrintable(arguments[2])));
    bench.click(WizardBench::next);
    if (bench.current() != bench.wizard->lastpageid)
        return 3;
    printplan(*bench.planner());
    return 0;
}

// ---- quarn-scanbench

int scanbench(WizardBench &bench, const QStringList &arguments)
{
    bench.dialogs.timer.setInterval(20); // looking for dialogs all the time would be measured along
    bench.open(-1);
    bench.openscanpage(bench.rowof(arguments.value(2).toStdString()));
    if (bench.current() != bench.wizard->scanpageid || bench.scanpage()->segnum == 0) {
        std::fputs("no such disk\n", stderr);
        return 1;
    }
    const DiskScanPage &page = *bench.scanpage();
    page.writetestbox->setChecked(arguments[1] == "write");
    QElapsedTimer clock;
    clock.start();
    const std::clock_t cpu = std::clock();
    bench.click(WizardBench::next);
    if (!bench.waitrun(scantimeout) || !page.scantimer)
        return 1;
    const auto bad = std::ranges::count(page.segs, page.segs + page.segnum, 1, &SEG::isbad);
    std::printf("%.3f %.3f %d\n", static_cast<double>(clock.elapsed()) / 1000,
                static_cast<double>(std::clock() - cpu) / CLOCKS_PER_SEC, static_cast<int>(bad));
    return 0;
}

// ---- quarn-plannerbench

/// What is measured, and what is made ready before it each time.
struct Step {
    const char *name;
    std::function<void()> work;
    std::function<void()> before = [] {};
};

/// Prints the median times of each step, of the views' events that follow, and of a redraw, by the
/// processor's clock: what else the machine does is not measured along.
void report(DiskPartition &page, const std::vector<Step> &steps)
{
    for (const Step &step : steps) {
        const std::function<void()> parts[] = {step.work, [] { QApplication::processEvents(); },
                                               [&page] { page.diagramview->grab(); },
                                               [&page] { page.grab(); }};
        std::array<std::clock_t, 5> times[4];
        for (std::size_t i = 0; i < 5; ++i) {
            step.before();
            QApplication::processEvents();
            for (int k = 0; k < 4; ++k) {
                const std::clock_t start = std::clock();
                parts[k]();
                times[k][i] = std::clock() - start;
            }
        }
        std::printf("%-34s %7d", step.name, static_cast<int>(page.extparts.size()));
        for (auto &values : times) {
            std::ranges::sort(values);
            std::printf(" %9.2f", static_cast<double>(values[2]) * 1000 / CLOCKS_PER_SEC);
        }
        std::puts("");
    }
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
}

void measure(WizardBench &bench)
{
    DiskPartition &page = *bench.planner();
    const auto strategy = [&page](int index) {
        return [&page, index] { page.onstrategychanged(index); };
    };
    const auto selectall = [&page] {
        QTest::keyClick(page.diagramview, Qt::Key_Home);
        QTest::keyClick(page.diagramview, Qt::Key_End, Qt::ShiftModifier);
    };
    const auto everything = [&] {
        page.undo();
        selectall();
    };
    std::puts("milliseconds                        blocks operation     views   diagram      page");
    fill(bench, true);
    report(page, {{"strategy 1", strategy(1)},
                  {"strategy 4, with its dialogs", strategy(4)},
                  {"default plan", [&page] { page.defaultpartition(); }}});
    fill(bench, false);
    bench.dialogs.fallback = [](const DialogAnswers::Seen &seen) -> QVariant {
        return seen.text == "CMax:" ? 0.1 : 0.0;
    };
    report(page, {{"strategy 5, blocks of 0.1 GB", strategy(5)},
                  {"back to strategy 0", strategy(0), strategy(5)},
                  {"undo of that", [&page] { page.undo(); }, strategy(0)},
                  {"select all by keys", selectall},
                  {"combine all", [&page] { page.combineparts(); }, everything}});
}

int plannerbench(WizardBench &bench, const QStringList &arguments)
{
    const QTemporaryDir folder;
    if (!folder.isValid() || !QDir::setCurrent(folder.path()))
        return 1;
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < 3; ++i)
        bench.adddisk(243201, 255, 63);
    bench.open(-1);
    const bool shown = QTest::qWaitForWindowExposed(bench.wizard.get());
    std::printf("first page after %.0f ms\n", static_cast<double>(clock.nsecsElapsed()) / 1e6);
    if (!shown || arguments.value(1) == "start")
        return shown ? 0 : 1;
    bench.openscanpage();
    bench.click(WizardBench::skip);
    DiskPartition &page = *bench.planner();
    if (arguments.value(1) == "memory") {
        fill(bench, false);
        bench.dialogs.answers = {0.1, 0.0};
        page.onstrategychanged(5);
        QApplication::processEvents();
        page.grab();
    } else {
        measure(bench);
    }
    std::fflush(stdout);
    return std::system("grep VmHWM /proc/$PPID/status");
}

// ---- quarn-scanvictim

int scanvictim(WizardBench &bench, const QStringList &)
{
    const auto disk = bench.adddisk(1000, 1, 4);
    disk->store = platform::imagestore("image", disk->bytes);
    if (!disk->store)
        return 1;
    // at the start of segments, so that no boundary moves: first, middle and last
    for (const std::uint64_t cylinder : {0, 100, 500, 998})
        disk->faults->unreadable.add(cylinder * 4);
    bench.openscanpage();
    // goes on, or starts anew without a scan file, or with one that ends inside its header
    bench.click(WizardBench::prev);
    const DiskScanPage &page = *bench.scanpage();
    const bool running = page.scantimer && page.scantimer->isActive();
    if (bench.current() == bench.wizard->scanpageid && !running && !bench.click(WizardBench::next))
        return 2;
    return bench.waitrun() && bench.current() == bench.wizard->partitionpageid ? 0 : 3;
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QMap<QString, int (*)(WizardBench &, const QStringList &)> jobs = {
        {"quarn-walk", walk},
        {"quarn-scanbench", scanbench},
        {"quarn-plannerbench", plannerbench},
        {"quarn-scanvictim", scanvictim}};
    const auto job = jobs.value(QFileInfo(argv[0]).fileName());
    WizardBench bench;
    if (job == walk || job == scanbench)
        platform::setbackend(nullptr); // the real disks
    // a real disk may report no geometry: the guess is taken
    bench.dialogs.custom = [](QWidget *widget) {
        auto *dialog = qobject_cast<GeomDlg *>(widget);
        if (dialog)
            dialog->accept();
        return dialog != nullptr;
    };
    if (job)
        return job(bench, arguments);
    std::fputs("usage: see the first lines of tests/bench/driver.cpp\n", stderr);
    return 2;
}
