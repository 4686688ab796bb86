#pragma once

#include "core/seg.h"
#include "plan/extpart.h"
#include "plan/planstate.h"

#include <QList>
#include <QString>

#include <array>
#include <functional>
#include <memory>
#include <vector>

/// One row of the strategy box.
struct STRTGYINFO {
    QString listtext;
};

/// The six strategies; a row's index is what `DiskPartition::onstrategychanged` receives.
extern const std::array<STRTGYINFO, 6> strategyinfo;

/// What became of an operation on a plan. A refused one changed nothing.
struct [[nodiscard]] Outcome {
    bool changed = false;
    QString refusal; ///< words for the user; empty unless refused
};

/// The two levels of the partition list: primaries and the extended row; the logical disks.
enum class Level { top, logical };

/// Whoever shows a plan. All calls but `planclears` and `blockremoved` come after the change.
class PlanWatcher
{
public:
    PlanWatcher() = default;
    PlanWatcher(const PlanWatcher &) = delete;
    PlanWatcher &operator=(const PlanWatcher &) = delete;
    virtual ~PlanWatcher() = default;

    /// An operation begins and ends. Operations that consist of others tell of the outermost only.
    virtual void changebegins() {}
    virtual void changeends() {}
    /// All blocks and rows are about to go.
    virtual void planclears() {}
    /// All blocks and rows are new.
    virtual void planfilled() {}
    virtual void blockadded(EXTPART *) {}
    /// A block without a row is about to be deleted.
    virtual void blockremoved(EXTPART *) {}
    virtual void boundschanged(EXTPART *) {}
    virtual void kindchanged(EXTPART *) {}
    virtual void rowinserted(Level, int /*row*/, EXTPART *) {}
    virtual void rowremoved(Level, int /*row*/) {}
    virtual void rowmoved(Level, int /*from*/, int /*to*/) {}
    /// Bounds of the extended row.
    virtual void extendchanged() {}
    /// The plan is being destroyed.
    virtual void plangone() {}
};

/// The plan: the disk as a list of blocks, the rows of the tables to be written, and the
/// operations on both. It asks nothing and shows nothing: answers are arguments, and an operation
/// gives back what became of it.
///
/// - `extparts` is always in disk order, disjoint, and owns its blocks.
/// - A block has a row exactly when its kind is 'p' or 'l'. Rows are in the order of the tables.
/// - `primarynum` and `logicalnum` count those rows. At most four rows stand at the top level.
/// - The extended row exists exactly while there is a logical disk, and is no block.
/// - All checks stand before all changes: a refused operation leaves everything as it was.
class Plan
{
public:
    Plan() = default;
    Plan(const Plan &) = delete;
    Plan &operator=(const Plan &) = delete;
    virtual ~Plan();

    /// Tells `watcher` of each change from now on, behind those that watch already.
    void watch(PlanWatcher *watcher);
    void unwatch(PlanWatcher *watcher);

    /// The state now, and back to one that `save` gave.
    [[nodiscard]] PlanState save() const;
    void restore(const PlanState &state);

    // ---- blocks
    /// Empties `segs` and everything made from it.
    void clearall();
    /// Empties rows and blocks.
    void clearmodelview();
    /// Empties `extparts` without deleting and makes one block of each record of `segs`.
    void constructextparts();
    /// Empties the plan and makes the bare blocks.
    void restartplan();
    /// Index of a block in `list`, or -1.
    int partpos(const QList<EXTPART *> &list, const EXTPART *part) const;
    /// Puts an unassigned block next to `anchor`, without a row.
    void insertnewpart(EXTPART *anchor, EXTPART *part, int before);
    /// Puts a block at its place by `start`, with a row if it is 'p' or 'l'. A primary without a
    /// free slot silently becomes unassigned.
    void insertnewpart(EXTPART *part);
    /// Takes a block out of rows and list, and deletes it.
    void deletepart(EXTPART *part);

    // ---- rows
    /// Adds a row for a block of kind 'p' or 'l', whose type becomes 7; other kinds do nothing.
    /// `sorted` 1: at its place by `start`; 0: behind the last row. The counters stay.
    void addrow(EXTPART *part, int sorted);
    /// Removes a record's row, with the extended row all logical ones; their blocks turn
    /// unassigned. False if it has none. The counters stay.
    bool removerow(EXTPART *part);
    /// Moves a row by one among its siblings: false at the end.
    bool moverow(const EXTPART *part, int step);
    /// Brings the extended row in step with the logical disks.
    void updateextend();
    /// Copies of all records: the top-level rows, then the logical disks.
    [[nodiscard]] std::vector<EXTPART> getallparts() const;
    [[nodiscard]] const QList<EXTPART *> &rows(Level level) const;
    [[nodiscard]] EXTPART *extendrow() const { return extended.get(); }
    /// Sum of the logical disks' sizes, in cylinders.
    [[nodiscard]] std::uint64_t logicalsize() const { return extendsize; }
    /// Nearest block before `part` that is not 'u'; null if there is none.
    [[nodiscard]] const EXTPART *neighbourbefore(const EXTPART *part) const;
    /// Nearest block behind `part` that is not 'u'; null if there is none.
    [[nodiscard]] const EXTPART *neighbourbehind(const EXTPART *part) const;

    // ---- assignment
    /// Makes a block primary while `primarynum` < `limit`, else logical, and adds its row.
    void assignpart(EXTPART *part, int limit, int sorted);
    Outcome addpp(EXTPART *part);
    Outcome addld(EXTPART *part);
    /// Turns a partition back into an unassigned block without a row.
    Outcome delpart(EXTPART *part);
    /// The same of a row; with the extended row all logical disks.
    Outcome delrow(EXTPART *part);

    // ---- strategies, on bare blocks
    [[nodiscard]] int goodcount() const;
    void assignall();
    /// `sorted` 1: rows in disk order; 0: largest first.
    void assignfourlargest(int sorted);
    void assignlargest(int n);
    /// Pieces of at most `cmaxgb` GB, none of at most `cmingb` GB.
    Outcome assignbysize(double cmaxgb, double cmingb);
    /// The plan that needs no choice: eight equal parts from 100 GB up, four below. Starts from
    /// bare blocks.
    void defaultpartition();

    // ---- edits of a row
    /// Moves a boundary to `cylinder`, out of or into the unassigned blocks beside it.
    Outcome setstart(EXTPART *part, std::uint64_t cylinder);
    Outcome setstop(EXTPART *part, std::uint64_t cylinder);
    Outcome setsystype(EXTPART *part, std::uint8_t type);
    Outcome setbootflag(EXTPART *part, std::uint8_t flag);

    // ---- split and combine
    /// Cuts a block into `n` equal parts; the rest lies in no block.
    Outcome splitpart(EXTPART *part, int n);
    /// Why a block can't be split into system and data partitions now; empty if it can.
    [[nodiscard]] QString checksysdata() const;
    /// Why a system partition of `sysgb` GB can't be; empty if it can.
    [[nodiscard]] static QString checksystemsize(double sysgb);
    /// A system partition of `sysgb` GB and `datanum` data partitions.
    Outcome splitsysdata(EXTPART *part, double sysgb, int datanum);
    /// Joins blocks, given in disk order; the result is of the largest one's kind.
    Outcome combineparts(const QList<EXTPART *> &parts);

    std::vector<SEG> segs;     ///< the scan's consolidated list, source of `constructextparts`
    QList<EXTPART *> extparts; ///< the blocks, in disk order; owned
    int primarynum = 0;        ///< blocks of kind 'p' with a row
    int logicalnum = 0;        ///< blocks of kind 'l' with a row

protected:
    /// Brackets an operation for the watchers.
    class Change
    {
    public:
        explicit Change(Plan &changed);
        Change(const Change &) = delete;
        Change &operator=(const Change &) = delete;
        ~Change();

    private:
        Plan &plan;
    };

private:
    /// An operation on the whole plan: its watchers are told of the outcome alone, not of
    /// thousands of blocks one by one.
    class WholeChange : public Change
    {
    public:
        explicit WholeChange(Plan &changed);
        ~WholeChange();

    private:
        Plan &plan;
    };

    template <class... Arguments, class... Given>
    void tell(void (PlanWatcher::*event)(Arguments...), Given... given)
    {
        if (quiet)
            return;
        for (PlanWatcher *watcher : watchers)
            (watcher->*event)(given...);
    }
    QList<EXTPART *> &rowsof(Level level);
    void changekind(EXTPART *part, char kind);
    /// Takes over new bounds of a block: size and, for a logical disk, the extended row.
    void changebounds(EXTPART *part);
    /// Makes a block without a row a partition of `kind` ('p' or 'l') with its row, and counts it.
    void giverow(EXTPART *part, char kind, int sorted);
    /// The reverse; nothing for other kinds.
    void takerow(EXTPART *part);
    void insertrow(Level level, EXTPART *part, int sorted);
    void dropextend();
    /// Takes the ends of the logical rows over into the extended row, whose size is known.
    void followends();
    /// Takes all blocks from `first` to `last` out of rows and list, and deletes them. Watchers are
    /// not told: a part of a `WholeChange`.
    void deletestretch(const EXTPART &first, const EXTPART &last);
    [[nodiscard]] QList<EXTPART *> goodparts() const;
    /// Cuts good blocks above `cmaxcyl` cylinders, passes over those up to `cmincyl`, and hands
    /// each piece to `take`. `cmaxcyl` is at least 1.
    void cutpass(std::uint64_t cmincyl, std::uint64_t cmaxcyl,
                 const std::function<void(EXTPART *)> &take);

    QList<EXTPART *> toprows;          ///< of primaries and the extended row
    QList<EXTPART *> logicalrows;      ///< of logical disks
    std::unique_ptr<EXTPART> extended; ///< null while there is no logical disk
    std::uint64_t extendsize = 0;
    std::uint64_t laststart = 0; ///< the highest `start` among the logical disks
    std::vector<PlanWatcher *> watchers;
    int depth = 0;      ///< operations under way
    bool quiet = false; ///< watchers are told at the end
};

/// Shown wherever a part of a plan would come out below one cylinder.
inline constexpr char toosmalltext[] =
    "If you do this,the result partitions are too small(smaller than one cylinder) thus "
    "meaningless.";
