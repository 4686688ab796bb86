#include "wizard/demo/demowalk.h"

#include "planner/diskpartition.h"
#include "views/diskjob.h"
#include "wizard/dpwizard.h"
#include "wizard/selectdiskpage.h"

#include <QAbstractButton>
#include <QApplication>
#include <QButtonGroup>
#include <QComboBox>
#include <QDir>
#include <QMessageBox>
#include <QPixmap>

#include <cstdio>
#include <utility>

// Milliseconds between two looks, and how many looks a page may take to come.
static constexpr int interval = 50;
static constexpr int looks = 6000;

// Which disk of the demo is walked through, and which strategy: all good blocks.
static constexpr int damageddisk = 1;
static constexpr int strategy = 1;

DemoWalk::DemoWalk(DpWizard *wizard, const QString &folder)
    : wizard(wizard), folder(folder), patience(looks)
{
    QDir().mkpath(folder);
    connect(&timer, &QTimer::timeout, this, &DemoWalk::step);
    timer.start(interval);
}

void DemoWalk::picture(const char *name)
{
    const QString file = folder + "/" + name + ".png";
    wizard->grab().save(file);
    std::printf("%s\n", qPrintable(file));
}

void DemoWalk::step()
{
    if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
        // the surface as the scan has left it, behind its first box
        if (wizard->currentId() == wizard->scanpageid && !std::exchange(scanned, true))
            picture("2-scan");
        std::printf("[%s] %s\n", qPrintable(box->windowTitle()), qPrintable(box->text()));
        box->button(QMessageBox::Ok)->click();
        return;
    }
    if (--patience == 0) {
        std::fputs("the walk got stuck\n", stderr);
        QApplication::exit(1);
        return;
    }
    const int pages[] = {wizard->selectdiskid, wizard->scanpageid, wizard->partitionpageid,
                         wizard->lastpageid};
    // while a guard lives, a click would be dropped like a user's
    if (wizard->currentId() != pages[stage] || InputGuard::active())
        return;
    // a click can run a nested event loop, in which the next step already belongs to the next page
    const int now = stage++;
    auto *next = wizard->button(QWizard::NextButton);
    switch (now) {
    case 0: {
        auto *page = wizard->selectpage();
        page->diskgroup->button(damageddisk)->click();
        picture("1-disk");
        next->click();
        break;
    }
    case 1:
        next->click();
        break;
    case 2: {
        auto *page = wizard->planner();
        page->strategybox->setCurrentIndex(strategy);
        QApplication::processEvents(); // the note follows the plan
        picture("3-plan");
        next->click();
        break;
    }
    default:
        picture("4-result");
        QApplication::exit(0);
    }
}
