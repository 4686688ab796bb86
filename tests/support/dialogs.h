#pragma once

#include <QList>
#include <QObject>
#include <QStringList>
#include <QTimer>
#include <QVariant>

#include <functional>

class QWidget;

/// Answers the modal dialogs of a test and keeps what they showed. While it lives, every modal
/// dialog that comes up is written down and closed: message boxes by Ok, input dialogs by the next
/// answer. A test thus never hangs on a dialog, and asks afterwards what it saw.
class DialogAnswers : public QObject
{
public:
    /// One dialog that came up.
    struct Seen {
        QString kind; ///< "warning", "information", "int", "double", "other"
        QString title;
        QString text; ///< message or label
        double value = 0, minimum = 0, maximum = 0;
        int decimals = 0;
        double step = 0;
    };

    DialogAnswers();

    /// For the next input dialogs: a number accepts, an invalid QVariant cancels.
    QVariantList answers;
    /// Asked when there is none left; default: accept what the dialog offers.
    std::function<QVariant(const Seen &)> fallback;
    /// Sees every modal widget first; true if it closed it (a `GeomDlg`), which is then not kept.
    std::function<bool(QWidget *)> custom;

    /// Texts of all message boxes so far, in order.
    [[nodiscard]] QStringList messages() const;
    /// All dialogs so far; `takeseen` also forgets them.
    QList<Seen> seen;
    QList<Seen> takeseen() { return std::exchange(seen, {}); }

private:
    void look();

    QTimer timer;
};
