#include "views/jobdialog.h"

#include "core/geom.h"

#include <QCloseEvent>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QStyleOptionProgressBar>
#include <QTimer>

#include <algorithm>

namespace
{

// "0.4 of 1.9 GB", or in MB where tenths of a GB would hardly move.
QString amounts(std::uint64_t done, std::uint64_t total)
{
    const bool small = static_cast<double>(total) < 10 * bytespergb;
    const double unit = bytespergb / (small ? 1000 : 1);
    const auto amount = [unit, small](std::uint64_t bytes) {
        return QString::number(static_cast<double>(bytes) / unit, 'f', small ? 0 : 1);
    };
    return QString("%1 of %2 %3").arg(amount(done), amount(total), small ? "MB" : "GB");
}

} // namespace

QString JobDialog::Bar::text() const
{
    return total > 0 ? amounts(done, total) : QProgressBar::text();
}

void JobDialog::Bar::initStyleOption(QStyleOptionProgressBar *option) const
{
    QProgressBar::initStyleOption(option);
    if (total == 0)
        return;
    constexpr int steps = 1 << 20;
    option->minimum = 0;
    option->maximum = steps;
    option->progress = static_cast<int>(static_cast<double>(done) / static_cast<double>(total) *
                                        static_cast<double>(steps));
    option->text = text();
}

JobDialog::JobDialog(const QString &label, const QString &abort, int minimum, int maximum,
                     QWidget *parent)
    : QProgressDialog(label, abort, minimum, maximum, parent), bar(new Bar), label(label)
{
    setBar(bar);
    bar->setRange(minimum, maximum);
    if (abort.isEmpty())
        setCancelButton(nullptr);
    else
        abortbutton = findChild<QPushButton *>();
    for (QShortcut *escape : findChildren<QShortcut *>())
        escape->setEnabled(false);
    // `canceled` would hide the dialog at once
    disconnect(this, SIGNAL(canceled()), this, nullptr);
    // it appears when its owner shows it, and not by its timer
    setMinimumDuration(1 << 30);
    for (QTimer *timer : findChildren<QTimer *>())
        timer->stop();
    // the program ends with the wizard's window, whether or not this dialog is open
    setAttribute(Qt::WA_QuitOnClose, false);
    setAutoReset(false);
    setAutoClose(false);
    if (parent)
        setWindowModality(Qt::WindowModal);
}

void JobDialog::showbytes(std::uint64_t done, std::uint64_t total)
{
    bar->done = std::min(done, total);
    bar->total = total;
    bar->update();
}

void JobDialog::showstopping()
{
    label = "Stopping…";
    if (abortbutton)
        abortbutton->setEnabled(false);
    showlabel();
}

void JobDialog::shownote(const QString &newnote)
{
    if (note == newnote)
        return;
    note = newnote;
    showlabel();
}

void JobDialog::lock(const QString &reason)
{
    if (!abortbutton)
        return;
    abortbutton->setEnabled(false);
    abortbutton = nullptr;
    why = reason;
    showlabel();
}

void JobDialog::showlabel()
{
    QString text = label;
    for (const QString &line : {why, note}) {
        if (!line.isEmpty())
            text += "\n" + line;
    }
    setLabelText(text);
}

void JobDialog::fittitle(const char *longest)
{
    // half as much again for the frame's own font and buttons
    setMinimumWidth(std::min(fontMetrics().horizontalAdvance(longest) * 3 / 2,
                             screen()->availableGeometry().width() * 9 / 10));
}

void JobDialog::reject() {}

void JobDialog::setVisible(bool visible)
{
    QProgressDialog::setVisible(visible);
    if (!visible)
        destroy();
}

void JobDialog::closeEvent(QCloseEvent *event)
{
    event->ignore();
    if (abortbutton && abortbutton->isEnabled())
        emit canceled();
}
