#include "views/partdelegate.h"

#include "core/geom.h"
#include "plan/systypes.h"
#include "views/parttreemodel.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>

#include <algorithm>

namespace
{
constexpr char afterprevious[] = "right after the previous partition";
constexpr char beforenext[] = "right before the next partition";

/// A cylinder's position in GB, raised by 10,000 bytes so that rounding down lands on it again.
QString exacttext(std::uint64_t cylinder)
{
    return QString::number(cylinderstogb(cylinder, g) + 0.00001, 'f', 7);
}

/// The text that stands for one of the two phrases: the cell's own, which changes nothing, if
/// there is no neighbour.
QString neighbourtext(const QModelIndex &index)
{
    const auto *model = qobject_cast<const PartTreeModel *>(index.model());
    bool found = false;
    if (model && index.column() == startcolumn) {
        const std::uint64_t stop = model->getprevpartstop(index, found);
        if (found)
            return exacttext(stop + 1);
    } else if (model) {
        const std::uint64_t start = model->getnextpartstart(index, found);
        if (found && start > 0)
            return exacttext(start - 1);
    }
    return index.data(Qt::EditRole).toString();
}

/// The byte of a typed type: a known name, else hexadecimal; 0 for what is neither, and `read` is
/// false then.
std::uint8_t readsystype(const QString &text, bool &read)
{
    read = true;
    for (const SYSTYPE &known : systypes) {
        if (text == QString(known.name))
            return known.type;
    }
    return static_cast<std::uint8_t>(text.toInt(&read, 16));
}

/// Says of which cell the editor is.
void nameeditor(QComboBox *box, const QModelIndex &index)
{
    const auto *model = qobject_cast<const PartTreeModel *>(index.model());
    if (!model)
        return;
    const QString column =
        model->headerData(index.column(), Qt::Horizontal, Qt::DisplayRole).toString();
    box->setAccessibleName(column + " of " + model->rowname(index));
    // where a combo box's name is its present text, what it is for comes from its label
    auto *label = new QLabel(box->accessibleName(), box);
    label->setBuddy(box);
    label->hide();
}
} // namespace

PartDelegate::PartDelegate(int active, int type, QObject *parent)
    : QItemDelegate(parent), activecolumn(active), typecolumn(type)
{
}

QWidget *PartDelegate::createEditor(QWidget *parent, const QStyleOptionViewItem &option,
                                    const QModelIndex &index) const
{
    const int column = index.column();
    if (column != typecolumn && column != activecolumn && column != startcolumn &&
        column != stopcolumn)
        return QItemDelegate::createEditor(parent, option, index);

    auto *box = new QComboBox(parent);
    nameeditor(box, index);
    // else the width is that of the empty box
    box->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    if (column == activecolumn) {
        box->addItems({"Inactive", "Active"});
        return box;
    }
    box->setEditable(true);
    box->lineEdit()->setAccessibleName(box->accessibleName());
    // What is typed counts as it stands: completion would turn "f" into "FAT16", and "1" into the
    // cell's present "12.3".
    box->setCompleter(nullptr);
    box->setInsertPolicy(QComboBox::NoInsert);
    if (column == typecolumn) {
        for (const SYSTYPE &known : systypes)
            box->addItem(known.name);
    } else {
        box->addItem(index.data(Qt::DisplayRole).toString());
        box->addItem(column == startcolumn ? afterprevious : beforenext);
    }
    return box;
}

void PartDelegate::setEditorData(QWidget *editor, const QModelIndex &index) const
{
    auto *box = qobject_cast<QComboBox *>(editor);
    if (box && index.column() == typecolumn) {
        const auto type = static_cast<std::uint8_t>(index.data(Qt::EditRole).toInt());
        const QString text = systypetext(type);
        const int item = box->findText(text, Qt::MatchExactly | Qt::MatchCaseSensitive);
        if (getsystypename(type))
            box->setCurrentIndex(item);
        else if (item < 0)
            box->addItem(text);
    } else if (box && index.column() == activecolumn) {
        box->setCurrentIndex(index.data(Qt::EditRole).toInt() == 0 ? 0 : 1);
    } else {
        QItemDelegate::setEditorData(editor, index);
    }
}

void PartDelegate::setModelData(QWidget *editor, QAbstractItemModel *model,
                                const QModelIndex &index) const
{
    auto *box = qobject_cast<QComboBox *>(editor);
    const int column = index.column();
    if (box && column == typecolumn) {
        bool read = false;
        const std::uint8_t type = readsystype(box->currentText(), read);
        if (read)
            model->setData(index, static_cast<int>(static_cast<std::int8_t>(type)), Qt::EditRole);
    } else if (box && column == activecolumn) {
        model->setData(index, box->currentIndex() == 0 ? 0 : 0x80, Qt::EditRole);
    } else if (box && (column == startcolumn || column == stopcolumn)) {
        QString text = box->currentText();
        if (text == (column == startcolumn ? afterprevious : beforenext))
            text = neighbourtext(index);
        model->setData(index, text, Qt::EditRole);
    } else {
        QItemDelegate::setModelData(editor, model, index);
    }
}

void PartDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option,
                         const QModelIndex &index) const
{
    QStyleOptionViewItem aligned(option);
    if (index.column() >= startcolumn && index.column() <= sizecolumn)
        aligned.displayAlignment = Qt::AlignRight | Qt::AlignVCenter;
    QItemDelegate::paint(painter, aligned, index);
}

QSize PartDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QComboBox box;
    box.setFont(option.font);
    const QSize size = QItemDelegate::sizeHint(option, index);
    return {size.width(), std::max(size.height(), box.sizeHint().height())};
}

void PartDelegate::updateEditorGeometry(QWidget *editor, const QStyleOptionViewItem &option,
                                        const QModelIndex &) const
{
    QRect place = option.rect;
    place.setWidth(std::min(std::max(place.width(), editor->sizeHint().width()),
                            editor->parentWidget()->width()));
    place.moveRight(std::min(place.right(), editor->parentWidget()->width() - 1));
    editor->setGeometry(place);
}
