#include "tests/support/dialogs.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDoubleSpinBox>
#include <QInputDialog>
#include <QMessageBox>
#include <QProgressDialog>

DialogAnswers::DialogAnswers()
{
    timer.setInterval(0);
    connect(&timer, &QTimer::timeout, this, [this] { look(); });
    timer.start();
}

DialogAnswers::~DialogAnswers() = default;

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

QList<DialogAnswers::Seen> DialogAnswers::takeseen()
{
    return std::exchange(seen, {});
}

void DialogAnswers::look()
{
    QWidget *widget = QApplication::activeModalWidget();
    if (!widget || qobject_cast<QProgressDialog *>(widget))
        return;
    if (auto *box = qobject_cast<QMessageBox *>(widget)) {
        const char *kind = box->icon() == QMessageBox::Warning ? "warning" : "information";
        seen.append({kind, box->windowTitle(), box->text()});
        box->button(QMessageBox::Ok)->click();
        return;
    }
    if (auto *input = qobject_cast<QInputDialog *>(widget)) {
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
        QVariant value = one.value;
        if (!queue.isEmpty())
            value = queue.takeFirst();
        else if (fallback)
            value = fallback(one);
        if (!value.isValid()) {
            input->reject();
            return;
        }
        if (isint)
            input->setIntValue(value.toInt());
        else
            input->setDoubleValue(value.toDouble());
        input->accept();
        return;
    }
    if (custom && custom(widget))
        return;
    seen.append({"other", widget->windowTitle(), QString()});
    widget->close();
}
