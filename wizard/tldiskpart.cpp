#include "wizard/dpwizard.h"

#include <QApplication>

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    // It lives as long as the process and is never taken down; the system does that.
    static DpWizard *wizard = nullptr;
    wizard = new DpWizard(nullptr);
    wizard->show();
    return QApplication::exec();
}
