#pragma once

#include "core/tlcore.h"

#include <QThreadPool>
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
    ~SelectDiskPage() override;

    void initializePage() override;
    bool validatePage() override;
    /// Gives the focus to the chosen row, or to the first that can be chosen.
    void focusrow();

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

private:
    /// Has every disk's contents read beside the page, since a failing disk takes long to answer.
    void readcontents();
    /// Puts what is known of a disk into its row's tool tip and accessible description.
    void describe(std::size_t i, const QString &contents);

    QThreadPool readers;
};

/// A disk's row: "model,size" in decimal GB, and why it can't be chosen.
QString diskrowtext(const DISKINFO &disk);
