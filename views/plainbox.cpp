#include "views/plainbox.h"

#include <QAbstractButton>
#include <QTimer>

namespace
{

// A press on a button may open the box, by taking the focus from an editor whose text is refused.
// The button gets that press behind the box and never its release.
void releasebuttons(QWidget *parent)
{
    if (!parent)
        return;
    QWidget *window = parent->window();
    QTimer::singleShot(0, window, [window] {
        for (QAbstractButton *button : window->findChildren<QAbstractButton *>()) {
            if (button->isDown())
                button->setDown(false);
        }
    });
}

} // namespace

void plainbox(QWidget *parent, QMessageBox::Icon icon, const QString &title, const QString &text)
{
    QMessageBox box(icon, title, text, QMessageBox::Ok, parent);
    box.setTextFormat(Qt::PlainText);
    box.exec();
    releasebuttons(parent);
}

bool plainquestion(QWidget *parent, const QString &title, const QString &text)
{
    QMessageBox box(QMessageBox::Warning, title, text, QMessageBox::Yes | QMessageBox::No, parent);
    box.setDefaultButton(QMessageBox::No);
    box.setTextFormat(Qt::PlainText);
    const bool yes = box.exec() == QMessageBox::Yes;
    releasebuttons(parent);
    return yes;
}
