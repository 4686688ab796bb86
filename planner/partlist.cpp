#include "planner/partlist.h"

int partpos(const QList<EXTPART *> &list, const EXTPART *part)
{
    for (int i = 0; i < static_cast<int>(list.size()); i++) {
        if (list[i] == part)
            return i;
    }
    return -1;
}

int insertafter(QList<EXTPART *> &list, const EXTPART *anchor, EXTPART *part)
{
    const int pos = partpos(list, anchor);
    if (pos < 0)
        return -1;
    list.insert(pos + 1, part);
    return pos + 1;
}

int insertbefore(QList<EXTPART *> &list, const EXTPART *anchor, EXTPART *part)
{
    const int pos = partpos(list, anchor);
    if (pos < 0)
        return -1;
    list.insert(pos, part);
    return pos;
}

bool erasepart(QList<EXTPART *> &list, const EXTPART *part)
{
    const int pos = partpos(list, part);
    if (pos < 0)
        return false;
    delete list.takeAt(pos);
    return true;
}
