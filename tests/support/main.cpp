#include "tests/support/testapplication.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

// Main function of the tests with widgets: one application, on Qt's offscreen platform unless
// another is set, and a temporary current directory for the scan files. The directory is in memory
// if possible, since each record of a scan file is synced.
int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    static const QtMessageHandler log = qInstallMessageHandler(nullptr);
    qInstallMessageHandler(
        [](QtMsgType type, const QMessageLogContext &where, const QString &text) {
            // the offscreen platform logs this for every window that is shown
            if (!text.contains("propagateSizeHints"))
                log(type, where, text);
        });
    ::testing::InitGoogleTest(&argc, argv);
    TestApplication application(argc, argv);
    const QString memory = "/dev/shm";
    const QTemporaryDir folder((QFileInfo(memory).isWritable() ? memory : QDir::tempPath()) +
                               "/quarn_tests-XXXXXX");
    if (!folder.isValid() || !QDir::setCurrent(folder.path()))
        return 1;
    return RUN_ALL_TESTS();
}
