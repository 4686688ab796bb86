#pragma once

#include <QList>
#include <QObject>
#include <QStringList>
#include <QTimer>
#include <QVariant>

#include <functional>

class QWidget;

/// Records and closes every modal dialog during its lifetime: message boxes by Ok, Yes or No, input
/// dialogs by the next answer, which is an index where there are texts to choose from. So a test
/// never hangs on a dialog, and can check afterwards what was shown.
class DialogAnswers : public QObject
{
public:
    /// One dialog that was shown.
    struct Seen {
        QString kind; ///< "warning", "information", "int", "double", "choice", "other"
        QString title;
        QString text; ///< message or label
        double value = 0, minimum = 0, maximum = 0;
        int decimals = 0;
        double step = 0;
    };

    DialogAnswers();

    /// For the next input dialogs: a number accepts, a text is typed, an invalid QVariant cancels.
    QVariantList answers;
    /// Called when no answer is left; default: accept the proposed value.
    std::function<QVariant(const Seen &)> fallback;
    /// Called first for every modal widget; true if it closed it (a `GeomDlg`), not recorded then.
    std::function<bool(QWidget *)> custom;

    /// The answer to questions with Yes and No.
    bool consent = false;

    /// Texts of all message boxes so far, in order.
    [[nodiscard]] QStringList messages() const;
    /// All dialogs so far; `takeseen` also forgets them.
    QList<Seen> seen;
    QList<Seen> takeseen() { return std::exchange(seen, {}); }

    /// Looks for dialogs, all the time. A bench gives it an interval, or measures it along.
    QTimer timer;

private:
    void look();
};
