#include "tests/support/dialogs.h"

#include <QtTest>
#include <QtWidgets>

DialogAnswers::DialogAnswers()
{
    connect(&timer, &QTimer::timeout, this, [this] { look(); });
    timer.start(0);
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
        const char *kind = box->textFormat() != Qt::PlainText    ? "markup"
                           : box->icon() == QMessageBox::Warning ? "warning"
                                                                 : "information";
        seen.append({kind, box->windowTitle(), box->text()});
        if (QAbstractButton *ok = box->button(QMessageBox::Ok))
            ok->click();
        else
            box->button(consent ? QMessageBox::Yes : QMessageBox::No)->click();
        return;
    }
    auto *input = qobject_cast<QInputDialog *>(widget);
    if (!input) {
        seen.append({"other", widget->windowTitle(), QString()});
        widget->close();
        return;
    }
    if (!input->comboBoxItems().isEmpty()) {
        seen.append({"choice", input->windowTitle(), input->comboBoxItems().join('\n')});
        input->setTextValue(
            input->comboBoxItems()[answers.isEmpty() ? 0 : answers.takeFirst().toInt()]);
        return input->accept();
    }
    const bool isint = input->inputMode() == QInputDialog::IntInput;
    Seen one{isint ? "int" : "double", input->windowTitle(), input->labelText()};
    one.value = isint ? input->intValue() : input->doubleValue();
    one.minimum = isint ? input->intMinimum() : input->doubleMinimum();
    one.maximum = isint ? input->intMaximum() : input->doubleMaximum();
    one.step = isint ? input->intStep() : input->doubleStep();
    one.decimals = isint ? 0 : input->doubleDecimals();
    seen.append(one);
    const QVariant value = !answers.isEmpty() ? answers.takeFirst()
                           : fallback         ? fallback(one)
                                              : QVariant(one.value);
    if (value.typeId() == QMetaType::QString) {
        auto *line = input->findChild<QLineEdit *>();
        line->selectAll();
        QTest::keyClicks(line, value.toString());
    } else if (isint)
        input->setIntValue(value.toInt());
    else
        input->setDoubleValue(value.toDouble());
    input->done(value.isValid() ? QDialog::Accepted : QDialog::Rejected);
}
