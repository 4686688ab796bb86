#pragma once

#include <QProgressBar>
#include <QProgressDialog>

#include <cstdint>

/// Shows the progress of disk work. Escape does nothing; the cancel button and the close box emit
/// `canceled` and leave the dialog open for its owner to close, so that it can say that the work is
/// stopping.
class JobDialog : public QProgressDialog
{
    Q_OBJECT

public:
    /// `abort` is the cancel button's text; empty: there is no such button, and the close box does
    /// nothing.
    JobDialog(const QString &label, const QString &abort, int minimum, int maximum,
              QWidget *parent = nullptr);

    /// Moves the bar within the present step: `done` of `total` bytes of the whole work are done,
    /// and the bar says so in GB.
    void showbytes(std::uint64_t done, std::uint64_t total);
    /// Shows that the work is going to end, until the dialog closes.
    void showstopping();
    /// Adds a line below the label; empty: none.
    void shownote(const QString &note);
    /// Takes the cancel button away, with a line that says so.
    void lock(const QString &reason);
    /// As wide as its title, but not wider than the screen.
    void fittitle(const char *longest);

    void reject() override;
    /// A hidden dialog keeps no window of the system, which screen readers would go on to list.
    void setVisible(bool visible) override;

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    /// Paints finer steps than the dialog's range has.
    class Bar : public QProgressBar
    {
    public:
        using QProgressBar::QProgressBar;
        [[nodiscard]] QString text() const override;
        void initStyleOption(QStyleOptionProgressBar *option) const override;

        std::uint64_t done = 0, total = 0; ///< bytes; a total of 0: by the range
    };

    void showlabel();

    Bar *bar;
    QPushButton *abortbutton = nullptr;
    QString label, note, why;
};
