#include "planner/diskpartition.h"

#include "views/graphicsscene.h"
#include "views/graphicsview.h"
#include "views/partitem.h"
#include "views/parttreemodel.h"

#include <QAccessible>
#include <QAction>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QScopedValueRollback>
#include <QSignalBlocker>
#include <QTimer>
#include <QToolButton>
#include <QTreeView>
#include <QUndoStack>

#include <algorithm>
#include <utility>

// Every operation on the plan is a step that can be undone, whatever part of the page begins it.

/// An operation that has been carried out. What a re-test found stays known when it is undone.
class PlanStep : public QUndoCommand
{
public:
    PlanStep(DiskPartition &owner, PlanDelta newdelta) : page(owner), delta(std::move(newdelta))
    {
        setText(page.stepname.isEmpty() ? QString("change of the plan") : page.stepname);
        strategies[0] = page.laststrategy;
        strategies[1] = page.strategybox->currentIndex();
        place = page.stepplace;
    }

    void undo() override { walk(false); }
    void redo() override
    {
        // the first time is that of its making
        if (!std::exchange(isnew, false))
            walk(true);
    }

private:
    void walk(bool forward)
    {
        PlanState state = page.save();
        if (delta.apply(state, forward))
            page.showstate(state, strategies[forward ? 1 : 0], place);
        else
            setObsolete(true);
    }

    DiskPartition &page;
    PlanDelta delta;
    int strategies[2] = {}; ///< what the box shows before and after
    std::optional<std::uint64_t> place;
    bool isnew = true;
};

QHBoxLayout *DiskPartition::makehistory()
{
    undostack = new QUndoStack(this);
    undoaction = undostack->createUndoAction(this);
    redoaction = undostack->createRedoAction(this);
    // the stack's own calls would say nothing
    undoaction->disconnect(undostack);
    redoaction->disconnect(undostack);
    connect(undoaction, &QAction::triggered, this, &DiskPartition::undo);
    connect(redoaction, &QAction::triggered, this, &DiskPartition::redo);
    undoaction->setShortcut(QKeySequence("Ctrl+Z"));
    redoaction->setShortcuts({QKeySequence("Ctrl+Shift+Z"), QKeySequence("Ctrl+Y")});

    historyline = new QLabel;
    historyline->setTextFormat(Qt::PlainText);
    historyline->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    auto *row = new QHBoxLayout;
    row->addWidget(listlabel);
    row->addWidget(historyline, 1);
    for (QAction *action : {undoaction, redoaction}) {
        action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        addAction(action);
        auto *button = new QToolButton;
        button->setDefaultAction(action);
        // the step's own name is in the tool tip; the button keeps its width
        const QString name = action == undoaction ? "Undo" : "Redo";
        button->setText(name);
        button->setAccessibleName(name);
        button->setFocusPolicy(Qt::StrongFocus);
        connect(action, &QAction::changed, button, [button, name] { button->setText(name); });
        row->addWidget(button);
    }
    return row;
}

void DiskPartition::changebegins()
{
    followselection = false;
    if (!inhistory)
        before = save();
}

void DiskPartition::changeends()
{
    followselection = true;
    notetimer->start(0);
    if (const std::optional<PlanState> from = std::exchange(before, {})) {
        PlanDelta delta(*from, save());
        if (!delta.isempty()) {
            historyline->clear();
            undostack->push(new PlanStep(*this, std::move(delta)));
        }
    }
    stepname.clear();
    stepplace.reset();
    laststrategy = strategybox->currentIndex();
}

bool DiskPartition::perform(const QString &name, const std::optional<std::uint64_t> &place,
                            const std::function<Outcome()> &operation)
{
    Outcome outcome;
    {
        const Change change(*this);
        stepname = name;
        stepplace = place;
        outcome = operation();
    }
    if (!outcome.refusal.isEmpty())
        refuse(outcome.refusal);
    return outcome.changed;
}

void DiskPartition::performat(const QString &name, std::uint64_t place,
                              const std::function<Outcome()> &operation)
{
    if (perform(name, place, operation))
        showblock(place);
}

void DiskPartition::showblock(std::uint64_t cylinder)
{
    const auto found = std::lower_bound(
        extparts.cbegin(), extparts.cend(), cylinder,
        [](const EXTPART *part, std::uint64_t wanted) { return part->stop < wanted; });
    if (found == extparts.cend())
        return;
    const QScopedValueRollback<bool> hold(followselection, false);
    if (!selectedparts().contains(*found))
        diagramview->selectblock(static_cast<int>(found - extparts.cbegin()));
    const QModelIndex row = treemodel->findpart(*found);
    const QModelIndex current = treeview->currentIndex();
    // no other row may take what Delete, Up and Down do
    if (!row.isValid())
        treeview->selectionModel()->clear();
    else if (row != current.siblingAtColumn(0))
        treeview->setCurrentIndex(row.siblingAtColumn(std::max(current.column(), 0)));
}

void DiskPartition::showstate(const PlanState &state, int strategy,
                              const std::optional<std::uint64_t> &place)
{
    const QScopedValueRollback<bool> hold(inhistory, true);
    {
        const QSignalBlocker blocker(strategybox);
        strategybox->setCurrentIndex(strategy);
    }
    restore(state);
    if (place)
        showblock(*place);
}

void DiskPartition::walkhistory(void (QUndoStack::*walk)(), const QString &said)
{
    (undostack->*walk)();
    historyline->setText(said);
    historyline->setToolTip(said);
    QAccessibleEvent event(historyline, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

void DiskPartition::undo()
{
    if (undostack->canUndo())
        walkhistory(&QUndoStack::undo, "Undone: " + undostack->undoText());
}

void DiskPartition::redo()
{
    if (undostack->canRedo())
        walkhistory(&QUndoStack::redo, "Done again: " + undostack->redoText());
}
