#include "plan/plan.h"

#include "core/geom.h"

#include <algorithm>

namespace
{

// A block made after `old`, inactive and without an item.
EXTPART *partafter(const EXTPART &old, std::uint64_t start, std::uint64_t stop)
{
    auto *part = new EXTPART(old);
    part->start = start;
    part->stop = stop;
    part->size = stop - start + 1;
    part->bootflag = 0;
    part->item = nullptr;
    return part;
}

} // namespace

Outcome Plan::splitpart(EXTPART *part, int n)
{
    if (n < 1)
        return {};
    const EXTPART old = *part;
    const std::uint64_t each = old.size / static_cast<std::uint64_t>(n);
    if (each == 0)
        return {false, toosmalltext};
    const Change change(*this);
    deletepart(part);
    for (int i = 0; i < n; ++i) {
        const std::uint64_t start = old.start + static_cast<std::uint64_t>(i) * each;
        insertnewpart(partafter(old, start, start + each - 1));
    }
    return {true, {}};
}

QString Plan::checksysdata() const
{
    if (primarynum == 0 && logicalnum == 0)
        return {};
    return "This command can only be used when there is no existing partition. Please delete any "
           "existing primary partition and logical disk to do this.";
}

QString Plan::checksystemsize(double sysgb)
{
    return gbtocylinders(sysgb, g) == 0 ? toosmalltext : QString();
}

Outcome Plan::splitsysdata(EXTPART *part, double sysgb, int datanum)
{
    for (const QString &refusal : {checksysdata(), checksystemsize(sysgb)}) {
        if (!refusal.isEmpty())
            return {false, refusal};
    }
    const EXTPART old = *part;
    const std::uint64_t syscyl = gbtocylinders(sysgb, g);
    const double bytes = static_cast<double>(old.size * g.bytespercyl);
    const std::uint64_t datacyl =
        gbtocylinders((bytes - bytespergb * sysgb) / datanum / bytespergb, g);
    // all but the last data partition; the last one takes the rest, which must be something
    const std::uint64_t used = syscyl + static_cast<std::uint64_t>(datanum - 1) * datacyl;
    if (datacyl == 0 || used >= old.size)
        return {false, toosmalltext};
    const Change change(*this);
    deletepart(part);
    const int partnum = datanum + 1;
    EXTPART *system = partafter(old, old.start, old.start + syscyl - 1);
    system->bootflag = 0x80;
    setkind(*system, 'p');
    insertnewpart(system);
    for (int i = 0; i < datanum; ++i) {
        const bool last = i == datanum - 1;
        const std::uint64_t start = old.start + syscyl + static_cast<std::uint64_t>(i) * datacyl;
        EXTPART *one = partafter(old, start, last ? old.stop : start + datacyl - 1);
        setkind(*one, partnum < 5 || (!last && i < 2) ? 'p' : 'l');
        insertnewpart(one);
    }
    return {true, {}};
}

Outcome Plan::combineparts(const QList<EXTPART *> &parts)
{
    if (parts.size() < 2)
        return {};
    for (qsizetype i = 1; i < parts.size(); ++i) {
        if (parts[i]->start != parts[i - 1]->stop + 1)
            return {false, "not continous parts"};
    }
    const WholeChange change(*this);
    // the largest, the first on the disk among equals
    const EXTPART *largest = *std::min_element(parts.cbegin(), parts.cend(), compareEXTPARTsize);
    EXTPART *joined = partafter(*parts.first(), parts.first()->start, parts.last()->stop);
    std::copy(std::begin(largest->name), std::end(largest->name), std::begin(joined->name));
    joined->kind = largest->kind;
    joined->fillcolor = largest->fillcolor;
    // A result 'p' or 'l' always finds its slot: one of the same kind has just given its row back.
    deletestretch(*parts.first(), *parts.last());
    insertnewpart(joined);
    return {true, {}};
}
