#pragma once

#include <QAbstractButton>
#include <QWizard>

#include <utility>

class DiskPartition;
class DiskScanPage;
class LastPage;
class SelectDiskPage;
struct DISKINFO;

/// The frame: four pages in a fixed order. What the Next button does belongs to the current page.
class DpWizard : public QWizard
{
    Q_OBJECT

public:
    explicit DpWizard(QWidget *parent = nullptr);

    [[nodiscard]] SelectDiskPage *selectpage() const;
    [[nodiscard]] DiskScanPage *scanpage() const;
    [[nodiscard]] DiskPartition *planner() const;
    [[nodiscard]] LastPage *lastpage() const;
    /// The disk that the user chose; null before.
    [[nodiscard]] const DISKINFO *chosendisk() const;

    /// Gives the Next button's click to `slot` of `receiver` and takes it from whoever had it, so
    /// that there is one receiver at any time.
    template <class Receiver> void givenext(Receiver *receiver, void (Receiver::*slot)())
    {
        disconnect(nextclick);
        nextclick = connect(button(NextButton), &QAbstractButton::clicked, receiver, slot);
    }
    /// Gives the click back to the wizard and turns to the next page.
    void leavepage();
    /// Whether the page lets the user go on. Opens the chosen disk as the first page is left.
    bool validateCurrentPage() override;
    /// Sees the presses of the wizard's own buttons. One counts only if it began and ended on the
    /// page that shows, with no disk work in between; second clicks of double clicks and repeated
    /// keys do not count.
    bool eventFilter(QObject *watched, QEvent *event) override;

    int selectdiskid;
    int scanpageid;
    int partitionpageid;
    int lastpageid;

protected:
    /// Keeps Escape from ending a run or a plan, and Enter from writing to the disk.
    void keyPressEvent(QKeyEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    bool event(QEvent *event) override;

private:
    /// What a press began on: the page, and the guards until then.
    [[nodiscard]] std::pair<int, int> place() const;

    QMetaObject::Connection nextclick; ///< who has the click on Next
    std::pair<int, int> pressed = {-1, -1};
    bool repeating = false; ///< the last key is one that is held down
};

/// The wizard that `page` stands in; null while it stands in none.
DpWizard *dpwizard(const QWizardPage *page);
