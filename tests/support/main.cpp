#include <QApplication>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <QDir>

// The tests of everything with widgets: one application on Qt's offscreen platform unless another
// is named, and a current directory of their own, since scan files land in it.
int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    QApplication application(argc, argv);
    QTemporaryDir folder;
    if (!folder.isValid() || !QDir::setCurrent(folder.path()))
        return 1;
    return RUN_ALL_TESTS();
}
