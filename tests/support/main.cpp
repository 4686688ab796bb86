#include "tests/support/testapplication.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace
{

QtMessageHandler defaulthandler;

// The offscreen platform logs this for every window that is shown.
void dropnoise(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (!message.contains("propagateSizeHints"))
        defaulthandler(type, context, message);
}

} // namespace

// Main function of the tests with widgets: one application, on Qt's offscreen platform unless
// another is set, and a temporary current directory for the scan files. The directory is in memory
// if possible, since each record of a scan file is synced.
int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    defaulthandler = qInstallMessageHandler(dropnoise);
    ::testing::InitGoogleTest(&argc, argv);
    TestApplication application(argc, argv);
    const QFileInfo memory("/dev/shm");
    const QString base =
        memory.isDir() && memory.isWritable() ? memory.filePath() : QDir::tempPath();
    const QTemporaryDir folder(base + "/quarn_tests-XXXXXX");
    if (!folder.isValid() || !QDir::setCurrent(folder.path()))
        return 1;
    return RUN_ALL_TESTS();
}
