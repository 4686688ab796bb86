// Walks the wizard through the whole job on a real disk, by clicks on its buttons:
//
//   quarn-walk NODE [COMMAND]
//
// Prints every row of the first page, each message box, and at the end the committed partitions in
// sectors of 512 bytes. COMMAND is run between scan and commit. Status 0 on the last page; 1 if a
// page was not reached; 2 if the row can't be chosen; 3 if the commit was refused.

#include "plan/planreport.h"
#include "tests/support/wizardbench.h"
#include "views/parttreemodel.h"

#include <cstdio>
#include <cstdlib>

namespace
{

/// How long a scan may take on an emulated machine, in milliseconds.
constexpr int scantimeout = 3'000'000;

void printrows(const SelectDiskPage &page)
{
    for (int i = 0; i < static_cast<int>(page.alldisks.size()); ++i) {
        const std::string path = page.alldisks[static_cast<std::size_t>(i)].devicepath;
        const QAbstractButton *row = page.diskgroup->button(i);
        std::printf("row: %s %s %s\n", path.substr(0, path.find('#')).c_str(),
                    row->isEnabled() ? "free" : "refused", qPrintable(row->text()));
    }
}

void printplan(const DiskPartition &page)
{
    const std::uint64_t units = g.bytespersector / 512;
    for (const PART &part : buildparts(page.treemodel->getallparts(), g.sectorspercyl)) {
        // the first track holds the boot record of a logical disk, or the master boot sector
        std::uint64_t start = part.start;
        if (part.kind == 'l' || part.start == 0)
            start += g.sectorspertrack;
        std::printf("part: %c %llu %llu\n", part.kind,
                    static_cast<unsigned long long>(start * units),
                    static_cast<unsigned long long>((part.stop - start + 1) * units));
    }
}

int walk(WizardBench &bench, const std::string &node, const char *command)
{
    bench.open(-1);
    printrows(*bench.selectpage());
    const int row = bench.rowof(node);
    if (row < 0)
        return 2;
    bench.openscanpage(row);
    if (!bench.click(WizardBench::next) || !bench.waitrun(scantimeout) ||
        bench.current() != bench.wizard->partitionpageid)
        return 1;
    for (const SEG &seg : bench.scanpage()->intsegs) {
        if (seg.isbad != 0)
            std::printf("bad: cylinders %llu to %llu\n", static_cast<unsigned long long>(seg.start),
                        static_cast<unsigned long long>(seg.stop));
    }
    if (command != nullptr)
        std::printf("command: status %d\n", std::system(command));
    bench.click(WizardBench::next);
    if (bench.dialogs.messages().contains("partition failed!"))
        return 3;
    if (bench.current() != bench.wizard->lastpageid)
        return 1;
    printplan(*bench.planner());
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    const QApplication application(argc, argv);
    if (argc < 2)
        return 1;
    WizardBench bench;
    platform::setbackend(nullptr); // the real disks
    bench.dialogs.custom = [](QWidget *widget) {
        if (const auto *box = qobject_cast<QMessageBox *>(widget))
            std::printf("box: [%s] %s\n", qPrintable(box->windowTitle()), qPrintable(box->text()));
        auto *geometry = qobject_cast<GeomDlg *>(widget);
        if (geometry != nullptr)
            geometry->accept();
        return geometry != nullptr;
    };
    return walk(bench, argv[1], argc > 2 ? argv[2] : nullptr);
}
