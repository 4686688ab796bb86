#include "wizard/demo/demodisks.h"
#include "wizard/demo/demowalk.h"
#include "wizard/dpwizard.h"

#include <QApplication>
#include <QCommandLineParser>

#include <cstdio>
#include <optional>

// The same wizard over simulated disks.
int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription("The wizard over three simulated disks.");
    parser.addHelpOption();
    parser.addOption(
        {"disks", "Keep the disks' images in <folder>.", "folder", "quarn-demo-disks"});
    parser.addOption(
        {"walk", "Walk through the job without a user; pictures go to <folder>.", "folder"});
    parser.process(application);

    std::string error;
    const auto backend = demobackend(parser.value("disks").toStdString(), error);
    if (!backend) {
        std::fprintf(stderr, "quarn-demo: %s\n", error.c_str());
        return 1;
    }
    platform::setbackend(backend.get());
    int status = 0;
    {
        DpWizard wizard(nullptr);
        wizard.show();
        std::optional<DemoWalk> walk;
        if (parser.isSet("walk"))
            walk.emplace(&wizard, parser.value("walk"));
        status = QApplication::exec();
    }
    platform::setbackend(nullptr);
    return status;
}
