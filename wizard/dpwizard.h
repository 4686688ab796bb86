#pragma once

#include <QWizard>

/// The frame: four pages in a fixed order. What the Next button does belongs to the current page.
class DpWizard : public QWizard
{
    Q_OBJECT

public:
    explicit DpWizard(QWidget *parent = nullptr);

    int selectdiskid;
    int scanpageid;
    int partitionpageid;
    int lastpageid;
};
