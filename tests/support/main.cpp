#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace
{

QtMessageHandler passon;

// The offscreen platform says this for every window that comes up.
void dropnoise(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (!message.contains("propagateSizeHints"))
        passon(type, context, message);
}

} // namespace

// The tests of everything with widgets: one application on Qt's offscreen platform unless another
// is named, and a current directory of their own, since scan files land in it. It lies in memory
// where there is such a folder: each record of a scan file is synced.
int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    passon = qInstallMessageHandler(dropnoise);
    ::testing::InitGoogleTest(&argc, argv);
    QApplication application(argc, argv);
    const QFileInfo memory("/dev/shm");
    const QString base =
        memory.isDir() && memory.isWritable() ? memory.filePath() : QDir::tempPath();
    const QTemporaryDir folder(base + "/quarn_tests-XXXXXX");
    if (!folder.isValid() || !QDir::setCurrent(folder.path()))
        return 1;
    return RUN_ALL_TESTS();
}
