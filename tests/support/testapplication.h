#pragma once

#include <QApplication>

/// The application of the tests. With ThreadSanitizer, the functions of Qt by which one thread
/// hands something to another tell it so; Qt itself is built without it, and TSan sees none of its
/// locks.
class TestApplication : public QApplication
{
public:
    using QApplication::QApplication;
    bool notify(QObject *receiver, QEvent *event) override;
};
