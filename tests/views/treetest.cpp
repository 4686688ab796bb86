// Catches a cell that shows, or an editor that stores, another value than the user reads or types.
#include "tests/support/dialogs.h"
#include "tests/views/viewsfixture.h"

#include <QSignalSpy>

class Tree : public ViewsTest
{
protected:
    /// Opens the cell's editor as a double-click does, types `text` over what it shows, if there
    /// is one, and presses Return. Returns what it showed first: text, number of entries, last one.
    QString edit(const QModelIndex &index, int column, const QString &text = {})
    {
        page.treeview->setCurrentIndex(index.siblingAtColumn(column));
        page.treeview->edit(index.siblingAtColumn(column));
        auto *box = page.treeview->viewport()->findChild<QComboBox *>();
        if (!box)
            return "no editor";
        const QString last = box->itemText(box->count() - 1);
        EXPECT_GE(box->width(), box->fontMetrics().horizontalAdvance(last));
        EXPECT_TRUE(box->accessibleName().endsWith(" of " + page.treemodel->rowname(index)));
        const QString shown = QString("%1, %2: %3").arg(box->currentText()).arg(box->count());
        if (box->lineEdit() && !text.isNull()) {
            box->lineEdit()->selectAll();
            QTest::keyClick(box, Qt::Key_Delete);
        }
        QTest::keyClicks(box, text);
        QTest::keyClick(box, Qt::Key_Return);
        QApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        return shown.arg(last);
    }

    DialogAnswers dialogs;
};

TEST_F(Tree, EditorsStoreTypesByNameAndByNumber)
{
    const std::pair<const char *, int> table[] = {
        {"Linux Swap", 0x82}, {"1b", 0x1B},    {"0x1b", 0x1B}, {"f", 0x0F},
        {"ef", 0xEF},         {"ntfs", 0xEF}, // a text that names no type leaves the cell as it was
        {"", 0xEF},           {"0x1FF", 0xFF}, {"NTFS", 0x07}, {"83", 0x83}};
    for (const auto &[text, byte] : table) {
        edit(row(2), 4, text);
        EXPECT_EQ(block(2)->systype, byte) << text;
    }
    EXPECT_EQ(edit(row(2), 4), "Linux, 10: Linux Extended");
    EXPECT_EQ(block(2)->systype, 0x83);
    block(2)->systype = 0;
    EXPECT_EQ(edit(row(2), 4), "Extended, 11: 0x0");
    EXPECT_EQ(edit(row(2), 5, "Active"), "Inactive, 2: Active");
    EXPECT_EQ(block(2)->bootflag, 0x80);
    EXPECT_EQ(edit(row(2), 5, "Inactive"), "Active, 2: Active");
    EXPECT_EQ(block(2)->bootflag, 0);
    // The logical disks' row takes any type too, but its bounds follow theirs. A stop is where the
    // last cylinder begins.
    const QModelIndex extended = page.treemodel->extendindex();
    QStringList cells;
    for (int column = 0; column < 6; column++)
        cells += extended.siblingAtColumn(column).data().toString();
    EXPECT_EQ(cells.join(' '), "Primary Extended 41.1 82.2 41.1 Extended(BIG) Inactive");
    edit(extended, 4, "0xa5");
    EXPECT_EQ(page.treemodel->extendpart->systype, 0xA5);
    EXPECT_EQ(extended.siblingAtColumn(4).data(), "0xa5");
    EXPECT_EQ(edit(extended, 1) + edit(row(2), 0) + edit(row(2), 3), "no editorno editorno editor");
    // A partition of another kind starts as NTFS.
    select("2");
    page.addld();
    EXPECT_EQ(block(2)->systype, 7);
    EXPECT_TRUE(dialogs.seen.isEmpty());
}

TEST_F(Tree, EditorsMoveBoundariesToPositionsAndNeighbours)
{
    const QString after = "right after the previous partition";
    const QString before = "right before the next partition";
    EXPECT_EQ(edit(row(4), 1), "41.1, 2: " + after);
    EXPECT_EQ(block(4)->start, 5001u);
    // 45.0 GB lie in cylinder 5470, 60.0 in 7294; bad blocks on both sides are the neighbours.
    edit(row(4), 1, "45");
    edit(row(5), 2, "60");
    EXPECT_EQ(blocktext(page.extparts.mid(4, 3)), "u5001-5469 l5470-7294 u7295-9999");
    EXPECT_EQ(row(5).siblingAtColumn(3).data(), "15.0");
    EXPECT_EQ(block(5)->item->toolTip(), "Start:45.0GB\nStop:60.0GB\nSize:15.0GB");
    edit(row(5), 1, after);
    edit(row(4), 2, before);
    EXPECT_EQ(blocktext(page.extparts.mid(4, 2)), "l5001-9999 b10000-10999");
    // A free neighbour is passed over: the next partition lies behind it.
    select("2");
    page.splitpart();
    select("2");
    page.addld();
    edit(row(2), 2, "20");
    edit(row(2), 2, before);
    EXPECT_EQ(blocktext(page.extparts.mid(2, 2)), "l1010-3004 p3005-4999");

    // Nothing lies before the first partition and behind the last.
    for (const char *place : {"0", "7"}) {
        select(place);
        page.addpp();
    }
    const QSignalSpy changed(page.treemodel, &QAbstractItemModel::dataChanged);
    edit(row(0), 1, after);
    edit(row(7), 2, before);
    edit(row(5), 1, "41.1");
    EXPECT_TRUE(dialogs.seen.isEmpty());
    edit(row(5), 1, "1.0");
    EXPECT_EQ(dialogs.messages().size(), 1);
    EXPECT_TRUE(changed.isEmpty());
}
