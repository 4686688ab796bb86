#include "views/inputbox.h"

#include <QBoxLayout>
#include <QDoubleSpinBox>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QValidator>

namespace
{

// Takes a comma for the point, and else what the box takes.
class CommaValidator : public QValidator
{
public:
    explicit CommaValidator(QDoubleSpinBox *owner) : QValidator(owner), box(owner) {}

    State validate(QString &text, int &position) const override
    {
        text.replace(',', '.');
        return box->validate(text, position);
    }

private:
    QDoubleSpinBox *box;
};

bool ask(QInputDialog &dialog, const Question &question)
{
    dialog.setWindowTitle(question.title);
    dialog.setLabelText(question.label);
    static_cast<void>(dialog.sizeHint()); // the dialog makes its layout only then
    if (auto *layout = qobject_cast<QBoxLayout *>(dialog.layout())) {
        if (!question.hint.isEmpty())
            layout->insertWidget(0, new QLabel(question.hint));
        // room for the title between the frame's own buttons
        layout->addStrut(dialog.fontMetrics().horizontalAdvance(question.title + "MM") * 3 / 2);
    }
    return dialog.exec() == QDialog::Accepted;
}

} // namespace

std::optional<int> askint(QWidget *parent, const Question &question, int value, int least, int most)
{
    QInputDialog dialog(parent);
    dialog.setInputMode(QInputDialog::IntInput);
    dialog.setIntRange(least, most);
    dialog.setIntValue(value);
    return ask(dialog, question) ? std::optional(dialog.intValue()) : std::nullopt;
}

std::optional<double> askgb(QWidget *parent, const Question &question, double value, double least,
                            double most)
{
    QInputDialog dialog(parent);
    dialog.setInputMode(QInputDialog::DoubleInput);
    dialog.setDoubleDecimals(1);
    dialog.setDoubleRange(least, most);
    dialog.setDoubleValue(value);
    // the point, as in the partition list, whatever the system's locale
    auto *box = dialog.findChild<QDoubleSpinBox *>();
    QLocale locale = QLocale::c();
    locale.setNumberOptions(QLocale::OmitGroupSeparator | QLocale::RejectGroupSeparator);
    box->setLocale(locale);
    box->setSuffix(" GB");
    box->findChild<QLineEdit *>()->setValidator(new CommaValidator(box));
    return ask(dialog, question) ? std::optional(dialog.doubleValue()) : std::nullopt;
}

std::optional<int> askchoice(QWidget *parent, const Question &question, const QStringList &texts)
{
    QInputDialog dialog(parent);
    dialog.setComboBoxItems(texts);
    if (!ask(dialog, question))
        return {};
    return static_cast<int>(texts.indexOf(dialog.textValue()));
}
