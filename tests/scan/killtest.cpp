#include "scan/scanfile.h"
#include "tests/support/wizardbench.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <random>

namespace
{

// The next line of a process, empty at its end.
QByteArray nextline(QProcess &process)
{
    while (!process.canReadLine() && process.waitForReadyRead(60000)) {
    }
    return process.readLine().trimmed();
}

} // namespace

// However often a scan is killed, each life goes on where the file ends, and the finished file is
// that of a scan nobody disturbed. QUARN_KILLS says how often, QUARN_SEED with which moments.
TEST(KillTest, NothingScannedIsLost)
{
    const int kills = qEnvironmentVariable("QUARN_KILLS", "5").toInt();
    const unsigned seed = qEnvironmentVariable("QUARN_SEED", "1").toUInt();
    std::mt19937 random(seed);
    const QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const QString file = folder.filePath("disk0");
    const std::string filename = file.toStdString();
    const auto start = [&folder](QProcess &victim) {
        victim.setWorkingDirectory(folder.path());
        victim.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        victim.start(QUARN_SCANVICTIM, QStringList());
        return nextline(victim) == "ready";
    };

    QElapsedTimer clock;
    qint64 scantime = 0;
    {
        QProcess victim;
        ASSERT_TRUE(start(victim));
        clock.start();
        ASSERT_EQ(nextline(victim), "start 0");
        ASSERT_TRUE(victim.waitForFinished(60000));
        ASSERT_EQ(victim.exitCode(), 0);
        scantime = clock.nsecsElapsed() / 1000;
    }
    const QByteArray undisturbed = filecontent(filename.c_str());
    ASSERT_EQ(undisturbed.size(), 56 + 24 * 500);
    ASSERT_EQ(readscanfile(filename).state, ScanFileState::complete);
    ASSERT_TRUE(QFile::remove(file));

    int killed = 0, finished = 0, inside = 0, headless = 0;
    while (killed < kills || finished == 0) {
        const ScanFile before = readscanfile(filename);
        QProcess victim;
        ASSERT_TRUE(start(victim));
        // Every third dies around the opening of the file, the others anywhere in the scan.
        const bool early = killed % 3 == 2;
        if (!early) {
            ASSERT_EQ(nextline(victim), "start " + QByteArray::number(before.records));
        }
        if (killed < kills) {
            std::uniform_int_distribution<qint64> delay(0, early ? 3000 : scantime / 2);
            QThread::usleep(static_cast<unsigned long>(delay(random)));
            victim.kill();
        }
        ASSERT_TRUE(victim.waitForFinished(60000));
        if (victim.exitStatus() == QProcess::CrashExit)
            ++killed;
        else
            ASSERT_EQ(victim.exitCode(), 0);

        const QByteArray content = filecontent(filename.c_str());
        const ScanFile after = readscanfile(filename);
        ASSERT_GE(after.records, before.records);
        ASSERT_EQ(content.first(static_cast<qsizetype>(after.wholebytes)),
                  undisturbed.first(static_cast<qsizetype>(after.wholebytes)));
        if (after.state == ScanFileState::complete) {
            ASSERT_EQ(content, undisturbed);
            ASSERT_TRUE(QFile::remove(file));
            ++finished;
        } else if (after.state == ScanFileState::partial) {
            inside += after.records > 0;
        } else {
            // Killed before the header was written: there was nothing to lose.
            ASSERT_EQ(before.records, 0);
            ASSERT_LT(content.size(), 56);
            ++headless;
        }
    }
    std::printf("%d kills (%d inside a scan, %d before the header), %d finished files\n", killed,
                inside, headless, finished);
}
