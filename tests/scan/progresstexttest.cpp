#include "scan/scanspeed.h"
#include "tests/support/wizardbench.h"

#include <QProgressDialog>

#include <gtest/gtest.h>

namespace
{

constexpr std::uint64_t mb = 1'000'000;

struct Stretch {
    int segments;
    std::uint64_t bytes;
    double seconds; ///< of each segment
    bool bad;
};

} // namespace

TEST(ScanSpeed, TellsWhatTheRunItselfHasSeen)
{
    const struct {
        std::uint64_t total, done;
        std::vector<Stretch> stretches;
        const char *text;
    } cases[] = {
        {0, 0, {}, "0 % done, 0 bad segments"},
        {1000 * mb, 0, {}, "0 % done, 0 bad segments"},
        // a rate at once, an estimate only after some seconds
        {1000 * mb, 0, {{2, 10 * mb, 2, false}}, "2 % done, 0 bad segments, 5.0 MB/s"},
        {1000 * mb,
         0,
         {{3, 10 * mb, 2, false}},
         "3 % done, 0 bad segments, 5.0 MB/s, about 3 min left"},
        // without a healthy segment nothing is known, however long it took
        {1000 * mb, 0, {{1, 10 * mb, 60, true}}, "1 % done, 1 bad segment"},
        // damage leaves the rate alone; of the 800 MB left 600 take 60 s, and 20 segments 30 s each
        {1000 * mb,
         0,
         {{15, 10 * mb, 1, false}, {5, 10 * mb, 30, true}},
         "20 % done, 5 bad segments, 10.0 MB/s, about 11 min left"},
        // what an earlier run did is done, but it is no part of the rate
        {1000 * mb,
         900 * mb,
         {{6, 10 * mb, 1, false}},
         "96 % done, 0 bad segments, 10.0 MB/s, less than 1 min left"},
        // a disk that got slower is as slow as it is now
        {4'000'000 * mb,
         0,
         {{100, 4000 * mb, 20, false}, {200, 4000 * mb, 40, false}},
         "30 % done, 0 bad segments, 100.0 MB/s, about 7 h 47 min left"},
        {3'000'000 * mb,
         2'999'999 * mb,
         {{1, mb - 1, 6, false}},
         "99 % done, 0 bad segments, 0.2 MB/s, less than 1 min left"},
        {1000 * mb, 990 * mb, {{1, 10 * mb, 1, true}}, "100 % done, 1 bad segment"},
        {20'000'000 * mb,
         0,
         {{1, 40'000 * mb, 4000, false}},
         "0 % done, 0 bad segments, 10.0 MB/s, about 23 d 2 h left"},
    };
    for (const auto &one : cases) {
        ScanSpeed speed(one.total, one.done);
        for (const Stretch &stretch : one.stretches) {
            for (int i = 0; i < stretch.segments; ++i)
                speed.add(stretch.bytes, stretch.seconds, stretch.bad);
        }
        EXPECT_EQ(speed.text(), one.text);
    }
}

TEST(ScanSpeed, StandsInTheTitleOfTheRunItself)
{
    WizardBench bench;
    const auto disk = bench.adddisk(500);
    disk->faults->unreadable.add(3 * 50);
    bench.openscanpage();
    ASSERT_TRUE(bench.click(QWizard::NextButton));
    DiskScanPage *page = bench.scanpage();
    EXPECT_EQ(page->scanprogress->windowTitle(), "0 % done, 0 bad segments");
    ASSERT_TRUE(bench.wait([page] { return page->curseg >= 5; }));
    EXPECT_TRUE(page->scanprogress->windowTitle().contains(" % done, 1 bad segment, "));
    bench.abortscan();
    // the marks of before are not what the resumed run has found
    ASSERT_TRUE(bench.click(QWizard::CustomButton2));
    EXPECT_TRUE(page->scanprogress->windowTitle().endsWith(" % done, 0 bad segments"));
    EXPECT_NE(page->scanprogress->windowTitle().left(2), "0 ");
}
