#pragma once

#include "platform/monitor.h"

#include <QElapsedTimer>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

class JobDialog;
class QPushButton;

/// While one lives, input goes nowhere: clicks, keys, wheel, shortcuts and close events of all
/// windows are dropped, none is kept for later, and push buttons are not clicked by other means (a
/// screen reader, the end of an animated click). Message boxes that are opened meanwhile work.
class InputGuard : public QObject
{
public:
    InputGuard();
    /// Drops what the window system has delivered until now.
    ~InputGuard() override;

    static bool active();
    /// Number of guards so far. A press counts only if no guard came between its down and its up.
    static int count();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    /// Whether input of this top-level window is delivered.
    [[nodiscard]] virtual bool admits(const QWidget *window) const;
    /// Whether the main window may be closed.
    virtual bool closes() { return false; }
    /// A press elsewhere was dropped.
    virtual void pressed() {}

private:
    InputGuard *outer;                     ///< the guard before; the innermost one decides
    QList<QPointer<QPushButton>> silenced; ///< by the outermost one
};

/// One piece of disk work of a page: a run, a re-test, a commit. Its disk calls are made on the
/// disk's own thread by `run`, which returns when the call has returned; the event loop runs
/// meanwhile. For all its life, also between the calls, input goes nowhere but to its dialog.
///
/// The handles that its calls open are cancelled with it. The abort button and the close box of the
/// dialog, and the close box of the main window, cancel it.
class DiskJob : public InputGuard
{
    Q_OBJECT

public:
    using Cancelling = platform::Monitor::Cancelling;

    /// Work with a dialog of its owner.
    explicit DiskJob(JobDialog *dialog, Cancelling allowed = Cancelling::always);
    /// Work with a dialog of its own, which appears once the work takes long enough to be noticed.
    /// It has an Abort button if the work can be cancelled by it.
    DiskJob(QWidget *parent, const QString &label, bool abortbutton = false,
            Cancelling allowed = Cancelling::always);
    ~DiskJob() override;

    /// Makes a call on the disk's thread and returns its result. Exceptions are passed on.
    template <class Work> std::invoke_result_t<Work &> run(Work work)
    {
        if constexpr (std::is_void_v<std::invoke_result_t<Work &>>) {
            call(work);
        } else {
            std::optional<std::invoke_result_t<Work &>> result;
            call([&] { result.emplace(work()); });
            return std::move(*result);
        }
    }

    /// Has all further transfers fail; the one in progress ends by itself. False if that is too
    /// late.
    bool cancel();
    [[nodiscard]] bool cancelled() const { return monitor->cancelled(); }
    /// Whether a call is in progress.
    [[nodiscard]] bool busy() const { return calls > 0; }
    /// Where the present call's transfers are: called with the offset in bytes, some times a
    /// second while that changes.
    std::function<void(std::uint64_t)> onprogress;
    /// Takes a dialog of the owner, instead of the one before.
    void setdialog(JobDialog *dialog);

signals:
    /// The user cancelled the work.
    void aborted();

protected:
    [[nodiscard]] bool admits(const QWidget *window) const override;
    bool closes() override;
    /// Brings the dialog to the front, where the press has put the wizard.
    void pressed() override;

private:
    void call(const std::function<void()> &work);
    /// Brings the dialog up to date.
    void look();

    std::shared_ptr<platform::Monitor> monitor;
    std::unique_ptr<JobDialog> own;
    JobDialog *shown;
    int calls = 0;
    QTimer timer;               ///< looks while a call is in progress
    QElapsedTimer begun;        ///< since the call began
    QElapsedTimer lastanswer;   ///< since the disk last answered
    std::uint64_t answered = 0; ///< transfers at that time
};
