#include "tests/views/viewsfixture.h"

#include <QAbstractItemModelTester>

// One step a line: what is done, to which row ("e" the extended one), and the rows then. Block 3 is
// cylinders 30 to 39. "+" adds it sorted, "&" behind the last, "-" deletes it, "x" removes its row,
// "^" and "v" move it up and down, "b" takes a cylinder off its end, "c" clears all. What is
// refused ends with "!".
static const char *const script = R"(
+p4 p40-49
+l6 p40-49 e60-69[l60-69]
+l2 e20-69[l20-29 l60-69] p40-49
&l1 e20-19[l20-29 l60-69 l10-19] p40-49
&p0 e20-19[l20-29 l60-69 l10-19] p40-49 p0-9
^1  e20-69[l20-29 l10-19 l60-69] p40-49 p0-9
+p3 e20-69[l20-29 l10-19 l60-69] p30-39 p40-49 p0-9
+l5 e20-69[l20-29 l10-19 l50-59 l60-69] p30-39 p40-49 p0-9
b6  e20-68[l20-29 l10-19 l50-59 l60-68] p30-39 p40-49 p0-9
b5  e20-68[l20-29 l10-19 l50-58 l60-68] p30-39 p40-49 p0-9
v2  e10-68[l10-19 l20-29 l50-58 l60-68] p30-39 p40-49 p0-9
^1! e10-68[l10-19 l20-29 l50-58 l60-68] p30-39 p40-49 p0-9
v6! e10-68[l10-19 l20-29 l50-58 l60-68] p30-39 p40-49 p0-9
ve  p30-39 e10-68[l10-19 l20-29 l50-58 l60-68] p40-49 p0-9
^0  p30-39 e10-68[l10-19 l20-29 l50-58 l60-68] p0-9 p40-49
+l7 e10-79[l10-19 l20-29 l50-58 l60-68 l70-79] p30-39 p0-9 p40-49
-2  e10-79[l10-19 l50-58 l60-68 l70-79] p30-39 p0-9 p40-49
x1  e50-79[l50-58 l60-68 l70-79] p30-39 p0-9 p40-49
-1! e50-79[l50-58 l60-68 l70-79] p30-39 p0-9 p40-49
-3  e50-79[l50-58 l60-68 l70-79] p0-9 p40-49
+l1 e10-79[l10-19 l50-58 l60-68 l70-79] p0-9 p40-49
-e  p0-9 p40-49
+l2 p0-9 e20-29[l20-29] p40-49
x2  p0-9 p40-49
&l2 p0-9 p40-49 e20-29[l20-29]
xe  p0-9 p40-49
+l9 p0-9 p40-49 e90-99[l90-99]
c
+l8 e80-89[l80-89])";

TEST(TreeModel, KeepsOrderAndExtendedRowThroughEveryMutation)
{
    std::vector<std::unique_ptr<EXTPART>> blocks;
    for (std::uint64_t i = 0; i < 10; i++)
        blocks.emplace_back(newpart(i * 10, i * 10 + 9, 'u'));
    PartTreeModel model(nullptr);
    const QAbstractItemModelTester tester(&model,
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    bool told = false; // whether views heard of the extended row's bounds
    QObject::connect(&model, &QAbstractItemModel::dataChanged,
                     [&](const QModelIndex &from, const QModelIndex &to) {
                         told |= from.siblingAtColumn(0) == model.extendindex() &&
                                 from.column() <= 1 && to.column() >= 3;
                     });
    for (const QString &line : QString(script).split('\n', Qt::SkipEmptyParts)) {
        SCOPED_TRACE(line.toStdString());
        const QString step = line.section(' ', 0, 0).remove('!');
        const char what = step[0].toLatin1();
        const int number = step.back().digitValue();
        EXTPART *part = number < 0 ? model.extendpart : blocks[number].get();
        const QModelIndex index = model.findpart(part);
        QList<QPersistentModelIndex> held;
        for (const auto &block : blocks)
            held.append(model.findpart(block.get()));
        const QPersistentModelIndex extended = model.extendindex();
        const EXTPART before = extended.isValid() ? *model.extendpart : EXTPART();
        told = false;
        bool done = true;
        if (what == '+' || what == '&') {
            setkind(*part, step[1].toLatin1());
            model.addpart(part, what == '+');
            held[number] = model.findpart(part);
        } else if (what == 'b') {
            part->size = --part->stop - part->start + 1;
            model.updateextend();
        } else if (what == 'c') {
            model.clearModelData();
        } else {
            done = what == '-'   ? model.delPart(part)
                   : what == 'x' ? model.removeRows(index.row(), 1, index.parent())
                   : what == '^' ? model.upRow(index)
                                 : model.downRow(index);
        }
        EXPECT_EQ(done, !line.contains('!'));
        EXPECT_EQ(rowtext(model), line.section(' ', 1).trimmed().toStdString());
        std::uint64_t sum = 0;
        for (int i = 0; i < 10; i++) {
            EXPECT_EQ(held[i], model.findpart(blocks[i].get()));
            EXPECT_EQ(held[i].isValid(), blocks[i]->kind != 'u');
            EXPECT_EQ(held[i].isValid(), blocks[i]->fillcolor != Qt::green);
            sum += blocks[i]->kind == 'l' ? blocks[i]->size : 0;
        }
        EXPECT_EQ(model.extendsize, sum);
        EXPECT_EQ(model.extendpart ? model.extendpart->size : 0, sum);
        EXPECT_TRUE(told || !extended.isValid() ||
                    (before.start == model.extendpart->start &&
                     before.stop == model.extendpart->stop && before.size == sum));
    }
}

TEST_F(ViewsTest, TreeAnswersCellsFlagsAndBadPlaces)
{
    PartTreeModel &model = *page.treemodel;
    block(2)->systype = 0xA5;
    block(2)->bootflag = 0x80;
    const QModelIndex index = row(2), extended = model.extendindex();
    const auto cells = [](const QModelIndex &first, int role) {
        QString text;
        for (int column = 0; column < 6; column++)
            text += first.siblingAtColumn(column).data(role).toString() + ' ';
        return text.toStdString();
    };
    // The stop is where the last cylinder begins.
    EXPECT_EQ(cells(index, Qt::DisplayRole), "Primary Partition 8.3 41.1 32.8 0xa5 Active ");
    EXPECT_EQ(cells(index, Qt::EditRole), "Primary Partition 8.3 41.1 32.8 -91 128 ");
    EXPECT_EQ(cells(extended, Qt::DisplayRole),
              "Primary Extended 41.1 82.2 41.1 Extended(BIG) Inactive ");
    QString headers, editable;
    for (int column = 0; column < 6; column++) {
        headers += model.headerData(column, Qt::Horizontal, Qt::DisplayRole).toString() + ' ';
        for (const QModelIndex &one : {index, extended})
            editable += one.siblingAtColumn(column).flags() & Qt::ItemIsEditable ? 'x' : '-';
    }
    EXPECT_EQ(headers, "Partition Start(GB) Stop(GB) Size(GB) Type Active/Inactive ");
    EXPECT_EQ(editable, "--x-x---xxxx");
    EXPECT_FALSE(model.removeRows(2, 1) || model.removeRows(1, 2) || model.upRow({}));
    EXPECT_FALSE(model.removeRows(0, 1, model.index(0, 0, extended)));
    // Bad and free blocks have no row.
    EXPECT_FALSE(model.delPart(block(0)));
    model.addpart(block(0), 1);
    EXPECT_EQ(planfaults(page), "");
}
