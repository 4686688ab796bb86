#include "plan/plan.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace
{

std::unique_ptr<EXTPART> newextend()
{
    auto part = std::make_unique<EXTPART>();
    qstrncpy(part->name, "Primary Extended", sizeof part->name);
    part->kind = 'e';
    part->systype = 0x0F;
    return part;
}

bool ispartition(const EXTPART *part)
{
    return part->kind == 'p' || part->kind == 'l';
}

} // namespace

Plan::Change::Change(Plan &changed) : plan(changed)
{
    if (plan.depth++ == 0)
        plan.tell(&PlanWatcher::changebegins);
}

Plan::Change::~Change()
{
    if (--plan.depth == 0)
        plan.tell(&PlanWatcher::changeends);
}

Plan::WholeChange::WholeChange(Plan &changed) : Change(changed), plan(changed)
{
    plan.tell(&PlanWatcher::planclears);
    plan.quiet = true;
}

Plan::WholeChange::~WholeChange()
{
    plan.quiet = false;
    plan.tell(&PlanWatcher::planfilled);
}

Plan::~Plan()
{
    tell(&PlanWatcher::plangone);
    watchers.clear();
    clearmodelview();
}

void Plan::watch(PlanWatcher *watcher)
{
    watchers.push_back(watcher);
}

void Plan::unwatch(PlanWatcher *watcher)
{
    watchers.erase(std::remove(watchers.begin(), watchers.end(), watcher), watchers.end());
}

PlanState Plan::save() const
{
    PlanState state;
    state.segs = segs;
    const auto saved = [](const EXTPART *part) {
        const auto *const named =
            std::find_if(partkinds.begin(), partkinds.end(), [part](const PARTKIND &one) {
                return std::strcmp(one.name, part->name) == 0;
            });
        return PLANBLOCK{part->start,    part->stop,
                         part->kind,     named == partkinds.end() ? 'u' : named->kind,
                         part->bootflag, part->systype};
    };
    state.blocks.reserve(static_cast<std::size_t>(extparts.size()));
    for (const EXTPART *part : extparts)
        state.blocks.push_back(saved(part));
    for (const EXTPART *part : toprows)
        state.toprows.push_back(part == extended.get() ? extendedrow : part->start);
    for (const EXTPART *part : logicalrows)
        state.logicalrows.push_back(part->start);
    if (extended)
        state.extended.push_back(saved(extended.get()));
    return state;
}

void Plan::restore(const PlanState &state)
{
    const Change change(*this);
    clearmodelview();
    segs = state.segs;
    extparts.reserve(static_cast<qsizetype>(state.blocks.size()));
    for (const PLANBLOCK &block : state.blocks) {
        EXTPART *part = newpart(block.start, block.stop, block.kind);
        qstrncpy(part->name, partkind(block.namedas).name, sizeof part->name);
        part->bootflag = block.bootflag;
        part->systype = block.systype;
        extparts.append(part);
    }
    const auto blockat = [this](std::uint64_t start) {
        return *std::lower_bound(
            extparts.cbegin(), extparts.cend(), start,
            [](const EXTPART *part, std::uint64_t wanted) { return part->start < wanted; });
    };
    for (const std::uint64_t start : state.logicalrows) {
        logicalrows.append(blockat(start));
        extendsize += logicalrows.last()->size;
        laststart = std::max(laststart, start);
    }
    logicalnum = static_cast<int>(logicalrows.size());
    for (const PLANBLOCK &row : state.extended) {
        extended = newextend();
        extended->start = row.start;
        extended->stop = row.stop;
        extended->size = extendsize;
        extended->bootflag = row.bootflag;
        extended->systype = row.systype;
    }
    for (const std::uint64_t start : state.toprows)
        toprows.append(start == extendedrow ? extended.get() : blockat(start));
    primarynum = static_cast<int>(toprows.size()) - (extended ? 1 : 0);
    tell(&PlanWatcher::planfilled);
}

void Plan::clearall()
{
    segs.clear();
    clearmodelview();
}

void Plan::clearmodelview()
{
    const Change change(*this);
    tell(&PlanWatcher::planclears);
    toprows.clear();
    logicalrows.clear();
    dropextend();
    primarynum = 0;
    logicalnum = 0;
    qDeleteAll(extparts);
    extparts.clear();
}

void Plan::constructextparts()
{
    extparts.clear();
    for (const SEG &seg : segs)
        extparts.append(newpart(seg.start, seg.stop, seg.isbad == 0 ? 'u' : 'b'));
}

void Plan::restartplan()
{
    const Change change(*this);
    clearmodelview();
    constructextparts();
    tell(&PlanWatcher::planfilled);
}

int Plan::partpos(const QList<EXTPART *> &list, const EXTPART *part) const
{
    return static_cast<int>(list.indexOf(part));
}

void Plan::insertnewpart(EXTPART *anchor, EXTPART *part, int before)
{
    const Change change(*this);
    if (before)
        insertbefore(extparts, anchor, part);
    else
        insertafter(extparts, anchor, part);
    tell(&PlanWatcher::blockadded, part);
}

void Plan::insertnewpart(EXTPART *part)
{
    const Change change(*this);
    extparts.insert(std::upper_bound(extparts.cbegin(), extparts.cend(), part, compareEXTPARTstart),
                    part);
    tell(&PlanWatcher::blockadded, part);
    if (part->kind == 'l')
        giverow(part, 'l', 1);
    else if (part->kind == 'p' && primarynum < (logicalnum > 0 ? 3 : 4))
        giverow(part, 'p', 1);
    else if (part->kind == 'p')
        changekind(part, 'u');
}

void Plan::deletepart(EXTPART *part)
{
    const Change change(*this);
    takerow(part);
    tell(&PlanWatcher::blockremoved, part);
    erasepart(extparts, part);
}

void Plan::deletestretch(const EXTPART &first, const EXTPART &last)
{
    const auto isgone = [from = first.start, to = last.start](const EXTPART *part) {
        return part->start >= from && part->start <= to;
    };
    const auto isrow = [this, isgone](const EXTPART *part) {
        return part != extended.get() && isgone(part);
    };
    primarynum -= static_cast<int>(toprows.removeIf(isrow));
    logicalnum -= static_cast<int>(logicalrows.removeIf(isrow));
    updateextend();
    if (logicalrows.isEmpty()) {
        toprows.removeOne(extended.get());
        dropextend();
    }
    const auto begin = std::find_if(extparts.cbegin(), extparts.cend(), isgone);
    const auto end = std::find_if_not(begin, extparts.cend(), isgone);
    qDeleteAll(begin, end);
    extparts.erase(begin, end);
}

const QList<EXTPART *> &Plan::rows(Level level) const
{
    return level == Level::top ? toprows : logicalrows;
}

QList<EXTPART *> &Plan::rowsof(Level level)
{
    return level == Level::top ? toprows : logicalrows;
}

void Plan::changekind(EXTPART *part, char kind)
{
    setkind(*part, kind);
    tell(&PlanWatcher::kindchanged, part);
}

void Plan::changebounds(EXTPART *part)
{
    part->size = part->stop - part->start + 1;
    tell(&PlanWatcher::boundschanged, part);
    if (part->kind == 'l')
        updateextend();
}

void Plan::insertrow(Level level, EXTPART *part, int sorted)
{
    QList<EXTPART *> &list = rowsof(level);
    // Most logical disks come in disk order and need no search among thousands.
    const bool islast = level == Level::logical && part->start >= laststart;
    qsizetype row = sorted && !islast ? 0 : list.size();
    while (row < list.size() && list[row]->start <= part->start)
        ++row;
    list.insert(row, part);
    tell(&PlanWatcher::rowinserted, level, static_cast<int>(row), part);
}

void Plan::addrow(EXTPART *part, int sorted)
{
    if (!ispartition(part))
        return;
    const Change change(*this);
    part->systype = 7;
    if (part->kind == 'p') {
        insertrow(Level::top, part, sorted);
        return;
    }
    if (!extended) {
        extended = newextend();
        extended->start = part->start;
        extended->stop = part->stop;
        extended->size = part->size;
        insertrow(Level::top, extended.get(), sorted);
    }
    extendsize += part->size;
    insertrow(Level::logical, part, sorted);
    laststart = std::max(laststart, part->start);
    followends();
    if (!sorted)
        return;
    // The extended row itself ends the search, so it can only move up.
    const auto present = toprows.indexOf(extended.get());
    const auto target =
        std::find_if(toprows.cbegin(), toprows.cend(),
                     [this](const EXTPART *row) { return row->start >= extended->start; }) -
        toprows.cbegin();
    if (target == present)
        return;
    toprows.move(present, target);
    tell(&PlanWatcher::rowmoved, Level::top, static_cast<int>(present), static_cast<int>(target));
}

bool Plan::removerow(EXTPART *part)
{
    const Level level = logicalrows.contains(part) ? Level::logical : Level::top;
    const auto row = rowsof(level).indexOf(part);
    if (row < 0)
        return false;
    const Change change(*this);
    rowsof(level).removeAt(row);
    tell(&PlanWatcher::rowremoved, level, static_cast<int>(row));
    if (part == extended.get()) {
        for (EXTPART *child : std::exchange(logicalrows, {}))
            changekind(child, 'u');
        dropextend();
        return true;
    }
    changekind(part, 'u');
    if (level == Level::top)
        return true;
    if (logicalrows.isEmpty())
        removerow(extended.get());
    else
        updateextend();
    return true;
}

bool Plan::moverow(const EXTPART *part, int step)
{
    const Level level = logicalrows.contains(part) ? Level::logical : Level::top;
    QList<EXTPART *> &list = rowsof(level);
    const auto from = list.indexOf(part);
    const auto to = from + step;
    if (from < 0 || to < 0 || to >= list.size())
        return false;
    const Change change(*this);
    list.move(from, to);
    tell(&PlanWatcher::rowmoved, level, static_cast<int>(from), static_cast<int>(to));
    updateextend();
    return true;
}

void Plan::updateextend()
{
    if (!extended)
        return;
    extendsize = 0;
    laststart = 0;
    for (const EXTPART *part : std::as_const(logicalrows)) {
        extendsize += part->size;
        laststart = std::max(laststart, part->start);
    }
    followends();
}

void Plan::followends()
{
    const std::uint64_t start = logicalrows.isEmpty() ? 0 : logicalrows.first()->start;
    const std::uint64_t stop = logicalrows.isEmpty() ? 0 : logicalrows.last()->stop;
    if (extended->start == start && extended->stop == stop && extended->size == extendsize)
        return;
    extended->start = start;
    extended->stop = stop;
    extended->size = extendsize;
    tell(&PlanWatcher::extendchanged);
}

void Plan::dropextend()
{
    extended.reset();
    extendsize = 0;
    laststart = 0;
}

std::vector<EXTPART> Plan::getallparts() const
{
    std::vector<EXTPART> parts;
    parts.reserve(static_cast<std::size_t>(toprows.size() + logicalrows.size()));
    for (const QList<EXTPART *> *list : {&toprows, &logicalrows}) {
        for (const EXTPART *part : *list)
            parts.push_back(*part);
    }
    return parts;
}

const EXTPART *Plan::neighbourbefore(const EXTPART *part) const
{
    for (auto i = extparts.indexOf(part) - 1; i >= 0; --i) {
        if (extparts[i]->kind != 'u')
            return extparts[i];
    }
    return nullptr;
}

const EXTPART *Plan::neighbourbehind(const EXTPART *part) const
{
    const auto pos = extparts.indexOf(part);
    for (auto i = pos + 1; pos >= 0 && i < extparts.size(); ++i) {
        if (extparts[i]->kind != 'u')
            return extparts[i];
    }
    return nullptr;
}

void Plan::giverow(EXTPART *part, char kind, int sorted)
{
    const Change change(*this);
    ++(kind == 'p' ? primarynum : logicalnum);
    changekind(part, kind);
    addrow(part, sorted);
}

void Plan::takerow(EXTPART *part)
{
    if (!ispartition(part))
        return;
    const Change change(*this);
    --(part->kind == 'p' ? primarynum : logicalnum);
    removerow(part);
}

void Plan::assignpart(EXTPART *part, int limit, int sorted)
{
    giverow(part, primarynum < limit ? 'p' : 'l', sorted);
}

Outcome Plan::addpp(EXTPART *part)
{
    if (part->kind == 'p')
        return {};
    if (primarynum >= 4 || (logicalnum > 0 && primarynum >= 3)) {
        return {false, "Too many primary partitions were added!\nPlease delete an existing primary "
                       "partition if you want to do this."};
    }
    const Change change(*this);
    takerow(part);
    giverow(part, 'p', 1);
    return {true, {}};
}

Outcome Plan::addld(EXTPART *part)
{
    if (part->kind == 'l')
        return {};
    if (primarynum >= 4) {
        return {false,
                "If you want to add a logical disk, you are not allowed to add more than 3 primary "
                "partitions.\nPlease delete at least one primary partition in order to do this. "};
    }
    const Change change(*this);
    takerow(part);
    giverow(part, 'l', 1);
    return {true, {}};
}

Outcome Plan::delpart(EXTPART *part)
{
    if (!ispartition(part))
        return {};
    takerow(part);
    return {true, {}};
}

Outcome Plan::delrow(EXTPART *part)
{
    if (part->kind != 'e')
        return delpart(part);
    const Change change(*this);
    logicalnum = 0;
    return {removerow(part), {}};
}
