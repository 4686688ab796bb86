// Walks the wizard through the whole job on a real disk, by clicks on its buttons:
//
//   quarn-walk NODE [COMMAND]
//
// Prints every row of the first page, each box, and at the end the partitions as they were
// committed, in sectors of 512 bytes. COMMAND is run between scan and commit. Status 0 on the last
// page; 1 if a page did not come; 2 if the row can't be chosen; 3 if the commit was refused.

#include "planner/commitplan.h"
#include "planner/diskpartition.h"
#include "scan/diskscanpage.h"
#include "views/parttreemodel.h"
#include "wizard/dpwizard.h"
#include "wizard/selectdiskpage.h"

#include <QAbstractButton>
#include <QApplication>
#include <QButtonGroup>
#include <QDialog>
#include <QMessageBox>
#include <QTimer>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace
{

struct Walk {
    DpWizard wizard{nullptr};
    std::string node;
    std::string command;
    QTimer timer;
    int stage = 0;
    int patience = 60000; // looks, 50 ms apart

    void step();
    void boxes(QMessageBox *box);
    bool choose();
    void printplan();
};

void Walk::boxes(QMessageBox *box)
{
    std::printf("box: [%s] %s\n", qPrintable(box->windowTitle()), qPrintable(box->text()));
    const bool refused = box->text() == "partition failed!";
    box->button(QMessageBox::Ok)->click();
    if (refused)
        QApplication::exit(3);
}

bool Walk::choose()
{
    auto *page = static_cast<SelectDiskPage *>(wizard.page(wizard.selectdiskid));
    bool chosen = false;
    for (std::size_t i = 0; i < page->alldisks.size(); i++) {
        const std::string path = page->alldisks[i].devicepath;
        auto *row = page->diskgroup->button(static_cast<int>(i));
        std::printf("row: %s %s %s\n", path.substr(0, path.find('#')).c_str(),
                    row->isEnabled() ? "free" : "refused", qPrintable(row->text()));
        if (path.starts_with(node + "#") && row->isEnabled()) {
            row->click();
            chosen = true;
        }
    }
    return chosen;
}

void Walk::printplan()
{
    auto *page = static_cast<DiskPartition *>(wizard.page(wizard.partitionpageid));
    const std::uint64_t units = g.bytespersector / 512;
    for (const PART &part : buildparts(page->treemodel->getallparts(), g.sectorspercyl)) {
        // an own record or the master record lies in the first track
        std::uint64_t start = part.start;
        if (part.kind == 'l' || part.start == 0)
            start += g.sectorspertrack;
        std::printf("part: %c %llu %llu\n", part.kind,
                    static_cast<unsigned long long>(start * units),
                    static_cast<unsigned long long>((part.stop - start + 1) * units));
    }
}

void Walk::step()
{
    std::fflush(stdout);
    if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
        boxes(box);
        return;
    }
    if (auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
        dialog != nullptr && dialog->inherits("GeomDlg")) {
        std::puts("box: geometry");
        dialog->accept();
        return;
    }
    if (--patience == 0) {
        std::puts("stuck");
        QApplication::exit(1);
        return;
    }
    const int pages[] = {wizard.selectdiskid, wizard.scanpageid, wizard.partitionpageid,
                         wizard.lastpageid};
    if (wizard.currentId() != pages[stage])
        return;
    const int now = stage++;
    if (now == 0 && !choose()) {
        QApplication::exit(2);
    } else if (now == 3) {
        printplan();
        QApplication::exit(0);
    } else {
        if (now == 2) {
            const auto *scan = static_cast<DiskScanPage *>(wizard.page(wizard.scanpageid));
            for (const SEG &seg : scan->intsegs) {
                if (seg.isbad != 0)
                    std::printf("bad: cylinders %llu to %llu\n",
                                static_cast<unsigned long long>(seg.start),
                                static_cast<unsigned long long>(seg.stop));
            }
            if (!command.empty())
                std::printf("command: status %d\n", std::system(command.c_str()));
        }
        // not from here: a timer does not go on in an event loop below its own slot
        QTimer::singleShot(0, wizard.button(QWizard::NextButton), &QAbstractButton::click);
    }
}

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    if (argc < 2)
        return 1;
    Walk walk;
    walk.node = argv[1];
    walk.command = argc > 2 ? argv[2] : "";
    QObject::connect(&walk.timer, &QTimer::timeout, [&walk] { walk.step(); });
    walk.timer.start(50);
    walk.wizard.show();
    const int status = QApplication::exec();
    std::fflush(stdout);
    return status;
}
