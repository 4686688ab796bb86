#include "wizard/nextbutton.h"

#include "planner/diskpartition.h"
#include "scan/diskscanpage.h"
#include "wizard/dpwizard.h"

#include <QAbstractButton>

DpWizard *dpwizard(const QWizardPage *page)
{
    for (QWidget *widget = page->parentWidget(); widget; widget = widget->parentWidget()) {
        if (auto *frame = qobject_cast<DpWizard *>(widget))
            return frame;
    }
    return nullptr;
}

namespace nextbutton
{

namespace
{

QAbstractButton *nextof(DpWizard *wizard)
{
    return wizard->button(QWizard::NextButton);
}

template <class From> bool take(QAbstractButton *next, From *from, void (From::*slot)())
{
    return QObject::disconnect(next, &QAbstractButton::clicked, from, slot);
}

// QWizard's own first connection was made by name in some versions of Qt and by pointer in others,
// and each is found by its like alone. What was given back later is a pointer's.
bool take(QAbstractButton *next, QWizard *from, void (QWizard::*slot)())
{
    return QObject::disconnect(next, &QAbstractButton::clicked, from, slot) ||
           QObject::disconnect(next, SIGNAL(clicked()), from, SLOT(next()));
}

template <class From, class To>
void hand(DpWizard *wizard, From *from, void (From::*oldslot)(), To *to, void (To::*newslot)())
{
    const bool found = take(nextof(wizard), from, oldslot);
    if (!found)
        qCritical("Next was not with the receiver that gives it up");
    Q_ASSERT(found);
    QObject::connect(nextof(wizard), &QAbstractButton::clicked, to, newslot);
}

DiskScanPage *scanpage(DpWizard *wizard)
{
    return static_cast<DiskScanPage *>(wizard->page(wizard->scanpageid));
}

DiskPartition *planner(DpWizard *wizard)
{
    return static_cast<DiskPartition *>(wizard->page(wizard->partitionpageid));
}

} // namespace

void nexttoscan(DpWizard *wizard)
{
    hand<QWizard>(wizard, wizard, &QWizard::next, scanpage(wizard), &DiskScanPage::beginscan);
}

void scantonext(DpWizard *wizard)
{
    hand<DiskScanPage, QWizard>(wizard, scanpage(wizard), &DiskScanPage::beginscan, wizard,
                                &QWizard::next);
}

void nexttowrite(DpWizard *wizard)
{
    hand<QWizard>(wizard, wizard, &QWizard::next, planner(wizard), &DiskPartition::writetodisk);
}

void writetonext(DpWizard *wizard)
{
    hand<DiskPartition, QWizard>(wizard, planner(wizard), &DiskPartition::writetodisk, wizard,
                                 &QWizard::next);
}

void writetoscan(DpWizard *wizard)
{
    hand(wizard, planner(wizard), &DiskPartition::writetodisk, scanpage(wizard),
         &DiskScanPage::beginscan);
}

} // namespace nextbutton
