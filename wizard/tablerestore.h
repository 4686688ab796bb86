#pragma once

#include "core/tlcore.h"

class QWidget;

/// Gives a disk's row a context menu with the tables that were kept from this disk, newest first,
/// each to be restored after a question.
void addrestoremenu(QWidget *row, const DISKINFO &disk);
