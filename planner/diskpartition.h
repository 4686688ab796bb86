#pragma once

#include "plan/plan.h"
#include "plan/planreport.h"
#include "views/notelabel.h"

#include <QItemSelection>
#include <QWizardPage>

#include <functional>
#include <memory>
#include <optional>
#include <string>

class Commit;
class GraphicsScene;
class GraphicsView;
class PartTreeModel;
class QAction;
class QComboBox;
class QHBoxLayout;
class QLabel;
class QPushButton;
class QTimer;
class QToolButton;
class QTreeView;
class QUndoStack;
class QVBoxLayout;

/// The third page: asks for what an operation on the plan needs, shows the plan, keeps the
/// selections of list and diagram together, and starts the work on the disk.
///
/// Every block of the plan has an item in the diagram, and every item a block.
class DiskPartition : public QWizardPage, public Plan, private PlanWatcher
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

    /// Lays out the diagram and makes the items; no block may have one yet.
    void initpartdiagram();
    /// Lays out the items that there are for the view's present size.
    void resizepartdiagram();
    /// The selected blocks in disk order.
    [[nodiscard]] QList<EXTPART *> selectedparts() const;

    /// Takes over an edited cell and shows a refusal: true if it changed. Called by the tree's
    /// model.
    bool setData(const QModelIndex &index, const QVariant &value, int role);
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
    GraphicsScene *diagramscene;
    QAction *actions[10];                  ///< the diagram's context menu, in its order
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
    QUndoStack *undostack;
    QAction *undoaction;
    QAction *redoaction;
    QLabel *historyline; ///< what was undone or done again last
    NoteLabel *plannote; ///< what is worth knowing of the plan, under its list

public slots:
    void addpp();
    void addld();
    void delpart();
    void splitpart() { splitpart(2); }
    void split3part() { splitpart(3); }
    void split4part() { splitpart(4); }
    void splitnpart();
    void splitsysdatapart();
    void combineparts();
    /// Tests the segments under the first selected block again.
    void rescan();
    void onstrategychanged(int index);
    void selectionchanged();
    void treeselectionchanged(const QItemSelection &selected, const QItemSelection &deselected);
    /// Writes the plan to the disk, the automatic one if it is empty, and turns to the last page.
    void writetodisk();
    void ondelPartTreeNode();
    void onupPartTreeNode();
    void ondownPartTreeNode();
    void undo();
    void redo();

protected:
    void changeEvent(QEvent *event) override;

private:
    friend class PlanStep;

    // Selections are not carried over while rows and items vanish.
    void changebegins() override;
    void changeends() override;
    void planclears() override;
    void planfilled() override { initpartdiagram(); }
    void blockadded(EXTPART *part) override;
    void blockremoved(EXTPART *part) override;
    void boundschanged(EXTPART *part) override;
    void kindchanged(EXTPART *part) override;

    void makediagram();
    void maketree();
    /// Gives the outer columns of the list the width of their words.
    void sizecolumns();
    /// The undo stack, and the row over the list with its buttons.
    QHBoxLayout *makehistory();
    /// Takes the scale from the view's present size.
    void setscale();
    /// The first selected block, or null if there is none or it is bad: what the operations on one
    /// block work on.
    [[nodiscard]] EXTPART *chosenpart() const;
    /// Carries out a strategy on bare blocks, with its answers from the user.
    Outcome assign(int strategy);
    /// Carries out an operation as one step of the history and shows a refusal: whether the plan
    /// changed. `place` is a cylinder of the block that is worked on, if there is one.
    bool perform(const QString &name, const std::optional<std::uint64_t> &place,
                 const std::function<Outcome()> &operation);
    /// The same from the diagram: the block at `place` is then selected, and its row.
    void performat(const QString &name, std::uint64_t place,
                   const std::function<Outcome()> &operation);
    /// Moves the list's current row by one.
    void moverow(const char *name, bool (PartTreeModel::*move)(const QModelIndex &));
    /// Selects the block that holds `cylinder` in the diagram, and its row, or none, in the list.
    void showblock(std::uint64_t cylinder);
    /// Brings a saved plan back as `strategy` left it, and shows the block at `place`.
    void showstate(const PlanState &state, int strategy, const std::optional<std::uint64_t> &place);
    /// Goes a step back or forth and says so.
    void walkhistory(void (QUndoStack::*walk)(), const QString &said);
    /// Carries a commit to this disk out, with its questions: false if it was refused or given up.
    bool carryout(Commit &commit, const DISKINFO &disk, const QString &scanfile);
    /// Closes the open editor of a cell: false if its value was refused.
    [[nodiscard]] bool finishedit();
    /// `QMessageBox::warning` with the title "error" and Ok.
    void refuse(const QString &text);
    void showplannote();

    /// Whether a selection in the tree or the diagram is carried over to the other one. Off while
    /// it is being carried over, so that nothing comes back.
    bool followselection = true;
    bool refused = false;            ///< a refusal was shown
    std::optional<PlanState> before; ///< the plan before the operation under way; none in a walk
                                     ///< through the history
    bool inhistory = false;
    int laststrategy = 0; ///< what the strategy box showed after the last change
    QString stepname;     ///< of the operation under way
    std::optional<std::uint64_t> stepplace;
    std::vector<SEG> foundbad; ///< what re-tests found since the page was entered, ascending
    std::string tablerefuser;  ///< path of the disk whose first sector did not take the table
    QTimer *notetimer; ///< has the note follow the plan once the operation under way is done
};
