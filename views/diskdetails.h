#pragma once

#include "core/tlcore.h"
#include "platform/description.h"
#include "platform/status.h"

#include <QString>

/// A name that others chose, in one line: without characters that would break it or turn its order
/// round.
QString onerow(const QString &text);

/// Which disk this is, a line each: node, bus, vendor and model; serial number; exact length and
/// sector length; the kind of table that it gets; why it is refused, if it is.
QString disktext(const DISKINFO &disk);
/// What a disk holds, or why that is not known, as `Backend::contents` has answered.
QString contentstext(const platform::Status &status, const platform::DiskContents &contents);

/// A text of several lines as a tool tip, never taken for markup.
QString tooltipof(const QString &text);
