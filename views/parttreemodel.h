#pragma once

#include "planner/extpart.h"
#include "views/parttreenode.h"

#include <QAbstractItemModel>

#include <vector>

class DiskPartition;

/// The planned partitions as they will be written: primaries and at most one extended entry at the
/// top, logical disks below it. Row order is the order of the tables, not of the disk.
///
/// The model owns its nodes, the root's record and the extended entry's record; blocks belong to
/// the page, and outlive the model's nodes. The extended entry exists exactly while it has a child,
/// and follows its children through every change here; after a change of a block's bounds the page
/// calls `updateextend`.
class PartTreeModel : public QAbstractItemModel
{
    Q_OBJECT

public:
    /// `parent` is the planner page, or an object without blocks.
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

    /// Adds a row for a block of kind 'p' or 'l', whose type becomes 7; other kinds do nothing.
    /// `sorted` 1: at its place by `start`; 0: behind the last row.
    void addpart(EXTPART *part, int sorted);
    /// Removes a record's row: false if it has none. The extended entry's record goes with its row.
    bool delPart(EXTPART *part);
    /// Move a row by one among its siblings: false at the end.
    bool upRow(const QModelIndex &index);
    bool downRow(const QModelIndex &index);
    /// Index of a record's row in column 0; invalid if it has none.
    [[nodiscard]] QModelIndex findpart(const EXTPART *part) const;
    /// Index of the extended entry's row in column 0; invalid if there is none.
    [[nodiscard]] QModelIndex extendindex() const;
    /// Brings the extended entry and `extendsize` in step with the logical disks.
    void updateextend();
    /// Copies of all records: the top-level rows, then the logical disks.
    [[nodiscard]] std::vector<EXTPART> getallparts() const;
    /// Empties the tree; all its blocks turn unassigned.
    void clearModelData();
    /// Last cylinder of the nearest block before the row's that is not 'u'; 0 if there is none.
    unsigned long long getprevpartstop(const QModelIndex &index, bool &found) const;
    /// First cylinder of the nearest block behind the row's that is not 'u'; 0 if there is none.
    unsigned long long getnextpartstart(const QModelIndex &index, bool &found) const;

    PartTreeNode *rootnode;
    EXTPART *rootpart;
    PartTreeNode *extendnode = nullptr;
    EXTPART *extendpart = nullptr;
    unsigned long long extendsize = 0; ///< sum of the logical disks' sizes, in cylinders
    DiskPartition *page;

private:
    [[nodiscard]] PartTreeNode *nodeof(const QModelIndex &index) const;
    [[nodiscard]] QModelIndex indexof(PartTreeNode *node, int column = 0) const;
    /// Puts a new node below `parent`: at its place by `start` if `sorted`, else last.
    void insertnode(PartTreeNode *parent, PartTreeNode *node, int sorted);
    /// The work of `upRow` and `downRow`; `to` is the row's new place.
    bool moverow(const QModelIndex &index, int to);
    /// Takes the children's bounds over into the extended entry, without telling the views: true
    /// if its values changed.
    bool followchildren();
    /// The same where `extendsize` is in step already.
    bool followends();
    void tellextendchanged();
    /// Forgets the extended entry, whose node is gone.
    void dropextend();

    std::uint64_t laststart = 0; ///< the highest `start` among the logical disks
};
