#include "planner/diskpartition.h"

#include "planner/planwords.h"
#include "views/partitem.h"

#include <QInputDialog>

#include <algorithm>

static QList<EXTPART *> goodparts(const QList<EXTPART *> &list)
{
    QList<EXTPART *> good;
    for (EXTPART *part : list) {
        if (part->kind != 'b')
            good.append(part);
    }
    return good;
}

// Largest first; equal sizes stay in disk order, so that a list always gives the same plan.
static void sortbysize(QList<EXTPART *> &list)
{
    std::stable_sort(list.begin(), list.end(), compareEXTPARTsize);
}

void DiskPartition::restartplan()
{
    clearmodelview();
    constructextparts();
    initpartdiagram();
}

void DiskPartition::assignpart(EXTPART *part, int limit, int sorted)
{
    giverow(part, primarynum < limit ? 'p' : 'l', sorted);
}

void DiskPartition::cutpass(unsigned long long cmincyl, unsigned long long cmaxcyl,
                            const std::function<void(EXTPART *)> &take)
{
    // the list grows by the rests, which are visited in their turn
    for (qsizetype i = 0; i < extparts.size(); i++) {
        EXTPART *part = extparts[i];
        if (part->kind == 'b') {
            part->item->updategeom(widthpersize, itemheight);
            continue;
        }
        if (part->size <= cmincyl)
            continue;
        if (part->size <= cmaxcyl) {
            take(part);
            continue;
        }
        const std::uint64_t stop = part->stop;
        part->stop = part->start + cmaxcyl - 1;
        part->size = cmaxcyl;
        part->item->updategeom(widthpersize, itemheight);
        take(part);
        insertnewpart(newpart(part->stop + 1, stop, 'u'));
    }
}

void DiskPartition::onstrategychanged(int index)
{
    restartplan();
    QList<EXTPART *> good = goodparts(extparts);
    const int count = static_cast<int>(good.size());
    int limit = 4;
    int sorted = 1;
    bool ok = false;
    switch (index) {
    case 1:
        limit = count < 5 ? 4 : 3;
        break;
    case 2:
    case 3:
        sortbysize(good);
        good.resize(std::min(count, 4));
        sorted = index == 2 ? 1 : 0;
        break;
    case 4: {
        if (count == 0)
            return;
        const int n = QInputDialog::getInt(
            this, "Input Parameter N",
            "Please input the parameter N, N partitions will be created.", count, 1, count, 1, &ok);
        if (!ok)
            return;
        sortbysize(good);
        good.resize(n);
        std::sort(good.begin(), good.end(), compareEXTPARTstart);
        limit = n < 5 ? 4 : 3;
        break;
    }
    case 5: {
        const double diskgb = static_cast<double>(g.totalbytes) / bytespergb;
        const double cmax = QInputDialog::getDouble(this, "Max Partition Capacity(GB)",
                                                    "CMax:", 20.0, 0.0, diskgb, 1, &ok);
        if (!ok)
            return;
        const double cmin = QInputDialog::getDouble(this, "Min Partition Capacity(GB)",
                                                    "CMin:", 0.0, 0.0, diskgb, 1, &ok);
        if (!ok)
            return;
        const std::uint64_t cmaxcyl = gbtocylinders(cmax, g);
        if (cmaxcyl == 0) {
            refuse(toosmalltext);
            return;
        }
        cutpass(gbtocylinders(cmin, g), cmaxcyl, [this](EXTPART *part) { assignpart(part, 3, 1); });
        return;
    }
    default:
        return;
    }
    for (EXTPART *part : good)
        assignpart(part, limit, sorted);
}

void DiskPartition::defaultpartition()
{
    restartplan();
    const int target = g.totalbytes >= 100'000'000'000 ? 8 : 4;
    const double diskgb = static_cast<double>(g.totalbytes) / bytespergb;
    const std::uint64_t cmaxcyl = std::max<std::uint64_t>(gbtocylinders(diskgb / target, g), 1);
    // one cylinder; the way through GB may round it away
    const std::uint64_t cmincyl = std::max<std::uint64_t>(gbtocylinders(cylinderstogb(1, g), g), 1);
    QList<EXTPART *> candidates;
    cutpass(cmincyl, cmaxcyl, [&candidates](EXTPART *part) { candidates.append(part); });
    sortbysize(candidates);
    const int limit = target > 4 && candidates.size() > 4 ? 3 : 4;
    candidates.resize(std::min<qsizetype>(candidates.size(), target));
    for (EXTPART *part : candidates)
        assignpart(part, limit, 1);
}
