#include "plan/extpart.h"

#include <QtGlobal>

#include <algorithm>

const std::array<PARTKIND, 4> partkinds = {{
    {'p', "Primary Partition", "Primary Partition", "Primary Partition:", Qt::darkGreen},
    {'l', "Logical Disk", "Logical Disk", "Logical Disk:", Qt::blue},
    {'u', "", "Good block", "Unassigned Good Block:", Qt::green},
    {'b', "", "Bad block", "Bad Block:", Qt::black},
}};

const PARTKIND &partkind(char kind)
{
    const auto *const found =
        std::find_if(partkinds.begin(), partkinds.end(),
                     [kind](const PARTKIND &one) { return one.kind == kind; });
    return found == partkinds.end() ? partkinds[2] : *found;
}

void setkind(EXTPART &part, char kind)
{
    const PARTKIND &row = partkind(kind);
    part.kind = kind;
    part.fillcolor = row.fill;
    if (row.name[0] != '\0')
        qstrncpy(part.name, row.name, sizeof part.name);
}

EXTPART *newpart(std::uint64_t start, std::uint64_t stop, char kind)
{
    auto *part = new EXTPART;
    part->start = start;
    part->stop = stop;
    part->size = stop - start + 1;
    setkind(*part, kind);
    return part;
}

bool compareEXTPARTsize(const EXTPART *a, const EXTPART *b)
{
    return a->size > b->size;
}

bool compareEXTPARTstart(const EXTPART *a, const EXTPART *b)
{
    return a->start < b->start;
}

int insertafter(QList<EXTPART *> &list, const EXTPART *anchor, EXTPART *part)
{
    const auto pos = list.indexOf(anchor);
    if (pos < 0)
        return -1;
    list.insert(pos + 1, part);
    return static_cast<int>(pos) + 1;
}

int insertbefore(QList<EXTPART *> &list, const EXTPART *anchor, EXTPART *part)
{
    const auto pos = list.indexOf(anchor);
    if (pos < 0)
        return -1;
    list.insert(pos, part);
    return static_cast<int>(pos);
}

bool erasepart(QList<EXTPART *> &list, const EXTPART *part)
{
    const auto pos = list.indexOf(part);
    if (pos < 0)
        return false;
    delete list.takeAt(pos);
    return true;
}
