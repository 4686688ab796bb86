#include "planner/diskpartition.h"
#include "tests/support/dialogs.h"
#include "tests/support/planchecker.h"
#include "views/parttreemodel.h"

#include <QAbstractItemModelTester>
#include <QTreeView>

#include <gtest/gtest.h>

#include <random>

namespace
{
// Plans at random, as a user without any plan would, and checks the plan after each step.
class Walk
{
public:
    explicit Walk(unsigned seed) : random(seed)
    {
        dialogs.fallback = [this](const DialogAnswers::Seen &box) { return answer(box); };
    }

    void go(const QString &plan, int steps)
    {
        makeplan(page, plan);
        for (int i = 0; i < steps && !testing::Test::HasFailure(); i++) {
            SCOPED_TRACE(testing::Message() << "step " << i << " on " << blocktext(page));
            step();
        }
    }

    int refusals = 0;
    int changes = 0;

private:
    int below(int limit) { return std::uniform_int_distribution<>(0, limit - 1)(random); }

    QVariant answer(const DialogAnswers::Seen &box)
    {
        if (below(8) == 0) {
            cancelled = true;
            return {};
        }
        const double value = std::uniform_real_distribution<>(box.minimum, box.maximum)(random);
        // the small numbers are those that do something
        return below(2) ? value : box.minimum + value / 10;
    }

    void select()
    {
        QList<std::uint64_t> starts;
        const int count = static_cast<int>(page.extparts.size());
        const int first = count ? below(count) : 0;
        const int number = below(4);
        for (int i = first; i < std::min(first + number, count); i++)
            starts.append(page.extparts[below(10) ? i : below(count)]->start);
        selectblocks(page, starts);
    }

    QModelIndex randomrow()
    {
        const PartTreeModel &model = *page.treemodel;
        if (model.rowCount() == 0)
            return {};
        const QModelIndex row = model.index(below(model.rowCount()), 0);
        const int children = model.rowCount(row);
        return children && below(4) ? model.index(below(children), 0, row) : row;
    }

    void edit()
    {
        const QModelIndex row = randomrow();
        if (!row.isValid())
            return;
        const int column = QList{1, 2, 1, 2, 4, 5}[below(6)];
        QVariant value = below(256);
        if (column < 3) {
            static const char *const junk[] = {"", "-1", "nan", "inf", "1e30", "x"};
            const auto &part = *static_cast<PartTreeNode *>(row.internalPointer())->part;
            const double cylinder = static_cast<double>(column == 1 ? part.start : part.stop);
            value = below(8) ? QString::number((cylinder + below(21) - 10) / 10 + 0.00001, 'f', 7)
                             : QString(junk[below(6)]);
        }
        page.treemodel->setData(row.siblingAtColumn(column), value, Qt::EditRole);
    }

    void step()
    {
        // every cut adds blocks, and nothing but a strategy takes them all away
        const bool restart = page.extparts.size() > 100 || below(60) == 0;
        if (below(3) == 0 && !restart) {
            select();
            EXPECT_EQ(planfaults(page), "");
        }
        if (below(4) == 0)
            page.treeview->setCurrentIndex(randomrow());
        cancelled = false;
        dialogs.takeseen();
        const std::string before = planstate(page);
        if (restart) {
            if (const int index = below(7); index < 6)
                page.onstrategychanged(index);
            else
                page.defaultpartition();
        } else {
            operate();
        }
        const std::string after = planstate(page);
        const bool refused = cancelled || !dialogs.messages().isEmpty();
        EXPECT_EQ(planfaults(page), "");
        if (refused && !restart) {
            EXPECT_EQ(after, before);
        }
        refusals += refused;
        changes += after != before;
    }

    void operate()
    {
        static void (DiskPartition::*const operations[])() = {
            &DiskPartition::addpp,
            &DiskPartition::addpp,
            &DiskPartition::addld,
            &DiskPartition::addld,
            &DiskPartition::delpart,
            &DiskPartition::splitpart,
            &DiskPartition::split3part,
            &DiskPartition::split4part,
            &DiskPartition::splitnpart,
            &DiskPartition::splitsysdatapart,
            &DiskPartition::combineparts,
            &DiskPartition::combineparts,
            &DiskPartition::ondelPartTreeNode,
            &DiskPartition::onupPartTreeNode,
            &DiskPartition::ondownPartTreeNode,
            &DiskPartition::resizepartdiagram,
        };
        const int count = static_cast<int>(std::size(operations));
        if (const int which = below(count + 6); which < count)
            (page.*operations[which])();
        else
            edit();
    }

    std::mt19937 random;
    DiskPartition page;
    DialogAnswers dialogs;
    QAbstractItemModelTester tester{page.treemodel,
                                    QAbstractItemModelTester::FailureReportingMode::Fatal};
    bool cancelled = false;
};

// 500 segments of two cylinders, a dozen bad stretches among them.
QString damageddisk()
{
    QStringList words;
    int at = 0;
    for (int i = 0; i < 12; i++) {
        const int bad = 40 + i * 77 + i % 3;
        words.append(QString("u%1-%2 b%3-%4").arg(at).arg(bad - 1).arg(bad).arg(bad + i));
        at = bad + i + 1;
    }
    return words.join(' ') + QString(" u%1-999").arg(at);
}
} // namespace

TEST(PlannerWalk, KeepsEveryInvariant)
{
    int refusals = 0;
    int changes = 0;
    const auto go = [&](const QString &plan, unsigned seed, int steps) {
        Walk walk(seed);
        walk.go(plan, steps);
        refusals += walk.refusals;
        changes += walk.changes;
    };
    for (unsigned seed = 1; seed <= 4; seed++)
        go(damageddisk(), seed, 600);
    for (unsigned seed = 5; seed <= 6; seed++)
        go("u0-39 u40-99", seed, 400);
    go("u0-0", 7, 200);
    go("b0-99", 8, 200);
    go("", 9, 50);
    // a walk that only meets refusals, or none, shows nothing
    EXPECT_GT(refusals, 300);
    EXPECT_GT(changes, 1200);
    RecordProperty("refusals", refusals);
    RecordProperty("changes", changes);
}
