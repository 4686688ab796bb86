// Catches an operation of the planner that leaves another plan than it should, a broken one, or one
// that can't be undone.
#include "tests/support/dialogs.h"
#include "tests/support/planchecker.h"

#include <QAbstractItemModelTester>
#include <QUndoStack>

#include <random>

// One case a line: plan | starts of the selected blocks, "e" the extended row | operation |
// answers to the input dialogs in turn, "x" cancels | blocks, "=" all as before | rows, if asked |
// message. "$name = text" gives a text a name that stands for it.
static const char *const cases = R"(
$small = If you do this,the result partitions are too small(smaller than one cylinder) thus meaningless.
$primaries = Too many primary partitions were added!\nPlease delete an existing primary partition if you want to do this.
$back = can not find enough space to allocate the partition for the new stop
$missing = can not find the partition

$ties = u0-9 b10-10 u11-20 b21-21 u22-31 b32-32 u33-42 b43-43 u44-53
$mixed = u0-4 b5-5 u6-25 b26-26 u27-36 b37-37 u38-57 b58-58 u59-88
$largest = u0-4 b5-5 p6-25 b26-26 p27-36 b37-37 p38-57 b58-58 p59-88
$sizes = u0-24 b25-26 u27-27 b28-28 u29-38
$ties  | | strategy 1 | | p0-9 b10-10 p11-20 b21-21 p22-31 b32-32 l33-42 b43-43 l44-53 | p0-9 p11-20 p22-31 e33-53[l33-42 l44-53]
$sizes | | strategy 1 | | p0-24 b25-26 p27-27 b28-28 p29-38
$ties  | | strategy 2 | | p0-9 b10-10 p11-20 b21-21 p22-31 b32-32 p33-42 b43-43 u44-53
$mixed | | strategy 2 | | $largest | p6-25 p27-36 p38-57 p59-88
$mixed | | strategy 3 | | $largest | p59-88 p6-25 p38-57 p27-36
$mixed | | strategy 4 | 4 | $largest | p6-25 p27-36 p38-57 p59-88
$mixed | | strategy 4 | 5 | p0-4 b5-5 p6-25 b26-26 p27-36 b37-37 l38-57 b58-58 l59-88 | p0-4 p6-25 p27-36 e38-88[l38-57 l59-88]
$mixed | | strategy 4 | x | $mixed |
b0-9   | | strategy 4 | | b0-9 |
$sizes | | strategy 5 | 1 0 | p0-9 p10-19 p20-24 b25-26 l27-27 b28-28 l29-38
$sizes | | strategy 5 | 1 0.5 | p0-9 p10-19 u20-24 b25-26 u27-27 b28-28 p29-38
$sizes | | strategy 5 | 1 x | $sizes |
$sizes | | strategy 5 | 0 0 | $sizes | | $small
u0-998  | | default | | p0-248 p249-497 p498-746 p747-995 u996-998
u0-1002 | | default | | p0-124 p125-249 p250-374 l375-499 l500-624 l625-749 l750-874 l875-999 u1000-1002
u0-99 b100-100 u101-300 b301-301 u302-351 b352-352 u353-652 b653-653 u654-1000 | | default | | l0-99 b100-100 p101-225 l226-300 b301-301 u302-351 b352-352 p353-477 p478-602 u603-652 b653-653 l654-778 l779-903 l904-1000 | e0-1000[l0-99 l226-300 l654-778 l779-903 l904-1000] p101-225 p353-477 p478-602
u0-1    | | default | | p0-0 u1-1

$four = p0-9 p10-19 p20-29 p30-39 u40-49
$full = p0-9 p10-19 p20-29 l30-39 u40-49
$nested = p0-9 l10-19 l20-29 p30-39
$four   | 40   | addpp | | = | = | $primaries
$four   | 0    | addpp | | =
$full   | 30   | addpp | | = | = | $primaries
$nested | 10   | addpp | | p0-9 p10-19 l20-29 p30-39 | p0-9 p10-19 e20-29[l20-29] p30-39
$four   | 40   | addld | | = | = | If you want to add a logical disk, you are not allowed to add more than 3 primary partitions.\nPlease delete at least one primary partition in order to do this.\s
$full   | 0 40 | addld | | l0-9 p10-19 p20-29 l30-39 u40-49 | e0-39[l0-9 l30-39] p10-19 p20-29
b0-9 u10-19 | 0 10 | addpp | | =
$nested | e    | delete  | | p0-9 u10-19 u20-29 p30-39 | p0-9 p30-39
$nested | 20   | delete  | | p0-9 l10-19 u20-29 p30-39 | p0-9 e10-19[l10-19] p30-39
$nested | 20   | up   | | $nested | p0-9 e20-19[l20-29 l10-19] p30-39
$nested | 10   | up   | | = | =
$nested | e    | down | | $nested | p0-9 p30-39 e10-29[l10-19 l20-29]

p0-4* u5-9 | 0 | split | | p0-1 p2-3 u5-9
p0-9 p10-19 p20-29 p30-39 | 0 | split3 | | p0-2 u3-5 u6-8 p10-19 p20-29 p30-39
p0-9 p10-19 l20-29 | 0 | split4 | | p0-1 p2-3 u4-5 u6-7 p10-19 l20-29
u0-0  | 0 | split   | | = | = | $small
u0-9  | 0 | splitn  | 0 | =
u0-9  | 0 | splitn  | 10 | u0-0 u1-1 u2-2 u3-3 u4-4 u5-5 u6-6 u7-7 u8-8 u9-9 |
u0-99 | 0 | sysdata | 1.7 3 | p0-16* p17-43 p44-70 p71-99
u0-99 | 0 | sysdata | 1.7 4 | p0-16* p17-36 p37-56 l57-76 l77-99
u0-99 | 0 | sysdata | 9.9 2 | = | = | $small
u0-99 | 0 | sysdata | 9.9 1 | p0-98* p99-99
u0-99 | 0 | sysdata | 10 1  | = | = | $small
u0-99 | 0 | sysdata | 0 | = | = | $small
u0-9 l10-19  | 0    | sysdata | | = | = | This command can only be used when there is no existing partition. Please delete any existing primary partition and logical disk to do this.
u0-9 p10-20* | 0 10 | combine | | p0-20 | p0-20
p0-9 b10-11 u12-14 | 0 10 12 | combine | | p0-14
u0-4 b5-19   | 0 5  | combine | | b0-19 |
l0-9 p10-19 p20-29 p30-39 | 0 10 | combine | | l0-19 p20-29 p30-39 | e0-19[l0-19] p20-29 p30-39
u0-9 u10-19 u20-29 | 0 20 | combine | | = | = | not continous parts

$plan = u0-9 p10-19 u20-24 u25-29 b30-31 l32-49
$zero = p0-19 u20-24 u25-29 b30-31 l32-49
$plan | 10 | start 1.2  | | u0-9 u10-11 p12-19 u20-24 u25-29 b30-31 l32-49
$plan | 10 | start 1.9  | | u0-9 u10-18 p19-19 u20-24 u25-29 b30-31 l32-49
$plan | 10 | start 1.05 | | =
$plan | 10 | start 2.0  | | = | = | partition start can not be larger than partition stop
$plan | 10 | start 0.5  | | u0-4 p5-19 u20-24 u25-29 b30-31 l32-49
$plan | 10 | start -3   | | $zero
$plan | 10 | start 0,5  | | u0-4 p5-19 u20-24 u25-29 b30-31 l32-49
$plan | 10 | start nan  | | = | = | "nan" is not a number of GB.
$plan | 10 | stop 1.2.4 | | = | = | "1.2.4" is not a number of GB.
$plan | 10 | stop 2.4   | | u0-9 p10-24 u25-29 b30-31 l32-49
$plan | 10 | stop 2.7   | | u0-9 p10-27 u28-29 b30-31 l32-49
$plan | 10 | stop 3.0   | | = | = | $back
$plan | 10 | stop 1.0   | | u0-9 p10-10 u11-19 u20-24 u25-29 b30-31 l32-49
$plan | 10 | stop 0.9   | | = | = | partition stop can not be less than partition start
$plan | 32 | start 3.1  | | = | = | can not find enough space to allocate the partition for the new start
$plan | 32 | start 3.5  | | u0-9 p10-19 u20-24 u25-29 b30-31 u32-34 l35-49 | p10-19 e35-49[l35-49]
$plan | e  | start 3.5  | | = | = | $missing
u0-7 p12-19 | 12 | start 1.0 | | u0-9 p10-19
p0-7 u12-19 | 0  | stop 0.9  | | p0-9 u10-19
)";

// The menu's entries and the buttons by name, "strategy 3", and "start 1.2" or the name of another
// column, which edit the row that the tree's cursor is in.
static void perform(DiskPartition &page, const QString &text)
{
    static const QStringList menu = {"addpp",  "addld",  "delpart", "split",  "split3",
                                     "split4", "splitn", "sysdata", "combine"},
                             columns = {"", "start", "stop", "", "type", "active"};
    const QMap<QString, QPushButton *> buttons = {
        {"up", page.upbutton}, {"down", page.downbutton}, {"delete", page.deletebutton}};
    const QString name = text.section(' ', 0, 0), argument = text.section(' ', 1);
    const QModelIndex row = page.treeview->currentIndex();
    if (menu.contains(name))
        page.actions[menu.indexOf(name)]->trigger();
    else if (buttons.contains(name))
        buttons[name]->click();
    else if (name == "strategy")
        page.onstrategychanged(argument.toInt());
    else if (name == "default")
        page.defaultpartition();
    else if (name == "resize")
        page.resizepartdiagram();
    else if (name == "undo" || name == "redo")
        name == "undo" ? page.undo() : page.redo();
    else if (row.isValid())
        page.treemodel->setData(row.siblingAtColumn(static_cast<int>(columns.indexOf(name))),
                                argument, Qt::EditRole);
}

TEST(Planner, Operations)
{
    DiskPartition page;
    QMap<QString, QString> names;
    for (const QString &line : QString(cases).split('\n', Qt::SkipEmptyParts)) {
        SCOPED_TRACE(line.toStdString());
        if (!line.contains('|')) {
            names[line.section(" = ", 0, 0)] = line.section(" = ", 1);
            continue;
        }
        QStringList fields;
        for (const QString &field : line.split('|'))
            fields.append(names.value(field.trimmed(), field.trimmed()));
        DialogAnswers dialogs;
        for (const QString &answer : fields[3].split(' ', Qt::SkipEmptyParts))
            dialogs.answers.append(answer == "x" ? QVariant() : answer.toDouble());
        const qsizetype asked = dialogs.answers.size();
        makeplan(page, fields[0]);
        ASSERT_EQ(blocktext(page.extparts), fields[0].toStdString());
        QList<std::uint64_t> starts;
        for (const QString &word : fields[1].split(' ', Qt::SkipEmptyParts))
            starts.append(word == "e" ? ~0ULL : word.toULongLong());
        selectblocks(page, starts);
        if (fields[1] == "e")
            page.treeview->setCurrentIndex(page.treemodel->extendindex());

        const std::string before = planstate(page);
        perform(page, fields[2]);
        EXPECT_EQ(planfaults(page), "");
        const bool same = fields[4] == "=";
        EXPECT_EQ(same ? planstate(page) : blocktext(page.extparts),
                  same ? before : fields[4].toStdString());
        const std::string rows = rowtext(*page.treemodel);
        EXPECT_EQ(fields.value(5, "=") == "=" ? rows : fields[5].toStdString(), rows);
        // "\n" and "\s" stand for a line's end and for a blank that ends a message
        EXPECT_EQ(dialogs.messages().join('|'),
                  fields.value(6).replace("\\n", "\n").replace("\\s", " "));
        EXPECT_EQ(dialogs.seen.size() - dialogs.messages().size(), asked);
    }
}

TEST(Planner, Dialogs)
{
    DiskPartition page;
    DialogAnswers dialogs; // what they offer: value, least, most, step, decimals
    makeplan(page, "u0-179 b180-180 u181-299");
    selectblocks(page, {0});
    dialogs.answers = {QVariant()};
    for (const char *operation : {"splitn", "sysdata", "strategy 4", "strategy 5"})
        perform(page, operation);
    QString texts;
    for (const DialogAnswers::Seen &one : dialogs.seen)
        QDebug(&texts).noquote() << one.title.section(' ', 0, 0) << one.value << one.minimum
                                 << one.maximum << one.step << one.decimals;
    EXPECT_EQ(texts, "n 2 0 50 1 0 System 3 0 18 1 1 Data 3 1 50 1 0 Input 2 1 2 1 0 "
                     "Max 20 0 30 1 1 Min 0 0 30 1 1 ");
    // a typed comma is the point in every locale, and no sign of thousands
    for (const char *locale : {"de_DE", "en_US"}) {
        QLocale::setDefault(QLocale(locale));
        for (const char *typed : {"7,5", "7.5"}) {
            dialogs.answers = {typed, 0.0};
            perform(page, "strategy 5");
            EXPECT_EQ(page.extparts.first()->stop, 74U) << locale << typed;
        }
    }
    QLocale::setDefault(QLocale::c());
}

static int refusals = 0, changes = 0;

// Plans at random, as a user without any plan would, and checks the plan after each step.
static void walk(const QString &plan, unsigned seed, int steps)
{
    std::mt19937 random(seed);
    const auto below = [&random](qsizetype limit) { return int(random() % unsigned(limit)); };
    DiskPartition page;
    PartTreeModel &model = *page.treemodel;
    const QAbstractItemModelTester tester(&model,
                                          QAbstractItemModelTester::FailureReportingMode::Fatal);
    DialogAnswers dialogs;
    bool cancelled = false;
    dialogs.fallback = [&](const DialogAnswers::Seen &box) -> QVariant {
        cancelled = below(8) == 0;
        // the small numbers are those that do something
        const double range = (box.maximum - box.minimum) / (below(2) ? 1 : 10);
        return cancelled ? QVariant() : box.minimum + range * below(1001) / 1000;
    };
    bool told = false; // whether views heard of the extended row's bounds
    const auto listen = [&](const QModelIndex &from, const QModelIndex &to) {
        told |= from.siblingAtColumn(0) == model.extendindex() && from.column() <= 1 &&
                to.column() >= 3;
    };
    QObject::connect(&model, &QAbstractItemModel::dataChanged, listen);
    const auto bounds = [&model] {
        const EXTPART part = model.extendpart ? *model.extendpart : EXTPART();
        return std::array{part.start, part.stop, part.size};
    };
    static const QStringList operations = {"addpp",   "addld",   "addpp",  "addld",   "delpart",
                                           "split",   "split3",  "split4", "resize",  "split",
                                           "splitn",  "sysdata", "up",     "down",    "delete",
                                           "combine", "combine", "type ",  "active ", "start ",
                                           "stop ",   "start ",  "stop ",  "undo",    "redo"};
    static const QStringList junk = {"", "-1", "nan", "inf", "1e30", "x"};
    makeplan(page, plan);
    page.undostack->clear();
    QList<PlanState> states = {page.save()}; // by the number of steps that are done
    const QList<EXTPART *> &blocks = page.extparts;
    for (int step = 0; step < steps && !testing::Test::HasFailure(); step++) {
        SCOPED_TRACE(std::to_string(seed) + ", " + std::to_string(step) + ": " + blocktext(blocks));
        // every cut adds blocks, and nothing but a strategy takes them all away
        const bool restart = blocks.size() > 100 || below(60) == 0;
        if (below(2) == 0 && !restart && !blocks.empty()) {
            QList<std::uint64_t> starts;
            for (const EXTPART *part : blocks.mid(below(blocks.size()), 1 + below(3)))
                starts.append((below(10) ? part : blocks[below(blocks.size())])->start);
            selectblocks(page, starts);
        }
        if (below(3) == 0) {
            const QModelIndex top = model.index(below(model.rowCount() + 1), 0);
            const QModelIndex child = model.index(below(model.rowCount(top) + 1), 0, top);
            page.treeview->setCurrentIndex(child.isValid() ? child : top);
        }
        QList<QPersistentModelIndex> held;
        for (const EXTPART *part : blocks)
            held.append(model.findpart(part));
        const QPersistentModelIndex extended = model.extendindex();
        const auto boundsbefore = bounds();
        cancelled = told = false;
        dialogs.takeseen();
        const int done = page.undostack->index();
        const std::string before = planstate(page);
        QString what = operations[below(operations.size())];
        const bool typed = what.startsWith('s') && what.endsWith(' ');
        const QModelIndex row = page.treeview->currentIndex();
        const double shown = row.siblingAtColumn(what == "start " ? 1 : 2).data().toDouble();
        if (restart)
            what = below(2) ? "default" : "strategy " + QString::number(below(6));
        else if (typed && below(8))
            what += QString::number(shown + (below(21) - 10) / 10.0 + 0.00001, 'f', 7);
        else if (what.endsWith(' '))
            what += typed ? junk[below(6)] : QString::number(below(256));
        perform(page, what);
        const std::string after = planstate(page);
        const bool refused = cancelled || !dialogs.messages().isEmpty();
        EXPECT_EQ(planfaults(page), "");
        EXPECT_EQ(after, refused && !restart ? before : after);
        EXPECT_EQ(told || !extended.isValid() ? boundsbefore : bounds(), boundsbefore);
        for (const QPersistentModelIndex &one : held)
            EXPECT_EQ(one, one.isValid() ? model.findpart(&partof(one)) : QModelIndex());
        refusals += refused;
        changes += after != before;
        if (PlanState state = page.save(); !what.endsWith("do") && state != states[done]) {
            states.resize(done + 1);
            states.append(std::move(state));
        }
        EXPECT_TRUE(page.save() == states[page.undostack->index()]);
    }

    // back to the start and forth to the end
    ASSERT_EQ(page.undostack->count() + 1, states.size());
    for (qsizetype i = page.undostack->index(), by = -1; i < states.size(); i += by) {
        EXPECT_TRUE(page.save() == states[i]) << i;
        EXPECT_EQ(planfaults(page), "") << i;
        by = i == 0 ? 1 : by;
        by < 0 ? page.undo() : page.redo();
    }
    EXPECT_EQ(page.undostack->canRedo(), false);
}

TEST(PlannerWalk, KeepsEveryInvariant)
{
    // a dozen bad stretches among 1000 cylinders
    QString damaged = "u0-39";
    for (int i = 0, bad = 40; i < 12; i++, bad += 77)
        damaged += QString(" b%1-%2 u%3-%4").arg(bad).arg(bad + i).arg(bad + i + 1).arg(bad + 76);
    walk(damaged, 1, 2400);
    for (unsigned seed = 5; seed <= 6; seed++)
        walk("u0-39 u40-99", seed, 400);
    walk("u0-0", 7, 200);
    walk("b0-99", 8, 200);
    walk("", 9, 50);
    // a walk that only meets refusals, or none, shows nothing
    EXPECT_GT(refusals, 300);
    EXPECT_GT(changes, 1200);
}
