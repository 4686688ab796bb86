#pragma once

#include "plan/extpart.h"

#include <QString>

/// `cylinders` of the current geometry in GB, one decimal.
QString gbtext(std::uint64_t cylinders);

/// The words a screen reader says for a block, as "Bad block, 12.3 GB to 14.0 GB": what it is,
/// where it begins and where its last cylinder ends.
QString partname(const EXTPART &part);
