#include "wizard/dpwizard.h"

#include "planner/diskpartition.h"
#include "scan/diskscanpage.h"
#include "views/diskjob.h"
#include "wizard/lastpage.h"
#include "wizard/selectdiskpage.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QScreen>

#include <algorithm>

namespace
{

/// What a window may take of its screen. One of 1920 x 1080 at a scale of 200 % has 960 x 540, less
/// the task bar and the window's title.
QSize screenroom(const QWidget *window)
{
    const QSize frame(16, 40);
    return window->screen()->availableGeometry().size() - frame;
}

} // namespace

DpWizard::DpWizard(QWidget *parent) : QWizard(parent)
{
    setWizardStyle(QWizard::ModernStyle);
    setOption(QWizard::HaveCustomButton1, true);
    setOption(QWizard::HaveCustomButton2, true);

    selectdiskid = addPage(new SelectDiskPage(nullptr));
    scanpageid = addPage(new DiskScanPage(nullptr));
    partitionpageid = addPage(new DiskPartition(nullptr));
    lastpageid = addPage(new LastPage(nullptr));

    // Qt's own connection; some versions make it by name, which `givenext` could not undo.
    disconnect(button(NextButton), SIGNAL(clicked()), this, nullptr);
    givenext<QWizard>(this, &QWizard::next);
    connect(button(CustomButton1), &QAbstractButton::clicked, scanpage(), &DiskScanPage::skipscan);
    connect(button(CustomButton2), &QAbstractButton::clicked, scanpage(), &DiskScanPage::useprev);
    // The close box, Escape and Cancel all end in this signal.
    connect(this, &QDialog::finished, scanpage(), &DiskScanPage::wizardfinished);

    connect(this, &QWizard::currentIdChanged, this, [this](int id) {
        if (id == selectdiskid)
            selectpage()->focusrow(); // the first row may be one that can't be chosen
        if (id == scanpageid)
            button(NextButton)->setFocus(); // not on the box that has the scan destroy all data
    });

    setButtonLayout({BackButton, Stretch, CustomButton1, CustomButton2, NextButton, CancelButton});
    for (const WizardButton which :
         {BackButton, CustomButton1, CustomButton2, NextButton, CancelButton})
        button(which)->installEventFilter(this);
    // What was pressed before the page showed was not meant for it.
    connect(this, &QWizard::currentIdChanged, this, [this] {
        if (isVisible()) {
            const InputGuard guard;
        }
    });
    setWindowTitle("QUARN - Velmarch V1.0.1");
    resize(QSize(800, 600).boundedTo(screenroom(this)));
}

SelectDiskPage *DpWizard::selectpage() const
{
    return static_cast<SelectDiskPage *>(page(selectdiskid));
}

DiskScanPage *DpWizard::scanpage() const
{
    return static_cast<DiskScanPage *>(page(scanpageid));
}

DiskPartition *DpWizard::planner() const
{
    return static_cast<DiskPartition *>(page(partitionpageid));
}

LastPage *DpWizard::lastpage() const
{
    return static_cast<LastPage *>(page(lastpageid));
}

const DISKINFO *DpWizard::chosendisk() const
{
    const SelectDiskPage *page = selectpage();
    return page->selecteddisk < 0 ? nullptr : &page->alldisks.at(page->selecteddisk);
}

void DpWizard::leavepage()
{
    givenext<QWizard>(this, &QWizard::next);
    next();
}

bool DpWizard::validateCurrentPage()
{
    if (!QWizard::validateCurrentPage())
        return false;
    if (currentId() == selectdiskid) {
        const QSize around = size() - selectpage()->size(); // the buttons' row
        scanpage()->fitmargins(screenroom(this) - around);
        scanpage()->opendisk(*chosendisk());
    }
    return true;
}

std::pair<int, int> DpWizard::place() const
{
    return {currentId(), InputGuard::count()};
}

bool DpWizard::eventFilter(QObject *watched, QEvent *event)
{
    auto *const which = qobject_cast<QAbstractButton *>(watched);
    switch (event->type()) {
    case QEvent::MouseButtonDblClick:
        return true;
    case QEvent::KeyPress:
        if (static_cast<QKeyEvent *>(event)->isAutoRepeat())
            return true;
        pressed = place();
        break;
    case QEvent::MouseButtonPress:
        pressed = place();
        break;
    case QEvent::KeyRelease:
    case QEvent::MouseButtonRelease:
        if (pressed == place())
            break;
        which->setDown(false);
        return true;
    case QEvent::Shortcut:
        // at once: an animated click would come after what happens meanwhile
        if (!repeating)
            which->click();
        return true;
    default:
        break;
    }
    return QWizard::eventFilter(watched, event);
}

bool DpWizard::event(QEvent *event)
{
    if (event->type() == QEvent::ShortcutOverride)
        repeating = static_cast<QKeyEvent *>(event)->isAutoRepeat();
    return QWizard::event(event);
}

void DpWizard::resizeEvent(QResizeEvent *event)
{
    QWizard::resizeEvent(event);
    // a page that needs more than the one before must not grow out of the screen
    const QRect room = screen()->availableGeometry();
    const QRect frame = frameGeometry();
    const QPoint over(std::max(0, frame.right() - room.right()),
                      std::max(0, frame.bottom() - room.bottom()));
    if (isVisible() && !over.isNull() && (width() == minimumWidth() || height() == minimumHeight()))
        move(std::max(room.left(), frame.left() - over.x()),
             std::max(room.top(), frame.top() - over.y()));
}

void DpWizard::keyPressEvent(QKeyEvent *event)
{
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (enter && !event->isAutoRepeat() && currentId() == partitionpageid &&
        focusWidget() == button(NextButton)) {
        button(NextButton)->click();
    } else if ((enter && (event->isAutoRepeat() || currentId() == partitionpageid)) ||
               (event->matches(QKeySequence::Cancel) && !planner()->rows(Level::top).isEmpty())) {
        event->accept();
    } else {
        QWizard::keyPressEvent(event);
    }
}

DpWizard *dpwizard(const QWizardPage *page)
{
    QWidget *widget = page->parentWidget();
    while (widget && !qobject_cast<DpWizard *>(widget))
        widget = widget->parentWidget();
    return static_cast<DpWizard *>(widget);
}
