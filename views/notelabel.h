#pragma once

#include <QLabel>

/// A text in a fixed number of lines: what has no room ends in "…" and stands in the tool tip,
/// which always has the whole text.
class NoteLabel : public QLabel
{
    Q_OBJECT

public:
    explicit NoteLabel(int lines, QWidget *parent = nullptr);
    void setnote(const QString &text);

protected:
    void changeEvent(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void fit();

    int lines;
    QString whole;
};
