#pragma once

#include <QMessageBox>

/// A message box with Ok whose text is shown as it stands: a device's name in it is never taken for
/// markup. Returns once it is closed.
void plainbox(QWidget *parent, QMessageBox::Icon icon, const QString &title, const QString &text);
