#include "tests/support/wizardbench.h"

#include <QApplication>
#include <QTimer>

#include <cstdio>

// Scans a simulated disk, kept in an image file, in the current directory, and goes on with what
// an earlier life of it left there. Made to be killed at any moment. Says "ready" before it touches
// the scan file and "start <segment>" when the run stands; ends with 0 once the scan is through.
int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    WizardBench bench;
    const auto disk = bench.adddisk(1000, 1, 4);
    disk->store = platform::imagestore("image", disk->bytes);
    if (!disk->store)
        return 1;
    // At the start of segments, so that no boundary has to move: first, middle and last.
    for (const std::uint64_t cylinder : {0, 100, 500, 998})
        disk->faults->unreadable.add(cylinder * 4);
    bench.openscanpage();

    std::puts("ready");
    std::fflush(stdout);
    const DiskScanPage *page = bench.scanpage();
    const bool offered = bench.click(QWizard::CustomButton2);
    const bool running = page->scantimer && page->scantimer->isActive();
    if (bench.current() == bench.wizard->scanpageid && !running) {
        // Nothing was there, or the file had not even its header.
        if ((offered && bench.dialogs.messages().size() != 1) || !bench.click(QWizard::NextButton))
            return 2;
    }
    std::printf("start %d\n", page->scantimer ? page->curseg : page->segnum);
    std::fflush(stdout);
    if (!bench.waitrun())
        return 3;
    return bench.current() == bench.wizard->partitionpageid ? 0 : 4;
}
