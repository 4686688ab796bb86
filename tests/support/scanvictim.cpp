#include "tests/support/testapplication.h"
#include "tests/support/wizardbench.h"

#include <QTimer>

#include <cstdio>

// Scans a simulated disk in an image file in the current directory, or resumes an earlier scan
// there. A test kills it at any moment. Prints "ready" before it opens the scan file and
// "start <segment>" when the run has started; exits with 0 when the scan is complete.
int main(int argc, char **argv)
{
    TestApplication application(argc, argv);
    WizardBench bench;
    const auto disk = bench.adddisk(1000, 1, 4);
    disk->store = platform::imagestore("image", disk->bytes);
    if (!disk->store)
        return 1;
    // At the start of segments, so that no boundary moves: first, middle and last.
    for (const std::uint64_t cylinder : {0, 100, 500, 998})
        disk->faults->unreadable.add(cylinder * 4);
    bench.openscanpage();

    std::puts("ready");
    std::fflush(stdout);
    const DiskScanPage *page = bench.scanpage();
    const bool offered = bench.click(QWizard::CustomButton2);
    const bool running = page->scantimer && page->scantimer->isActive();
    if (bench.current() == bench.wizard->scanpageid && !running) {
        // No scan file, or one without a complete header.
        if ((offered && bench.dialogs.messages().size() != 1) || !bench.click(QWizard::NextButton))
            return 2;
    }
    std::printf("start %d\n", page->scantimer ? page->curseg : page->segnum);
    std::fflush(stdout);
    if (!bench.waitrun())
        return 3;
    return bench.current() == bench.wizard->partitionpageid ? 0 : 4;
}
