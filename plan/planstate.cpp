#include "plan/planstate.h"

#include <algorithm>

template <class T>
PlanDelta::Splice<T>::Splice(const std::vector<T> &from, const std::vector<T> &to)
{
    const auto head = std::mismatch(from.begin(), from.end(), to.begin(), to.end());
    const auto tail = std::mismatch(from.rbegin(), std::make_reverse_iterator(head.first),
                                    to.rbegin(), std::make_reverse_iterator(head.second));
    at = head.first - from.begin();
    before.assign(head.first, tail.first.base());
    after.assign(head.second, tail.second.base());
}

template <class T> bool PlanDelta::Splice<T>::fits(const std::vector<T> &list, bool forward) const
{
    const std::vector<T> &present = forward ? before : after;
    return static_cast<std::size_t>(at) + present.size() <= list.size() &&
           std::equal(present.begin(), present.end(), list.begin() + at);
}

template <class T> void PlanDelta::Splice<T>::apply(std::vector<T> &list, bool forward) const
{
    const std::vector<T> &present = forward ? before : after;
    const std::vector<T> &wanted = forward ? after : before;
    const auto first = list.begin() + at;
    list.insert(list.erase(first, first + static_cast<std::ptrdiff_t>(present.size())),
                wanted.begin(), wanted.end());
}

PlanDelta::PlanDelta(const PlanState &before, const PlanState &after)
    : blocks(before.blocks, after.blocks), toprows(before.toprows, after.toprows),
      logicalrows(before.logicalrows, after.logicalrows), extended(before.extended, after.extended)
{
}

bool PlanDelta::isempty() const
{
    return blocks.before == blocks.after && toprows.before == toprows.after &&
           logicalrows.before == logicalrows.after && extended.before == extended.after;
}

bool PlanDelta::apply(PlanState &state, bool forward) const
{
    if (!blocks.fits(state.blocks, forward) || !toprows.fits(state.toprows, forward) ||
        !logicalrows.fits(state.logicalrows, forward) || !extended.fits(state.extended, forward))
        return false;
    blocks.apply(state.blocks, forward);
    toprows.apply(state.toprows, forward);
    logicalrows.apply(state.logicalrows, forward);
    extended.apply(state.extended, forward);
    return true;
}
