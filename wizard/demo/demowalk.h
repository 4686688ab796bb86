#pragma once

#include <QObject>
#include <QString>
#include <QTimer>

class DpWizard;

/// Walks the wizard through the whole job by itself, by clicks on its buttons, and saves a picture
/// of each page. The damaged disk is scanned and gets the automatic plan.
class DemoWalk : public QObject
{
    Q_OBJECT

public:
    /// Pictures go to `folder`. The walk begins with the event loop and ends it: with status 0 on
    /// the last page, with 1 if a page did not come.
    DemoWalk(DpWizard *wizard, const QString &folder);

private:
    void step();
    void picture(const char *name);

    DpWizard *wizard;
    QString folder;
    QTimer timer;
    int stage = 0;
    bool scanned = false; ///< the picture of the scan was taken
    int patience;
};
