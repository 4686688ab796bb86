#pragma once

#include <QLabel>
#include <QScrollArea>

/// A wrapped text that shrinks down to three lines in a small window and is scrolled then.
class ScrolledText : public QScrollArea
{
    Q_OBJECT

public:
    /// Takes over `label`.
    explicit ScrolledText(QLabel *label);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent *event) override;
};
