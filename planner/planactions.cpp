#include "planner/diskpartition.h"

#include "core/geom.h"
#include "views/inputbox.h"
#include "views/parttreemodel.h"

#include <QAction>
#include <QComboBox>
#include <QTreeView>

namespace
{

EXTPART *recordof(const QModelIndex &index)
{
    return static_cast<PartTreeNode *>(index.internalPointer())->part;
}

// A cylinder of the row's block that an edit of the cell leaves in it; none for the extended row.
std::optional<std::uint64_t> placeof(const QModelIndex &index)
{
    if (!index.isValid() || recordof(index)->kind == 'e')
        return {};
    return index.column() == startcolumn ? recordof(index)->stop : recordof(index)->start;
}

} // namespace

// The operations of menu, list and strategy box: each asks for what it needs, and the plan does it.

void DiskPartition::addpp()
{
    if (EXTPART *part = chosenpart())
        performat(actions[0]->text(), part->start, [&] { return Plan::addpp(part); });
}

void DiskPartition::addld()
{
    if (EXTPART *part = chosenpart())
        performat(actions[1]->text(), part->start, [&] { return Plan::addld(part); });
}

void DiskPartition::delpart()
{
    if (EXTPART *part = chosenpart())
        performat(actions[2]->text(), part->start, [&] { return Plan::delpart(part); });
}

void DiskPartition::splitpart(int n)
{
    if (EXTPART *part = chosenpart())
        performat(QString("split to %1 parts").arg(n), part->start,
                  [&] { return Plan::splitpart(part, n); });
}

void DiskPartition::splitnpart()
{
    const auto n =
        askint(this, {"n", "Please input how many data parts you want to split to:", {}}, 2, 0, 50);
    if (n)
        splitpart(*n);
}

void DiskPartition::splitsysdatapart()
{
    EXTPART *part = chosenpart();
    if (!part)
        return;
    if (const QString refusal = checksysdata(); !refusal.isEmpty()) {
        refuse(refusal);
        return;
    }
    const double partgb = cylinderstogb(part->size, g);
    const auto sysgb =
        askgb(this, {"System Partition Size(GB)", "Please input system partition size(GB):", {}},
              partgb / 6, 0.0, partgb);
    if (!sysgb)
        return;
    if (const QString refusal = checksystemsize(*sysgb); !refusal.isEmpty()) {
        refuse(refusal);
        return;
    }
    const auto datanum = askint(this,
                                {"Data Partition Number",
                                 "Please specify how many data partitions you want to create:",
                                 {}},
                                3, 1, 50);
    if (datanum)
        performat(actions[7]->text(), part->start,
                  [&] { return splitsysdata(part, *sysgb, *datanum); });
}

void DiskPartition::combineparts()
{
    const QList<EXTPART *> parts = selectedparts();
    if (!parts.isEmpty())
        performat(actions[8]->text(), parts.first()->start,
                  [&] { return Plan::combineparts(parts); });
}

void DiskPartition::onstrategychanged(int index)
{
    perform(strategyinfo.at(static_cast<std::size_t>(index)).listtext, {}, [&] {
        restartplan();
        return assign(index);
    });
}

Outcome DiskPartition::assign(int strategy)
{
    switch (strategy) {
    case 1:
        assignall();
        break;
    case 2:
    case 3:
        assignfourlargest(strategy == 2 ? 1 : 0);
        break;
    case 4: {
        const int count = goodcount();
        if (count == 0)
            break;
        const auto n = askint(this,
                              {"Input Parameter N",
                               "Please input the parameter N, N partitions will be created.",
                               {}},
                              count, 1, count);
        if (n)
            assignlargest(*n);
        break;
    }
    case 5: {
        const double diskgb = static_cast<double>(g.totalbytes) / bytespergb;
        const auto cmax = askgb(this,
                                {"Max Partition Capacity(GB)",
                                 "CMax:", "No partition becomes larger than CMax, in GB."},
                                20.0, 0.0, diskgb);
        if (!cmax)
            break;
        const auto cmin = askgb(
            this,
            {"Min Partition Capacity(GB)", "CMin:", "Blocks up to CMin, in GB, stay unassigned."},
            0.0, 0.0, diskgb);
        if (cmin)
            return assignbysize(*cmax, *cmin);
        break;
    }
    default:
        break;
    }
    return {true, {}};
}

bool DiskPartition::setData(const QModelIndex &index, const QVariant &value, int /*role*/)
{
    const QString column =
        treemodel->headerData(index.column(), Qt::Horizontal, Qt::DisplayRole).toString();
    const bool changed = perform(column + " of " + treemodel->rowname(index), placeof(index),
                                 [&] { return treemodel->edit(index, value); });
    // size and the extended row change with the edited cell
    treeview->viewport()->update();
    return changed;
}

void DiskPartition::ondelPartTreeNode()
{
    const QModelIndex index = treeview->currentIndex();
    if (!index.isValid())
        return;
    perform("delete " + treemodel->rowname(index), placeof(index),
            [&] { return delrow(recordof(index)); });
    // the tree's cursor is on another row now, or there is none left
    treeselectionchanged(treeview->selectionModel()->selection(), {});
}

void DiskPartition::moverow(const char *name, bool (PartTreeModel::*move)(const QModelIndex &))
{
    const QModelIndex index = treeview->currentIndex();
    PartTreeModel &model = *treemodel;
    perform(QString("move %1 %2").arg(model.rowname(index), name), placeof(index), [&] {
        return Outcome{(model.*move)(index), {}};
    });
}

void DiskPartition::onupPartTreeNode()
{
    moverow("up", &PartTreeModel::upRow);
}

void DiskPartition::ondownPartTreeNode()
{
    moverow("down", &PartTreeModel::downRow);
}
