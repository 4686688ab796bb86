#pragma once

#include "core/tlcore.h"
#include "planner/extpart.h"
#include "planner/partlist.h"
#include "planner/partresult.h"

#include <QItemSelection>
#include <QList>
#include <QWizardPage>

#include <functional>
#include <vector>

class DiskScanPage;
class GraphicsScene;
class GraphicsView;
class PartTreeModel;
class QAction;
class QComboBox;
class QHBoxLayout;
class QLabel;
class QPushButton;
class QTreeView;
class QVBoxLayout;
class SelectDiskPage;

/// The third page: the disk as a list of blocks, planned by strategy or by hand, and the commit.
///
/// For authors of an operation:
/// - `extparts` is always in disk order, disjoint, and owns its blocks.
/// - A block has a row in the tree exactly when its kind is 'p' or 'l'; both share the record.
/// - `primarynum` and `logicalnum` count those rows. At most four rows stand at the top level.
/// - Every block has an item in the diagram, and every item a block. Take a block out by
///   `deletepart` only, or empty the tree before the diagram before the list.
/// - All checks stand before all changes: a refused operation leaves everything as it was.
/// Each group of operations has a file of its own beside this one.
class DiskPartition : public QWizardPage
{
    Q_OBJECT

public:
    explicit DiskPartition(QWidget *parent = nullptr);
    ~DiskPartition() override;

    void keyPressEvent(QKeyEvent *event) override;
    void initializePage() override;
    void cleanupPage() override;
    /// Return and Enter on the diagram, the list and the strategy box end there: left to the
    /// dialog they would press Next, which writes to the disk at once.
    bool eventFilter(QObject *watched, QEvent *event) override;

    // diskpartition.cpp: the page
    /// Empties `segs` and everything made from it.
    void clearall();
    /// Empties the tree, the diagram and the list, in that order.
    void clearmodelview();

    // blocks.cpp
    /// Empties `extparts` without deleting and makes one block of each record of `segs`.
    void constructextparts();

    // diagram.cpp
    /// Lays out the diagram and makes the items; no block may have one yet.
    void initpartdiagram();
    /// Lays out the items that there are for the view's present size.
    void resizepartdiagram();
    /// The selected blocks in disk order; a scene's own order says nothing.
    [[nodiscard]] QList<EXTPART *> selectedparts() const;

    // strategies.cpp
    /// Makes a block primary while `primarynum` < `limit`, else logical, and adds its row.
    void assignpart(EXTPART *part, int limit, int sorted);
    /// The plan that needs no choice: eight equal parts from 100 GB up, four below.
    void defaultpartition();

    // insertion.cpp
    /// Index of a block in `list`, or -1.
    int partpos(const QList<EXTPART *> &list, const EXTPART *part) const;
    /// Puts an unassigned block next to `anchor` in list and diagram, not in the tree.
    void insertnewpart(EXTPART *anchor, EXTPART *part, int before);
    /// Puts a block at its place by `start`, with a row if it is 'p' or 'l'. A primary without a
    /// free slot silently becomes unassigned.
    void insertnewpart(EXTPART *part);
    /// Takes a block out of tree, list and diagram, and deletes it.
    void deletepart(EXTPART *part);

    // boundary.cpp
    /// Takes over an edited cell: true if it changed. Called by the tree's model.
    bool setData(const QModelIndex &index, const QVariant &value, int role);

    // splitcombine.cpp
    /// Cuts the first selected block into `n` equal parts; the rest lies in no block.
    void splitpart(int n);

    QLabel *infolabel;
    QComboBox *strategybox;
    QHBoxLayout *legendlayout;
    QLabel *swatches[4];
    QLabel *captions[4];
    QVBoxLayout *pagelayout;
    GraphicsView *diagramview;
    QLabel *listlabel;
    std::vector<SEG> segs;     ///< the scan's consolidated list, source of `constructextparts`
    QList<EXTPART *> extparts; ///< the blocks, in disk order; owned
    GraphicsScene *diagramscene;
    QAction *actions[10];                  ///< the diagram's context menu, in its order
    int primarynum = 0;                    ///< blocks of kind 'p' with a row
    int logicalnum = 0;                    ///< blocks of kind 'l' with a row
    PARTRESULT partresult;                 ///< outcome of the last commit
    double widthpersize = 0;               ///< width of one cylinder in the diagram
    double itemheight = 0;                 ///< height of an item in the diagram
    unsigned long long totalblocksize = 0; ///< cylinders of all blocks at the last layout
    QTreeView *treeview;
    PartTreeModel *treemodel;
    QPushButton *upbutton;
    QPushButton *downbutton;
    QPushButton *deletebutton;
    QVBoxLayout *buttonslayout;
    QHBoxLayout *treelayout;
    QLabel *plannote; ///< a line about the plan under its list; the tool tip has it whole

public slots:
    // insertion.cpp
    void addpp();
    void addld();
    void delpart();
    // splitcombine.cpp
    void splitpart();
    void split3part();
    void split4part();
    void splitnpart();
    void splitsysdatapart();
    void combineparts();
    // retest.cpp
    void rescan();
    // strategies.cpp
    void onstrategychanged(int index);
    // diagram.cpp
    void selectionchanged();
    void treeselectionchanged(const QItemSelection &selected, const QItemSelection &deselected);
    // commit.cpp
    void writetodisk();
    // insertion.cpp
    void ondelPartTreeNode();
    void onupPartTreeNode();
    void ondownPartTreeNode();

private:
    /// The first selected block, or null if there is none or it is bad: what the operations on one
    /// block work on.
    [[nodiscard]] EXTPART *chosenpart() const;
    /// Makes a block without a row a partition of `kind` ('p' or 'l') with its row, and counts it.
    void giverow(EXTPART *part, char kind, int sorted);
    /// Turns a partition back into an unassigned block without a row, and counts that; nothing for
    /// other kinds.
    void takerow(EXTPART *part);
    /// Empties the plan and shows the bare blocks.
    void restartplan();
    /// Cuts good blocks above `cmaxcyl` cylinders, passes over those up to `cmincyl`, and hands
    /// each piece to `take`. `cmaxcyl` is at least 1.
    void cutpass(unsigned long long cmincyl, unsigned long long cmaxcyl,
                 const std::function<void(EXTPART *)> &take);
    bool setstart(EXTPART *part, unsigned long long cylinder);
    bool setstop(EXTPART *part, unsigned long long cylinder);
    /// Takes over new bounds of a block: size, item and, for a logical disk, the extended row.
    void boundschanged(EXTPART *part);
    /// `QMessageBox::warning` with the title "error" and Ok; always false.
    bool refuse(const QString &text);

    /// Has the note follow the plan, once the operation in hand is through.
    void followplan();
    void showplannote();

    /// Whether a selection in the tree or the diagram is carried over to the other one. Off while
    /// it is being carried over, so that nothing comes back, and while rows or items vanish.
    bool followselection = true;
};
