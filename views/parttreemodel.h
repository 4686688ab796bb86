#pragma once

#include "plan/plan.h"
#include "views/parttreenode.h"

#include <QAbstractItemModel>

#include <functional>
#include <memory>
#include <vector>

/// The rows of a plan as a tree: primaries and at most one extended entry at the top, logical disks
/// below it. Row order is the order of the tables, not of the disk.
///
/// The nodes mirror the plan's rows: every change goes to the plan, which tells the model of it.
class PartTreeModel : public QAbstractItemModel, public PlanWatcher
{
    Q_OBJECT

public:
    /// `parent` is the plan to show, or an object that is none: then the model has one of its own.
    explicit PartTreeModel(QObject *parent);
    ~PartTreeModel() override;

    [[nodiscard]] QModelIndex index(int row, int column,
                                    const QModelIndex &parent = {}) const override;
    [[nodiscard]] QModelIndex parent(const QModelIndex &index) const override;
    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role) override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation,
                                      int role) const override;
    bool removeRows(int row, int count, const QModelIndex &parent = {}) override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex &index) const override;

    /// See `Plan::addrow` and `Plan::removerow`.
    void addpart(EXTPART *part, int sorted) { page->addrow(part, sorted); }
    bool delPart(EXTPART *part) { return page->removerow(part); }
    /// Move a row by one among its siblings: false at the end.
    bool upRow(const QModelIndex &index);
    bool downRow(const QModelIndex &index);
    /// Index of a record's row in column 0; invalid if it has none.
    [[nodiscard]] QModelIndex findpart(const EXTPART *part) const;
    /// Index of the extended entry's row in column 0; invalid if there is none.
    [[nodiscard]] QModelIndex extendindex() const;
    /// A row's name with its place among its like, as "Logical Disk 2"; empty for an invalid index.
    [[nodiscard]] QString rowname(const QModelIndex &index) const;
    void updateextend() { page->updateextend(); }
    /// See `Plan::getallparts`.
    [[nodiscard]] std::vector<EXTPART> getallparts() const { return page->getallparts(); }
    /// Empties the tree; all its blocks turn unassigned.
    void clearModelData() { removeRows(0, rowCount()); }
    /// Takes over an edited cell: bounds in GB, type and flag as one byte. Tells no view.
    Outcome edit(const QModelIndex &index, const QVariant &value);
    /// Last cylinder of the nearest block before the row's that is not 'u'; 0 if there is none.
    unsigned long long getprevpartstop(const QModelIndex &index, bool &found) const;
    /// First cylinder of the nearest block behind the row's that is not 'u'; 0 if there is none.
    unsigned long long getnextpartstart(const QModelIndex &index, bool &found) const;

    PartTreeNode *rootnode;
    EXTPART *rootpart;
    PartTreeNode *extendnode = nullptr;
    EXTPART *extendpart = nullptr;     ///< the plan's extended row
    unsigned long long extendsize = 0; ///< sum of the logical disks' sizes, in cylinders
    Plan *page;
    /// Carries out an edit of a cell and shows a refusal: true if it changed. By default `edit`
    /// alone.
    std::function<bool(const QModelIndex &index, const QVariant &value, int role)> editor;

private:
    void planclears() override;
    void planfilled() override;
    void rowinserted(Level level, int row, EXTPART *part) override;
    void rowremoved(Level level, int row) override;
    void rowmoved(Level level, int from, int to) override;
    void extendchanged() override;
    void plangone() override;

    [[nodiscard]] PartTreeNode *nodeof(const QModelIndex &index) const;
    [[nodiscard]] QModelIndex indexof(PartTreeNode *node, int column = 0) const;
    [[nodiscard]] PartTreeNode *parentof(Level level) const;
    bool step(const QModelIndex &index, int by);
    void addnode(Level level, int row, EXTPART *part);
    void clearnodes();

    std::unique_ptr<Plan> own; ///< where there is no other
};
