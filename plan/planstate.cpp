#include "plan/planstate.h"

#include <QDataStream>
#include <QIODevice>

#include <algorithm>
#include <span>

namespace
{

// Each number is stored as its distance from `mark`, which follows: equal blocks in a row are then
// equal bytes.

void put(QDataStream &out, std::uint64_t row, std::uint64_t &mark)
{
    out << quint64{row - mark};
    mark = row;
}

void take(QDataStream &in, std::uint64_t &row, std::uint64_t &mark)
{
    quint64 distance = 0;
    in >> distance;
    row = mark += distance;
}

void put(QDataStream &out, const PLANBLOCK &block, std::uint64_t &mark)
{
    put(out, block.start, mark);
    put(out, block.stop, mark);
    out << quint8(block.kind) << quint8(block.namedas) << block.bootflag << block.systype;
}

void take(QDataStream &in, PLANBLOCK &block, std::uint64_t &mark)
{
    quint8 kind = 0;
    quint8 namedas = 0;
    take(in, block.start, mark);
    take(in, block.stop, mark);
    in >> kind >> namedas >> block.bootflag >> block.systype;
    block.kind = static_cast<char>(kind);
    block.namedas = static_cast<char>(namedas);
}

template <class T> QByteArray packed(std::span<const T> stretch)
{
    constexpr int fastest = 1;
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out << quint64{stretch.size()};
    std::uint64_t mark = 0;
    for (const T &one : stretch)
        put(out, one, mark);
    return qCompress(bytes, fastest);
}

template <class T> std::vector<T> unpacked(const QByteArray &bytes)
{
    QDataStream in(qUncompress(bytes));
    quint64 count = 0;
    in >> count;
    std::vector<T> stretch(count);
    std::uint64_t mark = 0;
    for (T &one : stretch)
        take(in, one, mark);
    return stretch;
}

} // namespace

template <class T>
PlanDelta::Splice<T>::Splice(const std::vector<T> &from, const std::vector<T> &to)
{
    const auto head = std::mismatch(from.begin(), from.end(), to.begin(), to.end());
    const auto tail = std::mismatch(from.rbegin(), std::make_reverse_iterator(head.first),
                                    to.rbegin(), std::make_reverse_iterator(head.second));
    at = head.first - from.begin();
    before = packed<T>({head.first, tail.first.base()});
    after = packed<T>({head.second, tail.second.base()});
}

template <class T> bool PlanDelta::Splice<T>::apply(std::vector<T> &list, bool forward) const
{
    const std::vector<T> present = unpacked<T>(forward ? before : after);
    const std::vector<T> wanted = unpacked<T>(forward ? after : before);
    const auto first = list.begin() + std::min(at, std::ssize(list));
    if (list.end() - first < std::ssize(present) ||
        !std::equal(present.begin(), present.end(), first))
        return false;
    list.insert(list.erase(first, first + std::ssize(present)), wanted.begin(), wanted.end());
    return true;
}

PlanDelta::PlanDelta(const PlanState &before, const PlanState &after)
    : blocks(before.blocks, after.blocks), toprows(before.toprows, after.toprows),
      logicalrows(before.logicalrows, after.logicalrows), extended(before.extended, after.extended)
{
}

bool PlanDelta::isempty() const
{
    return blocks.isempty() && toprows.isempty() && logicalrows.isempty() && extended.isempty();
}

bool PlanDelta::apply(PlanState &state, bool forward) const
{
    PlanState changed = state;
    if (!blocks.apply(changed.blocks, forward) || !toprows.apply(changed.toprows, forward) ||
        !logicalrows.apply(changed.logicalrows, forward) ||
        !extended.apply(changed.extended, forward))
        return false;
    state = std::move(changed);
    return true;
}
