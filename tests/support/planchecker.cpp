#include "tests/support/planchecker.h"

#include "planner/diskpartition.h"
#include "views/diagramlayout.h"
#include "views/graphicsscene.h"
#include "views/partitem.h"
#include "views/parttreemodel.h"

#include <QComboBox>
#include <QDebug>
#include <QHash>
#include <QTreeView>

static QString parttext(const EXTPART &part)
{
    return QString("%1%2-%3").arg(QChar(part.kind)).arg(part.start).arg(part.stop);
}

void makeplan(DiskPartition &page, const QString &text)
{
    page.clearall();
    const QStringList words = text.split(' ', Qt::SkipEmptyParts);
    for (const QString &word : words) {
        const QStringList bounds = word.mid(1).split('-');
        page.segs.push_back(
            {bounds[0].toULongLong(), bounds[1].toULongLong(), word[0] == 'b' ? 1 : 0});
    }
    g = {};
    g.heads = 200;
    g.sectorspertrack = 1000;
    g.bytespersector = 500;
    g.cylinders = page.segs.empty() ? 0 : page.segs.back().stop + 1;
    g.sectorspercyl = 200'000;
    g.bytespercyl = 100'000'000;
    g.totalbytes = g.cylinders * g.bytespercyl;
    g.totalsectors = g.totalbytes / g.bytespersector;
    page.constructextparts();
    page.initpartdiagram();
    for (int i = 0; i < words.size(); i++) {
        selectblocks(page, {page.extparts[i]->start});
        if (words[i][0] == 'p')
            page.addpp();
        else if (words[i][0] == 'l')
            page.addld();
    }
    selectblocks(page, {});
}

void selectblocks(DiskPartition &page, const QList<std::uint64_t> &starts)
{
    page.diagramscene->clearSelection();
    for (EXTPART *part : page.extparts)
        part->item->setSelected(starts.contains(part->start));
}

std::string blocktext(const DiskPartition &page)
{
    QStringList words;
    for (const EXTPART *part : page.extparts)
        words.append(parttext(*part));
    return words.join(' ').toStdString();
}

static QString rowstext(const PartTreeModel &model, const QModelIndex &parent)
{
    QStringList words;
    for (int row = 0; row < model.rowCount(parent); row++) {
        const QModelIndex index = model.index(row, 0, parent);
        QString word = parttext(*static_cast<PartTreeNode *>(index.internalPointer())->part);
        if (model.rowCount(index) > 0)
            word += '[' + rowstext(model, index) + ']';
        words.append(word);
    }
    return words.join(' ');
}

std::string rowtext(const DiskPartition &page)
{
    return rowstext(*page.treemodel, {}).toStdString();
}

namespace
{
class Faults
{
public:
    QStringList lines;

    void expect(bool holds, const QString &what)
    {
        if (!holds)
            lines.append(what);
    }
};
} // namespace

static void checkblock(const DiskPartition &page, const EXTPART &part, Faults &faults)
{
    const QString name = parttext(part);
    static const QHash<char, QColor> colors = {
        {'u', Qt::green}, {'b', Qt::black}, {'p', Qt::darkGreen}, {'l', Qt::blue}};
    faults.expect(part.start <= part.stop && part.size == part.stop - part.start + 1,
                  name + ": size");
    faults.expect(colors.contains(part.kind) && part.fillcolor == colors[part.kind],
                  name + ": kind or colour");

    const QModelIndex row = page.treemodel->findpart(&part);
    if (part.kind == 'p' || part.kind == 'l') {
        faults.expect(row.isValid() &&
                          row.parent() ==
                              (part.kind == 'p' ? QModelIndex() : page.treemodel->extendindex()),
                      name + ": row");
        faults.expect(QString(part.name) ==
                          (part.kind == 'p' ? "Primary Partition" : "Logical Disk"),
                      name + ": name");
    } else {
        faults.expect(!row.isValid(), name + ": has a row");
    }

    const PartItem *item = part.item;
    faults.expect(item && item->part == &part && item->scene() == page.diagramscene,
                  name + ": item");
    if (!item)
        return;
    faults.expect(part.rect == itemrect(part.size, page.widthpersize, page.itemheight) &&
                      item->pos() == itempos(part.start, part.size, page.widthpersize),
                  name + ": layout");
}

std::string planfaults(const DiskPartition &page)
{
    Faults faults;
    QHash<char, int> kinds;
    std::uint64_t logicalsize = 0;
    const EXTPART *before = nullptr;
    for (const EXTPART *part : page.extparts) {
        faults.expect(!before || before->stop < part->start, parttext(*part) + ": order");
        checkblock(page, *part, faults);
        kinds[part->kind]++;
        logicalsize += part->kind == 'l' ? part->size : 0;
        before = part;
    }
    for (const QGraphicsItem *item : page.diagramscene->items()) {
        faults.expect(page.extparts.contains(static_cast<const PartItem *>(item)->part),
                      "an item without a block");
    }
    faults.expect(page.diagramscene->items().size() == page.extparts.size(), "number of items");

    const PartTreeModel &model = *page.treemodel;
    faults.expect(page.primarynum == kinds['p'] && page.logicalnum == kinds['l'], "counters");
    const int top = model.rowCount();
    faults.expect(top <= 4 && top == kinds['p'] + (kinds['l'] > 0 ? 1 : 0), "top-level rows");
    faults.expect(model.extendsize == logicalsize, "extendsize");
    const QModelIndex extended = model.extendindex();
    faults.expect(extended.isValid() == (kinds['l'] > 0) &&
                      (model.extendpart != nullptr) == extended.isValid(),
                  "extended row");
    const int count = model.rowCount(extended);
    if (extended.isValid() && model.extendpart && count > 0) {
        const auto child = [&model, &extended](int row) {
            return static_cast<PartTreeNode *>(model.index(row, 0, extended).internalPointer())
                ->part;
        };
        const EXTPART &entry = *model.extendpart;
        faults.expect(count == kinds['l'], "logical rows");
        faults.expect(entry.kind == 'e' && entry.start == child(0)->start &&
                          entry.stop == child(count - 1)->stop && entry.size == logicalsize &&
                          !entry.item,
                      "extended entry");
    }
    return faults.lines.join('\n').toStdString();
}

std::string planstate(const DiskPartition &page)
{
    QStringList lines;
    const auto add = [&lines](const EXTPART &part) {
        QString line;
        QDebug(&line).nospace() << parttext(part) << ' ' << part.size << ' ' << part.name << ' '
                                << part.bootflag << ' ' << part.systype << ' ' << part.bordercolor
                                << part.fillcolor << part.rect << part.item;
        if (part.item)
            QDebug(&line) << part.item->pos() << part.item->isSelected() << part.item->toolTip();
        lines.append(line);
    };
    for (const EXTPART *part : page.extparts)
        add(*part);
    for (const EXTPART &part : page.treemodel->getallparts())
        add(part);
    QString rest;
    QDebug(&rest) << rowtext(page).c_str() << page.primarynum << page.logicalnum
                  << page.widthpersize << page.itemheight << page.totalblocksize
                  << page.treemodel->extendsize << page.treeview->currentIndex()
                  << page.diagramscene->items().size() << page.strategybox->currentIndex();
    lines.append(rest);
    return lines.join('\n').toStdString();
}
