#pragma once

#include "plan/extpart.h"

#include <QString>

#include <optional>

/// `cylinders` of the current geometry in GB, one decimal.
QString gbtext(std::uint64_t cylinders);

/// A number of GB as a user types it, with a point or a comma; nothing for what is no number.
std::optional<double> readgb(const QString &text);

/// The words a screen reader says for a block, as "Bad block, 12.3 GB to 14.0 GB": what it is,
/// where it begins and where its last cylinder ends; below 0.05 GB with four decimals.
QString partname(const EXTPART &part);
