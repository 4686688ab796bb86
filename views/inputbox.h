#pragma once

#include <QString>
#include <QStringList>

#include <optional>

class QWidget;

/// What an input dialog asks for. `hint` stands over the label and says it in more words; empty
/// where the label does.
struct Question {
    QString title, label, hint;
};

/// Asks for a whole number; nothing if it was cancelled.
std::optional<int> askint(QWidget *parent, const Question &question, int value, int least,
                          int most);

/// Asks for a number of GB with one decimal, which is typed with a point or a comma.
std::optional<double> askgb(QWidget *parent, const Question &question, double value, double least,
                            double most);

/// Lets choose one of some texts; its index, or nothing if it was cancelled.
std::optional<int> askchoice(QWidget *parent, const Question &question, const QStringList &texts);
