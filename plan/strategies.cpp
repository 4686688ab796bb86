#include "plan/plan.h"

#include "core/geom.h"

#include <algorithm>

const std::array<STRTGYINFO, 6> strategyinfo = {{
    {"no strategy"},
    {"assign all good blocks to partitions"},
    {"assign the four largest good blocks to primary partitions(in disk order)"},
    {"assign the four largest good blocks to primary partitions(in size order)"},
    {"assign the n largest good blocks to partitions(in disk order)"},
    {"create partitions of size less than CMax(GB) and greater than CMin(GB)."},
}};

namespace
{

// Largest first; equal sizes stay in disk order, so that a list always gives the same plan.
void sortbysize(QList<EXTPART *> &list)
{
    std::stable_sort(list.begin(), list.end(), compareEXTPARTsize);
}

} // namespace

QList<EXTPART *> Plan::goodparts() const
{
    QList<EXTPART *> good;
    for (EXTPART *part : extparts) {
        if (part->kind != 'b')
            good.append(part);
    }
    return good;
}

int Plan::goodcount() const
{
    return static_cast<int>(goodparts().size());
}

void Plan::assignall()
{
    const WholeChange change(*this);
    const QList<EXTPART *> good = goodparts();
    const int limit = good.size() < 5 ? 4 : 3;
    for (EXTPART *part : good)
        assignpart(part, limit, 1);
}

void Plan::assignfourlargest(int sorted)
{
    const WholeChange change(*this);
    QList<EXTPART *> good = goodparts();
    sortbysize(good);
    good.resize(std::min<qsizetype>(good.size(), 4));
    for (EXTPART *part : good)
        assignpart(part, 4, sorted);
}

void Plan::assignlargest(int n)
{
    const WholeChange change(*this);
    QList<EXTPART *> good = goodparts();
    sortbysize(good);
    good.resize(std::min<qsizetype>(good.size(), n));
    std::sort(good.begin(), good.end(), compareEXTPARTstart);
    const int limit = good.size() < 5 ? 4 : 3;
    for (EXTPART *part : good)
        assignpart(part, limit, 1);
}

void Plan::cutpass(std::uint64_t cmincyl, std::uint64_t cmaxcyl,
                   const std::function<void(EXTPART *)> &take)
{
    // the list grows by the rests, which are visited in their turn
    for (qsizetype i = 0; i < extparts.size(); ++i) {
        EXTPART *part = extparts[i];
        if (part->kind == 'b' || part->size <= cmincyl)
            continue;
        if (part->size <= cmaxcyl) {
            take(part);
            continue;
        }
        EXTPART *rest = newpart(part->start + cmaxcyl, part->stop, 'u');
        part->stop = part->start + cmaxcyl - 1;
        changebounds(part);
        take(part);
        insertnewpart(rest);
    }
}

Outcome Plan::assignbysize(double cmaxgb, double cmingb)
{
    const std::uint64_t cmaxcyl = gbtocylinders(cmaxgb, g);
    if (cmaxcyl == 0)
        return {false, toosmalltext};
    const WholeChange change(*this);
    cutpass(gbtocylinders(cmingb, g), cmaxcyl, [this](EXTPART *part) { assignpart(part, 3, 1); });
    return {true, {}};
}

void Plan::defaultpartition()
{
    const WholeChange change(*this);
    restartplan();
    const int target = g.totalbytes >= 100'000'000'000 ? 8 : 4;
    const double diskgb = static_cast<double>(g.totalbytes) / bytespergb;
    const std::uint64_t cmaxcyl = std::max<std::uint64_t>(gbtocylinders(diskgb / target, g), 1);
    // one cylinder; the conversion to GB and back may round it to 0
    const std::uint64_t cmincyl = std::max<std::uint64_t>(gbtocylinders(cylinderstogb(1, g), g), 1);
    QList<EXTPART *> candidates;
    cutpass(cmincyl, cmaxcyl, [&candidates](EXTPART *part) { candidates.append(part); });
    sortbysize(candidates);
    const int limit = target > 4 && candidates.size() > 4 ? 3 : 4;
    candidates.resize(std::min<qsizetype>(candidates.size(), target));
    for (EXTPART *part : candidates)
        assignpart(part, limit, 1);
}
