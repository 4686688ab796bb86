#pragma once

#include "planner/diskpartition.h"
#include "views/graphicsscene.h"
#include "views/graphicsview.h"
#include "views/partitem.h"
#include "views/parttreemodel.h"

#include <QTest>
#include <QtWidgets>

#include <gtest/gtest.h>

/// Plans as short texts, and the one checker of their invariants.
///
/// A plan's text lists its blocks in disk order by kind and cylinders: "u0-9 p10-19 b20-21 l22-39".
/// An active one ends with a star.

/// Gives the page a new plan of that text, partitions assigned by its menu in disk order. Sets `g`
/// to a disk that ends with the last block, by default at 0.1 GB a cylinder.
void makeplan(DiskPartition &page, const QString &text, std::uint32_t bytespersector = 500,
              std::uint32_t sectorspertrack = 1000, std::uint32_t heads = 200);
/// Makes the blocks that start at these cylinders the diagram's selection.
void selectblocks(DiskPartition &page, const QList<std::uint64_t> &starts);

/// The text of a plan or of some of its blocks.
std::string blocktext(const QList<EXTPART *> &blocks);
/// The tree in row order: "p10-19 e22-39[l22-29 l30-39]".
std::string rowtext(const PartTreeModel &model, const QModelIndex &parent = {});
/// The record behind a row.
const EXTPART &partof(const QModelIndex &index);

/// Every invariant that the plan breaks, a line each; empty if it is sound.
std::string planfaults(const DiskPartition &page);
/// All that an operation could change, field by field, a line for each block and row: equal texts
/// are equal states.
std::string planstate(const DiskPartition &page);
