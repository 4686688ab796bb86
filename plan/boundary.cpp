#include "plan/plan.h"

Outcome Plan::setstart(EXTPART *part, std::uint64_t cylinder)
{
    if (cylinder == part->start)
        return {};
    if (cylinder > part->stop)
        return {false, "partition start can not be larger than partition stop"};
    const int pos = partpos(extparts, part);
    if (pos < 0)
        return {false, "can not find the partition"};
    const Change change(*this);

    if (cylinder > part->start) {
        insertnewpart(part, newpart(part->start, cylinder - 1, 'u'), 1);
    } else {
        int lowest = pos;
        while (lowest > 0 && extparts[lowest - 1]->kind == 'u')
            --lowest;
        if (lowest == pos || cylinder < extparts[lowest]->start)
            return {false, "can not find enough space to allocate the partition for the new start"};
        int first = pos - 1;
        while (extparts[first]->start > cylinder)
            --first;
        // the block that holds the new start keeps what lies before it, if anything does
        if (extparts[first]->start < cylinder) {
            extparts[first]->stop = cylinder - 1;
            changebounds(extparts[first]);
            ++first;
        }
        for (int i = first; i < pos; ++i)
            deletepart(extparts[first]);
    }
    part->start = cylinder;
    changebounds(part);
    return {true, {}};
}

Outcome Plan::setstop(EXTPART *part, std::uint64_t cylinder)
{
    if (cylinder == part->stop)
        return {};
    if (cylinder < part->start)
        return {false, "partition stop can not be less than partition start"};
    const int pos = partpos(extparts, part);
    if (pos < 0)
        return {false, "can not find the partition"};
    const Change change(*this);

    if (cylinder < part->stop) {
        insertnewpart(part, newpart(cylinder + 1, part->stop, 'u'), 0);
    } else {
        const int end = static_cast<int>(extparts.size()) - 1;
        int highest = pos;
        while (highest < end && extparts[highest + 1]->kind == 'u')
            ++highest;
        if (highest == pos || cylinder > extparts[highest]->stop)
            return {false, "can not find enough space to allocate the partition for the new stop"};
        int last = pos + 1;
        while (extparts[last]->stop < cylinder)
            ++last;
        // the block that holds the new stop keeps what lies behind it, if anything does
        if (extparts[last]->stop > cylinder) {
            extparts[last]->start = cylinder + 1;
            changebounds(extparts[last]);
            --last;
        }
        for (int i = last; i > pos; --i)
            deletepart(extparts[i]);
    }
    part->stop = cylinder;
    changebounds(part);
    return {true, {}};
}

Outcome Plan::setsystype(EXTPART *part, std::uint8_t type)
{
    const Change change(*this);
    part->systype = type;
    return {true, {}};
}

Outcome Plan::setbootflag(EXTPART *part, std::uint8_t flag)
{
    const Change change(*this);
    part->bootflag = flag;
    return {true, {}};
}
