#include "views/parttreemodel.h"
#include "core/geom.h"
#include "views/systypes.h"

#include <gtest/gtest.h>

#include <QAbstractItemModelTester>
#include <QPersistentModelIndex>

#include <algorithm>
#include <memory>
#include <random>

namespace
{
/// The same plan as two plain lists; null stands for the extended entry.
struct PlainTree {
    std::vector<EXTPART *> top;
    std::vector<EXTPART *> logical;

    [[nodiscard]] std::uint64_t startof(const EXTPART *part) const
    {
        return part ? part->start : logical.front()->start;
    }

    void insert(std::vector<EXTPART *> &list, EXTPART *part, std::uint64_t start, bool sorted)
    {
        auto place = list.end();
        if (sorted)
            place = std::find_if(list.begin(), list.end(),
                                 [&](EXTPART *other) { return startof(other) > start; });
        list.insert(place, part);
    }

    void add(EXTPART *part, bool sorted)
    {
        if (part->kind == 'p')
            return insert(top, part, part->start, sorted);
        if (logical.empty()) {
            insert(top, nullptr, part->start, sorted);
            logical.push_back(part);
        } else {
            insert(logical, part, part->start, sorted);
        }
        if (!sorted)
            return;
        const auto target = std::find_if(top.begin(), top.end(), [&](EXTPART *other) {
            return startof(other) >= logical.front()->start;
        });
        const auto present = std::find(top.begin(), top.end(), nullptr);
        std::rotate(target, present, present + 1);
    }

    void remove(EXTPART *part)
    {
        if (!part)
            logical.clear();
        std::erase(logical, part);
        std::erase(top, part);
        if (logical.empty())
            std::erase(top, nullptr);
    }
};

class TreeModel : public ::testing::Test
{
protected:
    TreeModel()
    {
        g = withfactors({.totalbytes = 20000ull * 255 * 63 * 512}, 512, 63, 255);
        for (std::uint64_t i = 0; i < 12; i++)
            blocks.emplace_back(newpart(i * 1000, i * 1000 + 400, 'u'));
        const auto shown = [this] { told = extendtexts(); };
        QObject::connect(&model, &QAbstractItemModel::modelReset, shown);
        QObject::connect(&model, &QAbstractItemModel::rowsInserted,
                         [this, shown](const QModelIndex &parent, int first) {
                             if (model.index(first, 0, parent) == model.extendindex())
                                 shown();
                         });
        QObject::connect(&model, &QAbstractItemModel::dataChanged,
                         [this, shown](const QModelIndex &from, const QModelIndex &to) {
                             if (from.siblingAtColumn(0) == model.extendindex() &&
                                 from.column() <= 1 && to.column() >= 3)
                                 shown();
                         });
    }

    QStringList extendtexts() const
    {
        QStringList texts;
        for (int column = 1; column <= 3 && model.extendnode; column++)
            texts.append(model.extendindex().siblingAtColumn(column).data().toString());
        return texts;
    }

    EXTPART *add(int index, char kind, bool sorted)
    {
        EXTPART *part = blocks[index].get();
        setkind(*part, kind);
        model.addpart(part, sorted);
        plain.add(part, sorted);
        return part;
    }

    /// Everything that must hold at any time, and that views were told of it.
    void check()
    {
        std::vector<const EXTPART *> expected;
        for (const EXTPART *part : plain.top)
            expected.push_back(part ? part : model.extendpart);
        ASSERT_EQ(model.rowCount(), int(expected.size()));
        ASSERT_EQ(model.extendnode != nullptr, !plain.logical.empty());
        ASSERT_EQ(model.extendpart != nullptr, !plain.logical.empty());
        ASSERT_EQ(model.extendindex().isValid(), !plain.logical.empty());
        ASSERT_EQ(model.rowCount(model.extendindex()),
                  int(plain.logical.empty() ? plain.top.size() : plain.logical.size()));
        expected.insert(expected.end(), plain.logical.begin(), plain.logical.end());
        const std::vector<EXTPART> all = model.getallparts();
        ASSERT_EQ(all.size(), expected.size());
        std::uint64_t sum = 0;
        for (std::size_t i = 0; i < expected.size(); i++) {
            const bool islogical = i >= plain.top.size();
            const QModelIndex index = model.findpart(expected[i]);
            EXPECT_EQ(index.parent(), islogical ? model.extendindex() : QModelIndex());
            EXPECT_EQ(index.row(), int(islogical ? i - plain.top.size() : i));
            EXPECT_EQ(all[i].start, expected[i]->start);
            EXPECT_EQ(all[i].kind, expected[i]->kind);
            sum += islogical ? expected[i]->size : 0;
        }
        EXPECT_EQ(model.extendsize, sum);
        if (model.extendpart) {
            EXPECT_EQ(model.extendpart->start, plain.logical.front()->start);
            EXPECT_EQ(model.extendpart->stop, plain.logical.back()->stop);
            EXPECT_EQ(model.extendpart->size, sum);
            EXPECT_EQ(model.extendpart->kind, 'e');
            EXPECT_EQ(told, extendtexts());
        }
        for (const auto &part : blocks) {
            const bool hasrow = std::count(expected.begin(), expected.end(), part.get()) > 0;
            EXPECT_EQ(part->kind != 'u', hasrow);
            EXPECT_EQ(part->fillcolor == Qt::green, !hasrow);
        }
    }

    std::vector<std::unique_ptr<EXTPART>> blocks; ///< outlive the model's nodes
    PartTreeModel model{nullptr};
    QAbstractItemModelTester tester{&model, QAbstractItemModelTester::FailureReportingMode::Fatal};
    PlainTree plain;
    QStringList told; ///< the extended row as views last heard of it
};

TEST_F(TreeModel, KeepsOrderAndExtendedRowThroughEveryMutation)
{
    for (unsigned seed = 1; seed <= 8; seed++) {
        std::mt19937 random(seed);
        const auto below = [&](std::size_t n) { return int(random() % n); };
        for (int step = 0; step < 1500; step++) {
            std::vector<std::pair<EXTPART *, QPersistentModelIndex>> held;
            for (const auto &part : blocks)
                held.emplace_back(part.get(), model.findpart(part.get()));
            const int index = below(blocks.size());
            EXTPART *part = blocks[index].get();
            const int what = below(100);
            std::vector<EXTPART *> &list = below(2) ? plain.top : plain.logical;
            const QModelIndex parent = &list == &plain.top ? QModelIndex() : model.extendindex();
            const int row = list.empty() ? 0 : below(list.size());
            if (what < 45) {
                if (part->kind == 'u')
                    add(index, below(3) ? 'l' : 'p', below(3) > 0);
            } else if (what < 60) {
                EXPECT_EQ(model.delPart(part), part->kind != 'u');
                plain.remove(part);
            } else if (what < 90 && !list.empty()) {
                const bool up = below(2);
                const bool atend = up ? row == 0 : row + 1 == int(list.size());
                const QModelIndex moved = model.index(row, below(6), parent);
                EXPECT_EQ(up ? model.upRow(moved) : model.downRow(moved), !atend);
                if (!atend)
                    std::swap(list[row], list[up ? row - 1 : row + 1]);
            } else if (what < 95) {
                // A boundary edit: the page changes the block and calls.
                part->stop = part->start + below(900);
                part->size = part->stop - part->start + 1;
                model.updateextend();
            } else if (what < 98 && !list.empty()) {
                EXPECT_TRUE(model.removeRows(row, 1, parent));
                plain.remove(list[row]);
            } else if (what == 98 && model.extendpart) {
                EXPECT_TRUE(model.delPart(model.extendpart));
                plain.remove(nullptr);
            } else if (what == 99) {
                model.clearModelData();
                plain = {};
            }
            check();
            for (const auto &[owner, persistent] : held) {
                const bool isnew = owner == part && what < 45;
                EXPECT_TRUE(isnew || persistent == model.findpart(owner));
            }
            ASSERT_FALSE(HasFailure()) << "seed " << seed << " step " << step << " op " << what;
        }
        model.clearModelData();
        plain = {};
    }
}

TEST_F(TreeModel, AnswersCellsFlagsAndBadPlaces)
{
    EXTPART *primary = add(4, 'p', true);
    EXTPART *logical = add(6, 'l', false);
    primary->systype = 0xA5;
    primary->bootflag = 0x80;
    logical->systype = 0x83;
    const QModelIndex index = model.findpart(primary);
    const auto cells = [](const QModelIndex &first, int role) {
        QVariantList values;
        for (int column = 0; column < 6; column++)
            values.append(first.siblingAtColumn(column).data(role));
        return values;
    };
    // 8,225,280 bytes a cylinder; the stop is where the last cylinder begins.
    EXPECT_EQ(cells(index, Qt::DisplayRole),
              QVariantList({"Primary Partition", "32.9", "36.2", "3.3", "0xa5", "Active"}));
    EXPECT_EQ(cells(index, Qt::EditRole),
              QVariantList({"Primary Partition", "32.9", "36.2", "3.3", -91, 0x80u}));
    EXPECT_EQ(
        cells(model.extendindex(), Qt::DisplayRole),
        QVariantList({"Primary Extended", "49.4", "52.6", "3.3", "Extended(BIG)", "Inactive"}));
    EXPECT_EQ(model.findpart(logical).siblingAtColumn(4).data(), "Linux");
    EXPECT_EQ(systypetext(0x1B), "0x1b");
    EXPECT_EQ(systypetext(0x00), "0x0");
    EXPECT_FALSE(index.data(Qt::ToolTipRole).isValid());
    EXPECT_EQ(model.headerData(5, Qt::Horizontal, Qt::DisplayRole), "Active/Inactive");
    EXPECT_FALSE(model.headerData(0, Qt::Vertical, Qt::DisplayRole).isValid());

    for (int column = 0; column < 6; column++) {
        const bool isbound = column == 1 || column == 2;
        const bool isother = column == 4 || column == 5;
        EXPECT_EQ(bool(index.siblingAtColumn(column).flags() & Qt::ItemIsEditable),
                  isbound || isother);
        EXPECT_EQ(bool(model.extendindex().siblingAtColumn(column).flags() & Qt::ItemIsEditable),
                  isother);
    }
    EXPECT_FALSE(model.removeRows(2, 1));
    EXPECT_FALSE(model.removeRows(1, 2));
    EXPECT_FALSE(model.removeRows(0, 1, model.findpart(logical)));
    EXPECT_FALSE(model.upRow({}));
    EXPECT_FALSE(model.setData(index.siblingAtColumn(1), "32.9", Qt::EditRole));
    EXPECT_FALSE(model.delPart(blocks[0].get()));
    // Bad and free blocks have no row.
    model.addpart(blocks[0].get(), 1);
    check();
}
} // namespace
