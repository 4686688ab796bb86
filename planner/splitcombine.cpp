#include "planner/diskpartition.h"

#include "planner/planwords.h"

#include <QInputDialog>

#include <algorithm>

// A block made after `old`, inactive and without an item.
static EXTPART *partafter(const EXTPART &old, std::uint64_t start, std::uint64_t stop)
{
    auto *part = new EXTPART(old);
    part->start = start;
    part->stop = stop;
    part->size = stop - start + 1;
    part->bootflag = 0;
    part->item = nullptr;
    return part;
}

void DiskPartition::splitpart(int n)
{
    EXTPART *part = chosenpart();
    if (!part || n < 1)
        return;
    const EXTPART old = *part;
    const std::uint64_t each = old.size / static_cast<std::uint64_t>(n);
    if (each == 0) {
        refuse(toosmalltext);
        return;
    }
    deletepart(part);
    for (int i = 0; i < n; i++) {
        const std::uint64_t start = old.start + static_cast<std::uint64_t>(i) * each;
        insertnewpart(partafter(old, start, start + each - 1));
    }
}

void DiskPartition::splitpart()
{
    splitpart(2);
}

void DiskPartition::split3part()
{
    splitpart(3);
}

void DiskPartition::split4part()
{
    splitpart(4);
}

void DiskPartition::splitnpart()
{
    bool ok = false;
    const int n = QInputDialog::getInt(
        this, "n", "Please input how many data parts you want to split to:", 2, 0, 50, 1, &ok);
    if (ok)
        splitpart(n);
}

void DiskPartition::splitsysdatapart()
{
    EXTPART *part = chosenpart();
    if (!part)
        return;
    if (std::any_of(extparts.cbegin(), extparts.cend(),
                    [](const EXTPART *one) { return one->kind == 'p' || one->kind == 'l'; })) {
        refuse("This command can only be used when there is no existing partition. Please delete "
               "any existing primary partition and logical disk to do this.");
        return;
    }
    const EXTPART old = *part;
    const double bytes = static_cast<double>(old.size * g.bytespercyl);
    bool ok = false;
    const double sysgb =
        QInputDialog::getDouble(this, "System Partition Size(GB)",
                                "Please input system partition size(GB):", bytes / bytespergb / 6,
                                0.0, bytes / bytespergb, 1, &ok);
    if (!ok)
        return;
    const std::uint64_t syscyl = gbtocylinders(sysgb, g);
    if (syscyl == 0) {
        refuse(toosmalltext);
        return;
    }
    const int datanum = QInputDialog::getInt(
        this, "Data Partition Number",
        "Please specify how many data partitions you want to create:", 3, 1, 50, 1, &ok);
    if (!ok)
        return;
    const std::uint64_t datacyl =
        gbtocylinders((bytes - bytespergb * sysgb) / datanum / bytespergb, g);
    // all but the last data partition; the last one takes the rest, which must be something
    const std::uint64_t used = syscyl + static_cast<std::uint64_t>(datanum - 1) * datacyl;
    if (datacyl == 0 || used >= old.size) {
        refuse(toosmalltext);
        return;
    }
    deletepart(part);
    const int partnum = datanum + 1;
    EXTPART *system = partafter(old, old.start, old.start + syscyl - 1);
    system->bootflag = 0x80;
    setkind(*system, 'p');
    insertnewpart(system);
    for (int i = 0; i < datanum; i++) {
        const bool last = i == datanum - 1;
        const std::uint64_t start = old.start + syscyl + static_cast<std::uint64_t>(i) * datacyl;
        EXTPART *one = partafter(old, start, last ? old.stop : start + datacyl - 1);
        setkind(*one, partnum < 5 || (!last && i < 2) ? 'p' : 'l');
        insertnewpart(one);
    }
}

void DiskPartition::combineparts()
{
    const QList<EXTPART *> selected = selectedparts();
    if (selected.size() < 2)
        return;
    for (qsizetype i = 1; i < selected.size(); i++) {
        if (selected[i]->start != selected[i - 1]->stop + 1) {
            refuse("not continous parts");
            return;
        }
    }
    // the largest, the first on the disk among equals
    const EXTPART *largest =
        *std::min_element(selected.cbegin(), selected.cend(), compareEXTPARTsize);
    EXTPART *joined = partafter(*selected.first(), selected.first()->start, selected.last()->stop);
    std::copy(std::begin(largest->name), std::end(largest->name), std::begin(joined->name));
    joined->kind = largest->kind;
    joined->fillcolor = largest->fillcolor;
    // A result 'p' or 'l' always finds its slot: one of the same kind has just given its row back.
    for (EXTPART *part : selected)
        deletepart(part);
    insertnewpart(joined);
}
