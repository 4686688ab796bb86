#include "scan/scanfile.h"
#include "tests/support/wizardbench.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QThread>

#include <random>

namespace
{

// The next line that a process prints; empty at its end.
QByteArray nextline(QProcess &process)
{
    while (!process.canReadLine() && process.waitForReadyRead(60000)) {
    }
    return process.readLine().trimmed();
}

} // namespace

// However often a scan is killed, the next process resumes where the file ends, and the finished
// file equals that of an uninterrupted scan. QUARN_KILLS sets how often, QUARN_SEED the moments.
TEST(KillTest, NothingScannedIsLost)
{
    const int kills = qEnvironmentVariable("QUARN_KILLS", "5").toInt();
    std::mt19937 random(qEnvironmentVariable("QUARN_SEED", "1").toUInt());
    QByteArray undisturbed;     // file of the first scan, which is not killed
    unsigned long scantime = 0; // of that scan, in microseconds
    int killed = 0, finished = 0, inside = 0;
    QFile::remove("disk0");
    while (killed < kills || finished < 2) {
        const ScanFile before = readscanfile("disk0");
        QProcess victim;
        victim.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        victim.start(QUARN_SCANVICTIM, QStringList());
        ASSERT_EQ(nextline(victim), "ready");
        QElapsedTimer clock;
        clock.start();
        const bool kill = finished > 0 && killed < kills;
        // Every third is killed around the opening of the file, the others anywhere in the scan.
        const bool early = kill && killed % 3 == 2;
        ASSERT_TRUE(early || nextline(victim) == "start " + QByteArray::number(before.records));
        if (kill) {
            QThread::usleep(random() % (early ? 3000 : scantime / 2));
            victim.kill();
        }
        ASSERT_TRUE(victim.waitForFinished(60000));
        const bool died = kill && victim.exitStatus() == QProcess::CrashExit;
        ASSERT_TRUE(died || victim.exitCode() == 0) << victim.exitCode();
        killed += died;

        const QByteArray content = filecontent("disk0");
        const ScanFile after = readscanfile("disk0");
        if (undisturbed.isEmpty()) {
            scantime = static_cast<unsigned long>(clock.nsecsElapsed() / 1000);
            undisturbed = content;
        }
        ASSERT_GE(after.records, before.records);
        ASSERT_TRUE(
            undisturbed.startsWith(content.first(static_cast<qsizetype>(after.wholebytes))));
        if (after.state == ScanFileState::complete) {
            ASSERT_EQ(content.size(), 56 + 24 * 500);
            ASSERT_TRUE(QFile::remove("disk0"));
            ++finished;
        } else {
            // Killed before the header was written: there was nothing to lose.
            ASSERT_TRUE(after.state == ScanFileState::partial || content.size() < 56);
            inside += after.records > 0;
        }
    }
    std::printf("%d kills, %d inside a scan, %d finished files\n", killed, inside, finished - 1);
}
