#pragma once

#include "core/tlcore.h"

#include <QWizardPage>

#include <vector>

class QButtonGroup;
class QGroupBox;
class QLabel;
class QVBoxLayout;

/// The first page: every hard disk that was found, the system's refused. It owns the list for the
/// whole run.
class SelectDiskPage : public QWizardPage
{
    Q_OBJECT

public:
    explicit SelectDiskPage(QWidget *parent = nullptr);

    void initializePage() override;
    bool validatePage() override;

    QLabel *infolabel;
    QButtonGroup *diskgroup;
    QVBoxLayout *disklayout;
    QGroupBox *diskbox;
    QLabel *warninglabel;
    QVBoxLayout *pagelayout;
    std::vector<DISKINFO> alldisks; ///< filled once, in the system's order
    int selecteddisk = -1;          ///< index into `alldisks`; -1 until a row was clicked

public slots:
    void selectdisk(int id);
};

/// A disk's row: "model,size" in decimal GB, and why it can't be chosen.
QString diskrowtext(const DISKINFO &disk);
