#include "tests/support/dialogs.h"
#include "tests/views/viewsfixture.h"

#include <QComboBox>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTreeView>

namespace
{
class Delegate : public ViewsTest
{
protected:
    /// Opens the cell's editor as a double-click does, types or picks `text` and presses Return.
    bool edit(const QModelIndex &row, int column, const QString &text)
    {
        QComboBox *box = editor(row, column);
        if (!box)
            return false;
        if (box->isEditable()) {
            box->lineEdit()->selectAll();
            QTest::keyClick(box->lineEdit(), Qt::Key_Delete);
            QTest::keyClicks(box->lineEdit(), text);
        } else {
            box->setCurrentText(text);
        }
        finish(box);
        return true;
    }

    QComboBox *editor(const QModelIndex &row, int column)
    {
        const QModelIndex index = row.siblingAtColumn(column);
        page.treeview->setCurrentIndex(index);
        page.treeview->edit(index);
        return page.treeview->viewport()->findChild<QComboBox *>();
    }

    void finish(QComboBox *box)
    {
        QTest::keyClick(box, Qt::Key_Return);
        QApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    static QStringList items(const QComboBox &box)
    {
        QStringList texts;
        for (int i = 0; i < box.count(); i++)
            texts.append(box.itemText(i));
        return texts;
    }

    DialogAnswers answers;
};

TEST_F(Delegate, StoresTypesByNameAndByNumber)
{
    const QModelIndex row = assign(2, 'p');
    const struct {
        const char *text;
        int byte;
    } table[] = {{"Linux Swap", 0x82}, {"1b", 0x1B}, {"0x1b", 0x1B},  {"f", 0x0F}, {"ef", 0xEF},
                 {"ntfs", 0},          {"", 0},      {"0x1FF", 0xFF}, {"NTFS", 7}};
    for (const auto &[text, byte] : table) {
        ASSERT_TRUE(edit(row, 4, text));
        EXPECT_EQ(block(2)->systype, byte) << text;
    }
    // The logical disks' row takes any type too.
    assign(4, 'l');
    ASSERT_TRUE(edit(page.treemodel->extendindex(), 4, "0x85"));
    EXPECT_EQ(page.treemodel->extendpart->systype, 0x85);

    block(2)->systype = 0x83;
    QComboBox *box = editor(row, 4);
    EXPECT_EQ(box->currentText(), "Linux");
    EXPECT_EQ(box->count(), 10);
    finish(box);
    EXPECT_EQ(block(2)->systype, 0x83);
    block(2)->systype = 0xA5;
    box = editor(row, 4);
    EXPECT_EQ(box->currentText(), "Extended");
    EXPECT_EQ(box->count(), 11);
    EXPECT_EQ(box->itemText(10), "0xa5");
    finish(box);
    EXPECT_EQ(block(2)->systype, 5);

    ASSERT_TRUE(edit(row, 5, "Active"));
    EXPECT_EQ(block(2)->bootflag, 0x80);
    box = editor(row, 5);
    EXPECT_EQ(box->currentText(), "Active");
    finish(box);
    ASSERT_TRUE(edit(row, 5, "Inactive"));
    EXPECT_EQ(block(2)->bootflag, 0);
    EXPECT_TRUE(answers.seen.isEmpty());
}

TEST_F(Delegate, MovesBoundariesToPositionsAndNeighbours)
{
    const QModelIndex row = assign(2, 'l');
    const QString after = "right after the previous partition";
    const QString before = "right before the next partition";
    QComboBox *box = editor(row, 1);
    EXPECT_EQ(items(*box), QStringList({"8.3", after}));
    finish(box);
    EXPECT_EQ(block(2)->start, 1010u);

    // 12.4 GB lie in cylinder 1507, 20.0 in 2431; what is given up becomes blocks of its own.
    ASSERT_TRUE(edit(row, 1, "12.4"));
    ASSERT_TRUE(edit(row, 2, "20"));
    ASSERT_EQ(page.extparts.size(), 9);
    EXPECT_EQ(block(3)->start, 1507u);
    EXPECT_EQ(block(3)->stop, 2431u);
    EXPECT_EQ(page.treemodel->extendsize, 2431u - 1507 + 1);
    EXPECT_EQ(page.treemodel->extendpart->start, 1507u);
    EXPECT_EQ(row.siblingAtColumn(3).data(), "7.6");
    // Bad blocks on both sides are the neighbours.
    ASSERT_TRUE(edit(row, 1, after));
    ASSERT_TRUE(edit(row, 2, before));
    ASSERT_EQ(page.extparts.size(), 7);
    EXPECT_EQ(block(2)->start, 1010u);
    EXPECT_EQ(block(2)->stop, 4999u);

    // Nothing lies before the first partition and behind the last.
    QSignalSpy changed(page.treemodel, &QAbstractItemModel::dataChanged);
    ASSERT_TRUE(edit(assign(0, 'p'), 1, after));
    ASSERT_TRUE(edit(assign(6, 'p'), 2, before));
    ASSERT_TRUE(edit(page.treemodel->findpart(block(2)), 1, "8.3"));
    EXPECT_TRUE(changed.isEmpty());
    EXPECT_TRUE(answers.seen.isEmpty());
    ASSERT_TRUE(edit(page.treemodel->findpart(block(2)), 1, "1.0"));
    EXPECT_TRUE(changed.isEmpty());
    EXPECT_EQ(answers.messages().size(), 1);
    // A free neighbour is passed over: the logical disk in front of it is the next partition.
    assign(4, 'l');
    const QModelIndex second = page.treemodel->findpart(block(4));
    ASSERT_TRUE(edit(second, 2, "60"));
    ASSERT_TRUE(edit(second, 2, before));
    EXPECT_EQ(block(4)->stop, 9999u);
    EXPECT_EQ(page.treemodel->extendsize, 3990u + 4999);
}
} // namespace
