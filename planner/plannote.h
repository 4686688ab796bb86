#pragma once

#include "core/seg.h"
#include "planner/extpart.h"

#include <QString>

#include <vector>

/// What is worth knowing of a plan before it is written, in one line; empty if there is nothing.
/// `entries` are the plan's rows as the commit takes them, `segs` the stretches that it was made
/// on.
QString plannote(const std::vector<EXTPART> &entries, const std::vector<SEG> &segs);
