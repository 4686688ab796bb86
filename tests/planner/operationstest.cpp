#include "planner/diskpartition.h"
#include "tests/support/dialogs.h"
#include "tests/support/planchecker.h"
#include "views/parttreemodel.h"

#include <QMap>
#include <QTreeView>

#include <gtest/gtest.h>

namespace
{
const QMap<QString, QString> messages = {
    {"small", "If you do this,the result partitions are too small(smaller than one cylinder) thus "
              "meaningless."},
    {"primaries", "Too many primary partitions were added!\nPlease delete an existing primary "
                  "partition if you want to do this."},
    {"logicals",
     "If you want to add a logical disk, you are not allowed to add more than 3 primary "
     "partitions.\nPlease delete at least one primary partition in order to do this. "},
    {"front", "can not find enough space to allocate the partition for the new start"},
    {"back", "can not find enough space to allocate the partition for the new stop"},
    {"past", "partition start can not be larger than partition stop"},
    {"before", "partition stop can not be less than partition start"},
    {"missing", "can not find the partition"},
    {"exists", "This command can only be used when there is no existing partition. Please delete "
               "any existing primary partition and logical disk to do this."},
    {"gap", "not continous parts"},
};

const QMap<QString, void (DiskPartition::*)()> operations = {
    {"addpp", &DiskPartition::addpp},
    {"addld", &DiskPartition::addld},
    {"delpart", &DiskPartition::delpart},
    {"split", &DiskPartition::splitpart},
    {"split3", &DiskPartition::split3part},
    {"split4", &DiskPartition::split4part},
    {"splitn", &DiskPartition::splitnpart},
    {"sysdata", &DiskPartition::splitsysdatapart},
    {"combine", &DiskPartition::combineparts},
    {"default", &DiskPartition::defaultpartition},
    {"delete", &DiskPartition::ondelPartTreeNode},
    {"up", &DiskPartition::onupPartTreeNode},
    {"down", &DiskPartition::ondownPartTreeNode},
};

// "start GB" and "stop GB" edit the row that the tree's cursor is in.
void perform(DiskPartition &page, const QString &text)
{
    const QString name = text.section(' ', 0, 0);
    const QString argument = text.section(' ', 1);
    if (operations.contains(name))
        (page.*operations[name])();
    else if (name == "strategy")
        page.onstrategychanged(argument.toInt());
    else
        page.treemodel->setData(
            page.treeview->currentIndex().siblingAtColumn(name == "start" ? 1 : 2), argument,
            Qt::EditRole);
}

// One case a line: plan | starts of the selected blocks, "e" the extended row | operation |
// answers to the input dialogs in turn, "x" cancels | blocks, "=" all as before | rows, if asked |
// message. A '$' at the start of a plan's name stands for it, defined by "$name = plan".
void run(const char *table)
{
    DiskPartition page;
    QMap<QString, QString> names;
    for (const QString &line : QString(table).split('\n', Qt::SkipEmptyParts)) {
        SCOPED_TRACE(line.toStdString());
        if (const qsizetype at = line.indexOf('='); line.startsWith('$') && !line.contains('|')) {
            names[line.left(at).trimmed()] = line.mid(at + 1).trimmed();
            continue;
        }
        QStringList fields;
        for (const QString &field : line.split('|'))
            fields.append(names.value(field.trimmed(), field.trimmed()));
        const auto words = [&fields](int i) {
            return fields.value(i).split(' ', Qt::SkipEmptyParts);
        };

        DialogAnswers dialogs;
        for (const QString &answer : words(3))
            dialogs.answer(answer == "x" ? QVariant() : QVariant(answer.toDouble()));
        makeplan(page, fields[0]);
        ASSERT_EQ(blocktext(page), fields[0].toStdString());
        QList<std::uint64_t> starts;
        for (const QString &word : words(1))
            starts.append(word == "e" ? ~0ULL : word.toULongLong());
        selectblocks(page, starts);
        if (fields[1] == "e")
            page.treeview->setCurrentIndex(page.treemodel->extendindex());

        const std::string before = planstate(page);
        perform(page, fields[2]);
        EXPECT_EQ(planfaults(page), "");
        if (fields[4] == "=") {
            EXPECT_EQ(planstate(page), before);
        } else {
            EXPECT_EQ(blocktext(page), fields[4].toStdString());
        }
        if (fields.size() > 5 && fields[5] != "=") {
            EXPECT_EQ(rowtext(page), fields[5].toStdString());
        }
        EXPECT_EQ(dialogs.messages().join('|').toStdString(),
                  messages.value(fields.value(6)).toStdString());
        EXPECT_EQ(dialogs.seen.size() - dialogs.messages().size(), words(3).size());
    }
}
} // namespace

TEST(Planner, Strategies)
{
    run(R"(
$ties = u0-9 b10-10 u11-20 b21-21 u22-31 b32-32 u33-42 b43-43 u44-53
$mixed = u0-4 b5-5 u6-25 b26-26 u27-36 b37-37 u38-57 b58-58 u59-88
$four = u0-4 b5-5 p6-25 b26-26 p27-36 b37-37 p38-57 b58-58 p59-88
$sizes = u0-24 b25-26 u27-27 b28-28 u29-38
p0-4 b5-5 l6-25 | | strategy 0 | | u0-4 b5-5 u6-25 |
$ties  | | strategy 1 | | p0-9 b10-10 p11-20 b21-21 p22-31 b32-32 l33-42 b43-43 l44-53 | p0-9 p11-20 p22-31 e33-53[l33-42 l44-53]
$sizes | | strategy 1 | | p0-24 b25-26 p27-27 b28-28 p29-38
$ties  | | strategy 2 | | p0-9 b10-10 p11-20 b21-21 p22-31 b32-32 p33-42 b43-43 u44-53
$mixed | | strategy 2 | | $four | p6-25 p27-36 p38-57 p59-88
$mixed | | strategy 3 | | $four | p59-88 p6-25 p38-57 p27-36
b0-9   | | strategy 3 | | b0-9 |
$mixed | | strategy 4 | 3 | u0-4 b5-5 p6-25 b26-26 u27-36 b37-37 p38-57 b58-58 p59-88
$mixed | | strategy 4 | 5 | p0-4 b5-5 p6-25 b26-26 p27-36 b37-37 l38-57 b58-58 l59-88 | p0-4 p6-25 p27-36 e38-88[l38-57 l59-88]
$mixed | | strategy 4 | x | $mixed |
b0-9   | | strategy 4 | | b0-9 |
$sizes | | strategy 5 | 1 0 | p0-9 p10-19 p20-24 b25-26 l27-27 b28-28 l29-38
$sizes | | strategy 5 | 1 0.5 | p0-9 p10-19 u20-24 b25-26 u27-27 b28-28 p29-38
$sizes | | strategy 5 | 1 2 | p0-9 u10-24 b25-26 u27-27 b28-28 u29-38
$sizes | | strategy 5 | 3.9 0 | p0-24 b25-26 p27-27 b28-28 p29-38
$sizes | | strategy 5 | 1 x | $sizes |
$sizes | | strategy 5 | 0 0 | $sizes | | small
)");
}

TEST(Planner, DefaultPlan)
{
    run(R"(
u0-998 | | default | | p0-248 p249-497 p498-746 p747-995 u996-998
u0-1002 | | default | | p0-124 p125-249 p250-374 l375-499 l500-624 l625-749 l750-874 l875-999 u1000-1002
u0-99 b100-100 u101-300 b301-301 u302-351 b352-352 u353-652 b653-653 u654-1000 | | default | | l0-99 b100-100 p101-225 l226-300 b301-301 u302-351 b352-352 p353-477 p478-602 u603-652 b653-653 l654-778 l779-903 l904-1000 | e0-1000[l0-99 l226-300 l654-778 l779-903 l904-1000] p101-225 p353-477 p478-602
u0-0 | | default | | u0-0 |
u0-1 | | default | | p0-0 u1-1
b0-9 | | default | | b0-9 |
 | | default | | |
)");
}

TEST(Planner, Insertion)
{
    run(R"(
$three = p0-9 p10-19 p20-29 u30-39
$four = p0-9 p10-19 p20-29 p30-39 u40-49
$full = p0-9 p10-19 p20-29 l30-39 u40-49
$nested = p0-9 l10-19 l20-29 p30-39
$three  |      | addpp | | =
$three  | 30   | addpp | | p0-9 p10-19 p20-29 p30-39
$four   | 40   | addpp | | = | = | primaries
$four   | 0    | addpp | | =
$full   | 40   | addpp | | = | = | primaries
$full   | 30   | addpp | | = | = | primaries
$nested | 10   | addpp | | p0-9 p10-19 l20-29 p30-39 | p0-9 p10-19 e20-29[l20-29] p30-39
$four   | 40   | addld | | = | = | logicals
$four   | 0    | addld | | = | = | logicals
$full   | 30   | addld | | =
$full   | 0 40 | addld | | l0-9 p10-19 p20-29 l30-39 u40-49 | e0-39[l0-9 l30-39] p10-19 p20-29
b0-9 u10-19 | 0 10 | addpp | | =
b0-9 u10-19 | 0    | addld | | =
$full   | 30 | delpart | | p0-9 p10-19 p20-29 u30-39 u40-49 | p0-9 p10-19 p20-29
$full   | 40 | delpart | | =
$nested | e  | delete  | | p0-9 u10-19 u20-29 p30-39 | p0-9 p30-39
$nested | 20 | delete  | | p0-9 l10-19 u20-29 p30-39 | p0-9 e10-19[l10-19] p30-39
l0-9 p10-19 | 0 | delete | | u0-9 p10-19 | p10-19
$nested | 20 | up   | | $nested | p0-9 e20-19[l20-29 l10-19] p30-39
$nested | e  | down | | $nested | p0-9 p30-39 e10-29[l10-19 l20-29]
$nested | 0  | up   | | =
)");
}

TEST(Planner, Boundaries)
{
    // the last three: cylinders in no block go along with the boundary that passes over them
    run(R"(
$plan = u0-9 p10-19 u20-24 u25-29 b30-31 l32-49
$zero = p0-19 u20-24 u25-29 b30-31 l32-49
$plan | 10 | start 1.2   | | u0-9 u10-11 p12-19 u20-24 u25-29 b30-31 l32-49
$plan | 10 | start 1.9   | | u0-9 u10-18 p19-19 u20-24 u25-29 b30-31 l32-49
$plan | 10 | start 1.05  | | =
$plan | 10 | start 2.0   | | = | = | past
$plan | 10 | start 1e300 | | = | = | past
$plan | 10 | start 0.5   | | u0-4 p5-19 u20-24 u25-29 b30-31 l32-49
$plan | 10 | start 0     | | $zero
$plan | 10 | start abc   | | $zero
$plan | 10 | start -3    | | $zero
$plan | 10 | start nan   | | $zero
$plan | 10 | stop 2.2    | | u0-9 p10-22 u23-24 u25-29 b30-31 l32-49
$plan | 10 | stop 2.4    | | u0-9 p10-24 u25-29 b30-31 l32-49
$plan | 10 | stop 2.7    | | u0-9 p10-27 u28-29 b30-31 l32-49
$plan | 10 | stop 2.9    | | u0-9 p10-29 b30-31 l32-49
$plan | 10 | stop 3.0    | | = | = | back
$plan | 10 | stop inf    | | = | = | back
$plan | 10 | stop 1.0    | | u0-9 p10-10 u11-19 u20-24 u25-29 b30-31 l32-49
$plan | 10 | stop 0.9    | | = | = | before
$plan | 32 | start 3.1   | | = | = | front
$plan | 32 | start 3.5   | | u0-9 p10-19 u20-24 u25-29 b30-31 u32-34 l35-49 | p10-19 e35-49[l35-49]
$plan | 32 | stop 5.0    | | = | = | back
$plan | e  | start 3.5   | | = | = | missing
$plan | e  | stop 4.0    | | = | = | missing
p0-9 p10-19 | 10 | start 0.5 | | = | = | front
u0-7 p12-19 | 12 | start 1.0 | | u0-9 p10-19
u0-7 p12-19 | 12 | start 0.7 | | u0-6 p7-19
p0-7 u12-19 | 0  | stop 0.9  | | p0-9 u10-19
)");
}

TEST(Planner, SplitAndCombine)
{
    run(R"(
$four = p0-9 p10-19 p20-29 p30-39
p0-4 u5-9 | 0 | split | | p0-1 p2-3 u5-9
$four | 0 | split3 | | p0-2 u3-5 u6-8 p10-19 p20-29 p30-39
p0-9 p10-19 l20-29 | 0 | split4 | | p0-1 p2-3 u4-5 u6-7 p10-19 l20-29
l0-9 | 0 | split | | l0-4 l5-9 | e0-9[l0-4 l5-9]
u0-0 | 0 | split | | = | = | small
u0-9 |   | split | | =
b0-9 | 0 | split | | =
u0-9 | 0 | splitn | 0 | =
u0-9 | 0 | splitn | x | =
u0-9 | 0 | splitn | 50 | = | = | small
u0-9 | 0 | splitn | 10 | u0-0 u1-1 u2-2 u3-3 u4-4 u5-5 u6-6 u7-7 u8-8 u9-9 |
u0-99 | 0 | sysdata | 1.7 3 | p0-16 p17-43 p44-70 p71-99
u0-99 | 0 | sysdata | 1.7 4 | p0-16 p17-36 p37-56 l57-76 l77-99
u0-99 | 0 | sysdata | 1.7 1 | p0-16 p17-99
u0-99 | 0 | sysdata | 10 1 | = | = | small
u0-99 | 0 | sysdata | 9.9 2 | = | = | small
u0-99 | 0 | sysdata | 0 | = | = | small
u0-99 | 0 | sysdata | x | =
u0-99 | 0 | sysdata | 1 x | =
u0-9 l10-19 | 0 | sysdata | | = | = | exists
u0-9 u10-19 | 0 10 | combine | | u0-19 |
u0-9 p10-20 | 0 10 | combine | | p0-20 | p0-20
p0-9 u10-29 | 0 10 | combine | | u0-29 |
p0-9 b10-11 u12-14 | 0 10 12 | combine | | p0-14
u0-4 b5-19 | 0 5 | combine | | b0-19 |
l0-9 p10-19 p20-29 p30-39 | 0 10 | combine | | l0-19 p20-29 p30-39 | e0-19[l0-19] p20-29 p30-39
$four | 0 10 20 30 | combine | | p0-39
u0-9 u10-19 u20-29 | 0 20 | combine | | = | = | gap
u0-9 u10-19 | 10 | combine | | =
)");
}

// What becomes of type and active flag, and what the dialogs ask.
TEST(Planner, FlagsAndDialogs)
{
    DiskPartition page;
    DialogAnswers dialogs;
    const auto bootflags = [&page] {
        std::string flags;
        for (const EXTPART *part : page.extparts)
            flags += (flags.empty() ? "" : " ") + std::to_string(part->bootflag);
        return flags;
    };
    makeplan(page, "p0-9 u10-19");
    selectblocks(page, {0});
    const QModelIndex row = page.treemodel->index(0, 0);
    page.treemodel->setData(row.siblingAtColumn(4), -125, Qt::EditRole);
    page.treemodel->setData(row.siblingAtColumn(5), 0x80, Qt::EditRole);
    EXPECT_EQ(page.extparts[0]->systype, 0x83);
    page.addld();
    EXPECT_EQ(page.extparts[0]->systype, 7);
    EXPECT_EQ(bootflags(), "128 0");
    page.splitpart(1);
    EXPECT_EQ(bootflags(), "0 0");

    makeplan(page, "u0-59 b60-60 u61-99");
    selectblocks(page, {0});
    page.splitsysdatapart();
    EXPECT_EQ(bootflags(), "128 0 0 0 0 0");
    selectblocks(page, {0, 10});
    page.combineparts();
    EXPECT_EQ(bootflags(), "0 0 0 0 0");
    page.onstrategychanged(4);
    page.onstrategychanged(5);
    QStringList texts;
    for (const DialogAnswers::Seen &one : dialogs.seen)
        texts.append(QString("%1|%2|%3 in %4..%5 by %6, %7")
                         .arg(one.title, one.text)
                         .arg(one.value)
                         .arg(one.minimum)
                         .arg(one.maximum)
                         .arg(one.step)
                         .arg(one.decimals));
    EXPECT_EQ(texts.join('\n').toStdString(),
              R"(System Partition Size(GB)|Please input system partition size(GB):|1 in 0..6 by 1, 1
Data Partition Number|Please specify how many data partitions you want to create:|3 in 1..50 by 1, 0
Input Parameter N|Please input the parameter N, N partitions will be created.|2 in 1..2 by 1, 0
Max Partition Capacity(GB)|CMax:|10 in 0..10 by 1, 1
Min Partition Capacity(GB)|CMin:|0 in 0..10 by 1, 1)");
    dialogs.takeseen();
    selectblocks(page, {0});
    page.splitnpart();
    EXPECT_EQ(dialogs.seen[0].title, "n");
    EXPECT_EQ(dialogs.seen[0].text, "Please input how many data parts you want to split to:");
    EXPECT_EQ(dialogs.seen[0].maximum, 50);
}
