#include "tests/support/dialogs.h"

#include <QAbstractButton>
#include <QApplication>
#include <QInputDialog>
#include <QMessageBox>
#include <QProgressDialog>

DialogAnswers::DialogAnswers()
{
    connect(&timer, &QTimer::timeout, this, [this] { look(); });
    timer.start(0);
}

DialogAnswers &DialogAnswers::answer(const QVariant &value)
{
    queue.append(value);
    return *this;
}

QStringList DialogAnswers::messages() const
{
    QStringList texts;
    for (const Seen &one : seen) {
        if (one.kind == "warning" || one.kind == "information")
            texts.append(one.text);
    }
    return texts;
}

void DialogAnswers::look()
{
    QWidget *widget = QApplication::activeModalWidget();
    if (!widget || qobject_cast<QProgressDialog *>(widget) || (custom && custom(widget)))
        return;
    if (auto *box = qobject_cast<QMessageBox *>(widget)) {
        const char *kind = box->icon() == QMessageBox::Warning ? "warning" : "information";
        seen.append({kind, box->windowTitle(), box->text()});
        box->button(QMessageBox::Ok)->click();
        return;
    }
    auto *input = qobject_cast<QInputDialog *>(widget);
    if (!input) {
        seen.append({"other", widget->windowTitle(), QString()});
        widget->close();
        return;
    }
    Seen one{"int", input->windowTitle(), input->labelText()};
    const bool isint = input->inputMode() == QInputDialog::IntInput;
    if (isint) {
        one.value = input->intValue();
        one.minimum = input->intMinimum();
        one.maximum = input->intMaximum();
        one.step = input->intStep();
    } else {
        one.kind = "double";
        one.value = input->doubleValue();
        one.minimum = input->doubleMinimum();
        one.maximum = input->doubleMaximum();
        one.decimals = input->doubleDecimals();
        one.step = input->doubleStep();
    }
    seen.append(one);
    const QVariant value = !queue.isEmpty() ? queue.takeFirst()
                           : fallback       ? fallback(one)
                                            : QVariant(one.value);
    if (isint)
        input->setIntValue(value.toInt());
    else
        input->setDoubleValue(value.toDouble());
    input->done(value.isValid() ? QDialog::Accepted : QDialog::Rejected);
}
