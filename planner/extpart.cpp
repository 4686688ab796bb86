#include "planner/extpart.h"

#include <QtGlobal>

void setkind(EXTPART &part, char kind)
{
    part.kind = kind;
    switch (kind) {
    case 'b':
        part.fillcolor = Qt::black;
        break;
    case 'p':
        part.fillcolor = Qt::darkGreen;
        qstrncpy(part.name, "Primary Partition", sizeof part.name);
        break;
    case 'l':
        part.fillcolor = Qt::blue;
        qstrncpy(part.name, "Logical Disk", sizeof part.name);
        break;
    default:
        part.fillcolor = Qt::green;
        break;
    }
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
