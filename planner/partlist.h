#pragma once

#include "planner/extpart.h"

#include <QList>

/// Helpers on a list of blocks. Anchors and blocks are matched by pointer, from the front.

/// Index of `part` in the list, or -1.
int partpos(const QList<EXTPART *> &list, const EXTPART *part);
/// Puts `part` behind `anchor`: its index, or -1 with nothing done if the anchor is not there.
int insertafter(QList<EXTPART *> &list, const EXTPART *anchor, EXTPART *part);
/// Puts `part` in front of `anchor`: its index, or -1 with nothing done if the anchor is not there.
int insertbefore(QList<EXTPART *> &list, const EXTPART *anchor, EXTPART *part);
/// Removes and deletes `part`: true if it was there.
bool erasepart(QList<EXTPART *> &list, const EXTPART *part);
