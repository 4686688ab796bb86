#pragma once

#include "core/geom.h"
#include "plan/extpart.h"

#include <QString>

#include <optional>

/// `cylinders` of the current geometry in GB, one decimal.
QString gbtext(std::uint64_t cylinders);

/// A number of bytes in GB, in TB from 1000 GB on: "45.0 GB", "2.7 TB".
QString sizetext(double bytes);

/// A number of GB as a user types it, with a point or a comma; nothing for what is no number.
std::optional<double> readgb(const QString &text);

/// Cylinders of `geometry`, inclusive, as "12.3 GB to 14.0 GB": where they begin and where the last
/// one ends; below 0.05 GB with four decimals.
QString gbrange(std::uint64_t start, std::uint64_t stop, const geom &geometry);

/// The words a screen reader says for a block, as "Bad block, 12.3 GB to 14.0 GB".
QString partname(const EXTPART &part);
