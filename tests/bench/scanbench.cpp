#include "platform/writegather.h"
#include "tests/support/wizardbench.h"
#include "views/geomdlg.h"

#include <QApplication>
#include <QCheckBox>
#include <QElapsedTimer>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace
{

/// Simulated disks with the large blocks of native ones.
class LargeBlockBackend : public platform::Backend
{
public:
    explicit LargeBlockBackend(platform::SimulatedBackend &disks) : simulated(disks) {}
    platform::Status systemvolumes(std::vector<std::string> &paths) override
    {
        return simulated.systemvolumes(paths);
    }
    platform::Status listdisks(std::vector<std::string> &paths) override
    {
        return simulated.listdisks(paths);
    }
    std::unique_ptr<platform::Device> open(const std::string &path, platform::Access access,
                                           platform::Status &status) override
    {
        auto device = simulated.open(path, access, status);
        return device ? platform::inlargeblocks(std::move(device)) : nullptr;
    }

private:
    platform::SimulatedBackend &simulated;
};

/// Damages one sector in the middle of `segments` segments, evenly over the disk.
void damage(platform::SimulatedDisk &disk, int segments, int milliseconds)
{
    const std::uint64_t sectors = disk.bytes / disk.bytespersector;
    for (int i = 0; i < segments; ++i)
        disk.faults->unreadable.add((static_cast<std::uint64_t>(i * 500 / segments) * 2 + 101) *
                                    sectors / 1000);
    disk.faults->faildelay = std::chrono::milliseconds(milliseconds);
}

int usage()
{
    std::fputs(
        "usage: quarn-scanbench read|write NODE\n"
        "       quarn-scanbench simulated MB DAMAGED-SEGMENTS MILLISECONDS-A-FAILURE\n"
        "Scans a disk through the real page; a write test destroys its contents. Leaves the scan\n"
        "file in the current directory. Prints seconds, CPU seconds and bad segments.\n",
        stderr);
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    const bool simulated = argc == 5 && std::strcmp(argv[1], "simulated") == 0;
    const bool writing = argc == 3 && std::strcmp(argv[1], "write") == 0;
    if (!simulated && !writing && (argc != 3 || std::strcmp(argv[1], "read") != 0))
        return usage();
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    WizardBench bench;
    bench.dialogs.timer.setInterval(20);
    LargeBlockBackend blocks(bench.backend);
    if (simulated) {
        const auto cylinders = std::strtoull(argv[2], nullptr, 10) * 1'000'000 / (16 * 63 * 512);
        damage(*bench.adddisk(cylinders, 16, 63), std::atoi(argv[3]), std::atoi(argv[4]));
        platform::setbackend(&blocks);
    } else {
        platform::setbackend(nullptr);
    }
    // a loop device reports no geometry: accept the guess
    bench.dialogs.custom = [](QWidget *widget) {
        auto *dialog = qobject_cast<GeomDlg *>(widget);
        if (dialog)
            dialog->accept();
        return dialog != nullptr;
    };
    bench.open(-1);
    bench.openscanpage(simulated ? 0 : bench.rowof(argv[2]));
    if (bench.current() != bench.wizard->scanpageid || bench.scanpage()->segnum == 0) {
        std::fputs("no such disk\n", stderr);
        return 1;
    }
    bench.scanpage()->writetestbox->setChecked(writing);
    QObject::connect(bench.wizard.get(), &QWizard::currentIdChanged, &application,
                     &QApplication::quit);
    QElapsedTimer clock;
    clock.start();
    const std::clock_t cpu = std::clock();
    bench.click(QWizard::NextButton);
    if (!bench.scanpage()->scantimer) {
        std::fputs("no run\n", stderr);
        return 1;
    }
    QApplication::exec();
    int bad = 0;
    for (int i = 0; i < bench.scanpage()->segnum; ++i)
        bad += bench.scanpage()->segs[i].isbad ? 1 : 0;
    std::printf("%.3f %.3f %d\n", static_cast<double>(clock.elapsed()) / 1000,
                static_cast<double>(std::clock() - cpu) / CLOCKS_PER_SEC, bad);
    return 0;
}
