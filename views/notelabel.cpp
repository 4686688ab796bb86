#include "views/notelabel.h"

#include <QEvent>
#include <QTextLayout>

NoteLabel::NoteLabel(int newlines, QWidget *parent) : QLabel(parent), lines(newlines)
{
    setTextFormat(Qt::PlainText);
    setWordWrap(true);
    setAlignment(Qt::AlignLeft | Qt::AlignTop);
    // however long the text is, it takes the same room of the window
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    setFixedHeight(lines * fontMetrics().lineSpacing());
}

void NoteLabel::setnote(const QString &text)
{
    whole = text;
    setToolTip(text);
    fit();
}

void NoteLabel::fit()
{
    // All lines but the last are broken as the label breaks them; the last takes what is left.
    QTextLayout layout(whole, font());
    layout.beginLayout();
    qsizetype last = 0;
    for (int i = 0; i < lines; ++i) {
        QTextLine line = layout.createLine();
        if (!line.isValid())
            break;
        line.setLineWidth(width());
        last = line.textStart();
    }
    layout.endLayout();
    setText(whole.left(last) + fontMetrics().elidedText(whole.mid(last), Qt::ElideRight, width()));
}

void NoteLabel::changeEvent(QEvent *event)
{
    QLabel::changeEvent(event);
    if (event->type() != QEvent::FontChange)
        return;
    setFixedHeight(lines * fontMetrics().lineSpacing());
    fit();
}

void NoteLabel::resizeEvent(QResizeEvent *event)
{
    QLabel::resizeEvent(event);
    if (event->size().width() != event->oldSize().width())
        fit();
}
