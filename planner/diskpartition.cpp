#include "planner/diskpartition.h"

#include "scan/diskscanpage.h"
#include "views/blockpaint.h"
#include "views/diagramaccessible.h"
#include "views/diagramruler.h"
#include "views/diskdetails.h"
#include "views/graphicsscene.h"
#include "views/graphicsview.h"
#include "views/partdelegate.h"
#include "views/parttreemodel.h"
#include "views/plainbox.h"
#include "views/scrolledtext.h"
#include "views/treeview.h"
#include "wizard/dpwizard.h"

#include <QAction>
#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QPixmap>
#include <QPushButton>
#include <QScrollBar>
#include <QStyle>
#include <QTimer>
#include <QUndoStack>
#include <QVBoxLayout>
#include <QWizard>

#include <algorithm>

namespace
{

// Room that diagram and list keep in a small window, in pixels.
constexpr int mindiagramheight = 80;
constexpr int mintreeheight = 90;
constexpr int rulerheight = 14;
constexpr int rowspacing = 6; // a style's own grows with the font
constexpr int sidemargin = 11;
constexpr int windowframe = 4; // the left and right edge

constexpr int swatchsize = 15; // pixels

// The legend: a row of captions, each with a square of its colour behind it.
QHBoxLayout *makelegend(QLabel *captions[4], QLabel *swatches[4])
{
    auto *layout = new QHBoxLayout;
    for (std::size_t i = 0; i < partkinds.size(); ++i) {
        captions[i] = new QLabel(partkinds[i].legend);
        swatches[i] = new QLabel;
        swatches[i]->setPixmap(
            swatch(partkinds[i].kind, swatchsize, swatches[i]->devicePixelRatioF()));
        layout->addWidget(captions[i]);
        layout->addWidget(swatches[i]);
    }
    return layout;
}

} // namespace

DiskPartition::DiskPartition(QWidget *parent) : QWizardPage(parent)
{
    watch(this);
    infolabel = new QLabel(tr(
        "Right click a block in the disk diagram and assign it to primary partition or logical "
        "disk. Ctrl+click to select multiple blocks.\n"
        "Don't pay much attention to the difference between primary partition and logical disk "
        "which the program will handle for you.\n"
        "You can modify the properties of the created partitions(start/stop position, type, active "
        "flag) by double-clicking the item in the partition list.\n"
        "You can specify a partition strategy, and the program will create the partitions "
        "according to the selected strategy.\n"
        "If you click directly the \"Next\" button without creating partitions or selecting a "
        "strategy, the program will create partitions automatically based on the disk "
        "information."));
    infolabel->setWordWrap(true);

    strategybox = new QComboBox;
    strategybox->setAccessibleName("Partition strategy");
    // where a combo box's name is its present text, what it is for comes from its label
    auto *strategylabel = new QLabel("Partition strategy", this);
    strategylabel->setBuddy(strategybox);
    strategylabel->hide();
    for (const STRTGYINFO &strategy : strategyinfo)
        strategybox->addItem(strategy.listtext);
    connect(strategybox, &QComboBox::currentIndexChanged, this, &DiskPartition::onstrategychanged);

    legendlayout = makelegend(captions, swatches);
    makediagram();
    listlabel = new QLabel(tr("Partition list:"));
    pagelayout = new QVBoxLayout(this);
    pagelayout->setSpacing(rowspacing);
    pagelayout->setContentsMargins(sidemargin, rowspacing, sidemargin, rowspacing);
    pagelayout->addWidget(new ScrolledText(infolabel));
    auto *line = new QLabel("<hr bold>");
    line->setMaximumHeight(rulerheight);
    pagelayout->addWidget(line);
    pagelayout->addWidget(strategybox);
    pagelayout->addLayout(legendlayout);
    auto *diagram = new QVBoxLayout;
    diagram->setSpacing(0);
    diagram->addWidget(diagramview, 1);
    diagram->addWidget(new DiagramRuler(diagramview));
    pagelayout->addLayout(diagram, 1);
    maketree();
    pagelayout->addLayout(makehistory());
    pagelayout->addLayout(treelayout, 1);
    plannote = new NoteLabel(2);
    pagelayout->addWidget(plannote);
    notetimer = new QTimer(this);
    notetimer->setSingleShot(true);
    connect(notetimer, &QTimer::timeout, this, &DiskPartition::showplannote);

    QWidget *const order[] = {strategybox, diagramview, treeview,
                              upbutton,    downbutton,  deletebutton};
    for (int i = 1; i < 6; ++i)
        setTabOrder(order[i - 1], order[i]);
    for (QWidget *watched : {static_cast<QWidget *>(strategybox), static_cast<QWidget *>(treeview),
                             static_cast<QWidget *>(diagramview)})
        watched->installEventFilter(this);
    setFocusPolicy(Qt::ClickFocus);
}

void DiskPartition::makediagram()
{
    installdiagramaccessibility();
    diagramview = new GraphicsView(this);
    diagramview->setMinimumHeight(mindiagramheight);
    diagramview->setAccessibleName("Disk diagram");

    static const struct {
        const char *text;
        void (DiskPartition::*slot)();
    } menu[] = {
        {"assign to a Primary Partition", &DiskPartition::addpp},
        {"assign to a Logical Disk", &DiskPartition::addld},
        {"delete the Primary Partition/Logical Disk", &DiskPartition::delpart},
        {"split to two parts", &DiskPartition::splitpart},
        {"split to three parts", &DiskPartition::split3part},
        {"split to four parts", &DiskPartition::split4part},
        {"split to n parts", &DiskPartition::splitnpart},
        {"split to system/data partitions", &DiskPartition::splitsysdatapart},
        {"combine to one part", &DiskPartition::combineparts},
        {"rescan the block", &DiskPartition::rescan},
    };
    for (int i = 0; i < 10; ++i) {
        actions[i] = new QAction(tr(menu[i].text), this);
        diagramview->addAction(actions[i]);
        connect(actions[i], &QAction::triggered, this, menu[i].slot);
    }
    actions[8]->setToolTip("Ctrl+click to select multiple blocks");

    diagramscene = new GraphicsScene(diagramview);
    diagramview->setScene(diagramscene);
    connect(diagramscene, &QGraphicsScene::selectionChanged, this,
            &DiskPartition::selectionchanged);
    connect(diagramview, &GraphicsView::resized, this, &DiskPartition::resizepartdiagram);
    // thousands of blocks come and go at once; the index of a still scene would only cost
    diagramscene->setItemIndexMethod(QGraphicsScene::NoIndex);
}

void DiskPartition::maketree()
{
    treemodel = new PartTreeModel(this);
    treemodel->editor = [this](const QModelIndex &index, const QVariant &value, int role) {
        return setData(index, value, role);
    };
    treeview = new TreeView(this);
    treeview->setModel(treemodel);
    treeview->setItemDelegate(new PartDelegate(activecolumn, typecolumn));
    treeview->setDragDropMode(QAbstractItemView::InternalMove);
    treeview->setDragEnabled(true);
    treeview->setAccessibleName("Partition list");
    treeview->setMinimumHeight(mintreeheight);
    treeview->setUniformRowHeights(true);
    treeview->header()->setSectionResizeMode(QHeaderView::Stretch);
    treeview->header()->setStretchLastSection(false);
    for (const int column : {namecolumn, typecolumn, activecolumn})
        treeview->header()->setSectionResizeMode(column, QHeaderView::Interactive);
    connect(treemodel, &QAbstractItemModel::rowsInserted, treeview,
            [this](const QModelIndex &parentindex) {
                // the first logical disk opens its extended row; closing it again is the user's
                if (parentindex.isValid() && treemodel->rowCount(parentindex) == 1)
                    treeview->expand(parentindex);
            });
    connect(treemodel, &QAbstractItemModel::modelReset, treeview, &QTreeView::expandAll);
    connect(treeview->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &DiskPartition::treeselectionchanged);

    upbutton = new QPushButton("Up");
    downbutton = new QPushButton("Down");
    deletebutton = new QPushButton("Delete");
    buttonslayout = new QVBoxLayout;
    for (QPushButton *button : {upbutton, downbutton, deletebutton})
        buttonslayout->addWidget(button);
    treelayout = new QHBoxLayout;
    treelayout->addWidget(treeview);
    treelayout->addLayout(buttonslayout);
    connect(deletebutton, &QPushButton::clicked, this, &DiskPartition::ondelPartTreeNode);
    connect(upbutton, &QPushButton::clicked, this, &DiskPartition::onupPartTreeNode);
    connect(downbutton, &QPushButton::clicked, this, &DiskPartition::ondownPartTreeNode);
    upbutton->setAccessibleName("Move partition up");
    downbutton->setAccessibleName("Move partition down");
    deletebutton->setAccessibleName("Delete partition");
    sizecolumns();
}

void DiskPartition::sizecolumns()
{
    const QFontMetrics metrics = fontMetrics();
    QHeaderView *header = treeview->header();
    const auto margins = [this](QStyle::PixelMetric margin) {
        return 2 * (style()->pixelMetric(margin) + 2);
    };
    // Qt's own hint is that of bold letters
    const auto needed = [&](int column) {
        const QString text =
            treemodel->headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
        return metrics.horizontalAdvance(text) + margins(QStyle::PM_HeaderMargin);
    };
    const auto widest = [&](std::initializer_list<const char *> texts) {
        int width = 0;
        for (const char *text : texts)
            width = std::max(width, metrics.horizontalAdvance(text));
        return width + margins(QStyle::PM_FocusFrameHMargin);
    };
    // the rows beside the branch, and the longest of the usual types
    const int name = treeview->indentation() + widest({"Primary Partition", "Primary Extended"}),
              type = std::max(widest({"Extended(BIG)"}), needed(typecolumn));
    int least = 0; // the default is that of the font's widest letters
    for (const int column : {startcolumn, stopcolumn, sizecolumn})
        least = std::max(least, needed(column));
    header->setMinimumSectionSize(least);
    header->resizeSection(namecolumn, name);
    header->resizeSection(typecolumn, type);
    header->resizeSection(activecolumn, needed(activecolumn));
    // all columns, where the screen has the room beside the list's buttons
    const int whole = name + 3 * least + type + needed(activecolumn) +
                      treeview->verticalScrollBar()->sizeHint().width() +
                      2 * treeview->frameWidth();
    const int room = screen()->availableGeometry().width() - deletebutton->sizeHint().width() -
                     treelayout->spacing() - 2 * sidemargin - windowframe;
    treeview->setMinimumWidth(std::min(whole, room));
}

void DiskPartition::changeEvent(QEvent *event)
{
    QWizardPage::changeEvent(event);
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        sizecolumns();
}

DiskPartition::~DiskPartition()
{
    // view and scene outlive this part of the object and must not call back into it
    diagramscene->disconnect(this);
    treeview->selectionModel()->disconnect(this);
    clearmodelview();
    unwatch(this);
    // a view does not own its delegate
    delete treeview->itemDelegate();
}

void DiskPartition::keyPressEvent(QKeyEvent *event)
{
    QWidget::keyPressEvent(event);
}

void DiskPartition::initializePage()
{
    DpWizard *wiz = dpwizard(this);
    wiz->button(QWizard::CustomButton1)->hide();
    wiz->button(QWizard::CustomButton2)->hide();
    clearall();
    segs = wiz->scanpage()->intsegs;
    foundbad.clear();
    restartplan();
    strategybox->setCurrentIndex(0);
    undostack->clear();
    historyline->clear();
    wiz->givenext(this, &DiskPartition::writetodisk);
    if (const DISKINFO *disk = wiz->chosendisk())
        setToolTip(tooltipof(disktext(*disk)));
}

void DiskPartition::cleanupPage()
{
    DpWizard *wiz = dpwizard(this);
    wiz->button(QWizard::CustomButton1)->show();
    wiz->button(QWizard::CustomButton2)->show();
    wiz->givenext(wiz->scanpage(), &DiskScanPage::beginscan);
}

bool DiskPartition::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == strategybox && event->type() == QEvent::Wheel) {
        // a notch of the wheel would throw the plan away; the open list scrolls by itself
        event->ignore();
        return true;
    }
    if (event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent *>(event)->key();
        // an editor in the list has had the key by now
        if (key == Qt::Key_Return || key == Qt::Key_Enter)
            return true;
    }
    return QWizardPage::eventFilter(watched, event);
}

void DiskPartition::showplannote()
{
    QString note;
    const std::vector<EXTPART> entries = getallparts();
    std::uint64_t damaged = 0;
    if (const DpWizard *wiz = dpwizard(this)) {
        for (const SurfaceCell &cell : wiz->scanpage()->surface())
            damaged += cell.state == SurfaceCell::State::bad ? cell.stop - cell.start + 1 : 0;
    }
    if (entries.empty() && !segs.empty()) {
        Plan automatic;
        automatic.segs = segs;
        automatic.defaultpartition();
        note = "Next would create this: " + plansummary(automatic.getallparts(), segs, damaged, g);
    } else if (!segs.empty()) {
        note = plansummary(entries, segs, damaged, g);
    }
    const QString remarks = planremarks(entries, segs, g.totalsectors > maxmbrsectors);
    if (!remarks.isEmpty())
        note += ' ' + remarks;
    plannote->setnote(note);
}

bool DiskPartition::finishedit()
{
    refused = false;
    for (QWidget *child :
         treeview->viewport()->findChildren<QWidget *>(Qt::FindDirectChildrenOnly)) {
        if (!child->isVisibleTo(treeview->viewport()))
            continue;
        emit treeview->itemDelegate()->commitData(child);
        emit treeview->itemDelegate()->closeEditor(child);
    }
    return !refused;
}

void DiskPartition::refuse(const QString &text)
{
    refused = true;
    plainbox(this, QMessageBox::Warning, "error", text);
}
