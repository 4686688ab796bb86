#include "tests/support/planchecker.h"

#include "views/diagramlayout.h"

void makeplan(DiskPartition &page, const QString &text, std::uint32_t bytespersector,
              std::uint32_t sectorspertrack, std::uint32_t heads)
{
    page.clearall();
    const QStringList words = text.split(' ', Qt::SkipEmptyParts);
    for (const QString &word : words) {
        const auto end = [&word](int i) {
            return word.mid(1).remove('*').section('-', i, i).toULongLong();
        };
        page.segs.push_back({end(0), end(1), word[0] == 'b' ? 1 : 0});
    }
    const std::uint64_t cylinders = page.segs.empty() ? 0 : page.segs.back().stop + 1;
    g = withfactors({.totalbytes = cylinders * heads * sectorspertrack * bytespersector},
                    bytespersector, sectorspertrack, heads);
    page.constructextparts();
    page.initpartdiagram();
    for (int i = 0; i < words.size(); i++) {
        selectblocks(page, {page.extparts[i]->start});
        if (const qsizetype entry = QString("pl").indexOf(words[i][0]); entry >= 0)
            page.actions[entry]->trigger();
        page.extparts[i]->bootflag = words[i].endsWith('*') ? 0x80 : 0;
    }
    selectblocks(page, {});
}

void selectblocks(DiskPartition &page, const QList<std::uint64_t> &starts)
{
    page.diagramscene->clearSelection();
    for (EXTPART *part : page.extparts)
        part->item->setSelected(starts.contains(part->start));
}

static std::string parttext(const EXTPART &part)
{
    return part.kind + std::to_string(part.start) + '-' + std::to_string(part.stop) +
           (part.bootflag ? "*" : "");
}

std::string blocktext(const QList<EXTPART *> &blocks)
{
    std::string text;
    for (const EXTPART *part : blocks)
        text += (text.empty() ? "" : " ") + parttext(*part);
    return text;
}

std::string rowtext(const PartTreeModel &model, const QModelIndex &parent)
{
    std::string text;
    for (int row = 0; row < model.rowCount(parent); row++) {
        const QModelIndex index = model.index(row, 0, parent);
        text += (row ? " " : "") + parttext(partof(index));
        if (model.hasChildren(index))
            text += '[' + rowtext(model, index) + ']';
    }
    return text;
}

const EXTPART &partof(const QModelIndex &index)
{
    return *static_cast<PartTreeNode *>(index.internalPointer())->part;
}

std::string planfaults(const DiskPartition &page)
{
    std::string faults, name = "plan";
    const auto expect = [&faults, &name](bool holds, const char *what) {
        faults += holds ? "" : name + ": " + what + '\n';
    };
    const PartTreeModel &model = *page.treemodel;
    const QModelIndex extended = model.extendindex();
    int primaries = 0, logicals = 0;
    std::uint64_t logicalsize = 0;
    const EXTPART *before = nullptr;
    for (const EXTPART *part : page.extparts) {
        expect(!before || before->stop < part->start, "order");
        before = part;
        name = parttext(*part);
        expect(part->start <= part->stop && part->size == part->stop - part->start + 1, "size");
        static const QColor colors[] = {Qt::green, Qt::black, Qt::darkGreen, Qt::blue};
        const qsizetype kind = QString("ubpl").indexOf(part->kind);
        expect(kind >= 0 && part->fillcolor == colors[kind], "kind or colour");
        const bool isprimary = kind == 2, islogical = kind == 3;
        primaries += isprimary;
        logicals += islogical;
        logicalsize += islogical ? part->size : 0;
        const QModelIndex row = model.findpart(part);
        expect(row.isValid() == (isprimary || islogical), "row");
        expect(row.parent() == (islogical ? extended : QModelIndex()), "parent");
        const QString kindname = isprimary ? "Primary Partition" : "Logical Disk";
        expect(!row.isValid() || part->name == kindname, "name");
        // an item for each block, and as many in all: none is left over
        const PartItem *item = part->item;
        expect(item && item->part == part && item->scene() == page.diagramscene, "item");
        expect(part->rect == itemrect(part->size, page.widthpersize, page.itemheight), "rect");
        expect(item && item->pos() == itempos(part->start, part->size, page.widthpersize), "pos");
    }
    name = "plan";
    expect(page.diagramscene->items().size() == page.extparts.size(), "number of items");
    expect(page.primarynum == primaries && page.logicalnum == logicals, "counters");
    const int top = model.rowCount(), children = extended.isValid() ? model.rowCount(extended) : 0;
    expect(top <= 4 && top == primaries + (logicals > 0), "top-level rows");
    expect(children == logicals && extended.isValid() == (logicals > 0), "logical rows");
    expect(model.extendsize == logicalsize, "extendsize");
    const EXTPART *entry = model.extendpart;
    expect((entry != nullptr) == extended.isValid(), "extended row");
    if (entry && children > 0) {
        expect(entry->kind == 'e' && entry->size == logicalsize && !entry->item, "extended entry");
        expect(entry->start == partof(model.index(0, 0, extended)).start, "extended start");
        expect(entry->stop == partof(model.index(children - 1, 0, extended)).stop, "extended stop");
    }
    return faults;
}

std::string planstate(const DiskPartition &page)
{
    QString text;
    QDebug out(&text);
    const auto add = [&out](const EXTPART &part) {
        out << '\n' << parttext(part).c_str() << part.size << part.name << part.bootflag;
        out << part.systype << part.bordercolor << part.fillcolor << part.rect << part.item;
        if (part.item)
            out << part.item->pos() << part.item->isSelected() << part.item->toolTip();
    };
    for (const EXTPART *part : page.extparts)
        add(*part);
    for (const EXTPART &part : page.treemodel->getallparts())
        add(part);
    out << '\n' << rowtext(*page.treemodel).c_str() << page.primarynum << page.logicalnum;
    out << page.widthpersize << page.itemheight << page.totalblocksize;
    out << page.treemodel->extendsize << page.treeview->currentIndex();
    out << page.diagramscene->items().size() << page.strategybox->currentIndex();
    return text.toStdString();
}
