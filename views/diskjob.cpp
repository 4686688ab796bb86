#include "views/diskjob.h"

#include "core/geom.h"
#include "views/jobdialog.h"

#include <QApplication>
#include <QFutureWatcher>
#include <QKeyEvent>
#include <QPromise>
#include <QPushButton>
#include <QThreadPool>
#include <QWindow>

#include <exception>

namespace
{

constexpr int lookmilliseconds = 100;
constexpr int showmilliseconds = 300;     // work that is shorter shows no dialog of its own
constexpr int stalledmilliseconds = 3000; // without an answer; from then on the dialog says so

InputGuard *innermost = nullptr;
int guards = 0;

/// The one thread that works on the disk.
QThreadPool &diskthread()
{
    static QThreadPool pool;
    pool.setMaxThreadCount(1);
    return pool;
}

bool isinput(QEvent::Type type)
{
    switch (type) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::Wheel:
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::ShortcutOverride:
    case QEvent::Shortcut:
    case QEvent::ContextMenu:
    case QEvent::InputMethod:
    case QEvent::TouchBegin:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
    case QEvent::TabletPress:
    case QEvent::TabletRelease:
    case QEvent::NativeGesture:
    case QEvent::DragEnter:
    case QEvent::Drop:
    case QEvent::Close:
        return true;
    default:
        return false;
    }
}

/// The top-level window that an event is for; null if it is for none.
QWidget *windowof(QObject *watched)
{
    for (; watched; watched = watched->parent()) {
        if (auto *widget = qobject_cast<QWidget *>(watched))
            return widget->window();
        if (watched->isWindowType()) {
            for (QWidget *widget : QApplication::topLevelWidgets()) {
                if (widget->windowHandle() == watched)
                    return widget;
            }
        }
    }
    return nullptr;
}

/// A second click of a double click, or a repeated key: it was meant for what showed before.
bool isrepeated(const QEvent *event)
{
    const bool key = event->type() == QEvent::KeyPress || event->type() == QEvent::ShortcutOverride;
    return event->type() == QEvent::MouseButtonDblClick ||
           (key && static_cast<const QKeyEvent *>(event)->isAutoRepeat());
}

} // namespace

InputGuard::InputGuard() : outer(std::exchange(innermost, this))
{
    ++guards;
    qApp->installEventFilter(this);
    if (outer)
        return;
    for (const QWidget *window : QApplication::topLevelWidgets()) {
        if (qobject_cast<const JobDialog *>(window))
            continue;
        for (QPushButton *button : window->findChildren<QPushButton *>()) {
            button->setDown(false);
            if (!button->blockSignals(true))
                silenced.append(button);
        }
    }
}

InputGuard::~InputGuard()
{
    if (!outer)
        QCoreApplication::processEvents();
    innermost = outer;
    for (const QPointer<QPushButton> &button : silenced) {
        if (button)
            button->blockSignals(false);
    }
}

bool InputGuard::active()
{
    return innermost != nullptr;
}

int InputGuard::count()
{
    return guards;
}

bool InputGuard::admits(const QWidget *window) const
{
    return window->isModal() || window->windowType() == Qt::Popup;
}

bool InputGuard::eventFilter(QObject *watched, QEvent *event)
{
    if (this != innermost || !isinput(event->type()))
        return false;
    const QWidget *window = windowof(watched);
    if (window && admits(window))
        return qobject_cast<const JobDialog *>(window) && isrepeated(event);
    if (event->type() == QEvent::MouseButtonPress)
        pressed();
    if (event->type() != QEvent::Close)
        return true;
    // tool tips and menus close by themselves
    if (!window || (window->windowType() != Qt::Window && window->windowType() != Qt::Dialog) ||
        closes())
        return false;
    event->ignore();
    return true;
}

DiskJob::DiskJob(JobDialog *dialog, Cancelling allowed)
    : monitor(std::make_shared<platform::Monitor>(allowed))
{
    timer.setInterval(lookmilliseconds);
    connect(&timer, &QTimer::timeout, this, &DiskJob::look);
    setdialog(dialog);
}

DiskJob::DiskJob(QWidget *parent, const QString &label, bool abortbutton, Cancelling allowed)
    : DiskJob(new JobDialog(label, abortbutton ? "Abort" : QString(), 0, 0, parent), allowed)
{
    own.reset(shown);
}

DiskJob::~DiskJob() = default;

void DiskJob::setdialog(JobDialog *dialog)
{
    shown = dialog;
    own.reset();
    if (shown)
        connect(shown, &QProgressDialog::canceled, this, &DiskJob::cancel);
}

bool DiskJob::admits(const QWidget *window) const
{
    return window == shown || (calls == 0 && InputGuard::admits(window));
}

bool DiskJob::closes()
{
    return cancel();
}

void DiskJob::pressed()
{
    if (!shown || !shown->isVisible())
        return;
    shown->raise();
    shown->activateWindow();
}

bool DiskJob::cancel()
{
    const bool first = !cancelled();
    if (!monitor->cancel())
        return false;
    if (first) {
        if (shown && busy())
            shown->showstopping();
        emit aborted();
    }
    return true;
}

void DiskJob::call(const std::function<void()> &work)
{
    // The job may end, but the promise lives until the thread is done with it.
    auto promise = std::make_shared<QPromise<void>>();
    QFuture<void> future = promise->future();
    QFutureWatcher<void> watcher;
    bool done = false;
    connect(&watcher, &QFutureWatcher<void>::finished, this, [&done] { done = true; });
    watcher.setFuture(future);
    ++calls;
    begun.start();
    lastanswer.start();
    timer.start();
    diskthread().start([promise, &work, watched = monitor] {
        const platform::MonitorScope scope(watched);
        promise->start();
        try {
            work();
        } catch (...) {
            promise->setException(std::current_exception());
        }
        promise->finish();
    });
    // not by QEventLoop::exec, which drops an end of the program that was posted just before
    while (!done)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    future.waitForFinished(); // throws what the work has thrown
    if (--calls > 0)
        return;
    timer.stop();
    if (own)
        own->hide();
    if (shown)
        shown->shownote({});
}

void DiskJob::look()
{
    if (own && own->isHidden() && begun.elapsed() >= showmilliseconds)
        own->show();
    if (const std::uint64_t count = monitor->transfers(); count != answered) {
        answered = count;
        lastanswer.start();
        if (onprogress)
            onprogress(monitor->offset());
    }
    if (!shown)
        return;
    if (!monitor->cancellable())
        shown->lock("The disk is being written. This can not be cancelled any more.");
    if (lastanswer.elapsed() < stalledmilliseconds) {
        shown->shownote({});
        return;
    }
    QString place;
    if (answered > 0)
        place = QString(" at %1 GB")
                    .arg(static_cast<double>(monitor->offset()) / bytespergb, 0, 'f', 1);
    shown->shownote(QString("waiting for the disk%1, %2 s")
                        .arg(place, QString::number(lastanswer.elapsed() / 1000)));
}
