#pragma once

#include <QMessageBox>

/// A message box with Ok whose text is shown as it stands: a device's name in it is never taken for
/// markup. Returns once it is closed.
void plainbox(QWidget *parent, QMessageBox::Icon icon, const QString &title, const QString &text);
/// A warning with Yes and No, which is the default; its text is shown in the same way. Whether Yes
/// was chosen.
bool plainquestion(QWidget *parent, const QString &title, const QString &text);
