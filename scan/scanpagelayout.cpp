#include "scan/diskscanpage.h"

#include "scan/surfaceview.h"
#include "views/diskjob.h"
#include "views/indicators.h"
#include "views/jobdialog.h"
#include "views/surfacemap.h"

#include <QCheckBox>
#include <QKeyEvent>
#include <QLabel>
#include <QSpinBox>
#include <QStyle>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>

// What the page shows, and where.

namespace
{

constexpr QMargins roomymargins(100, 200, 100, 100);
constexpr int leastmargin = 9;

} // namespace

DiskScanPage::DiskScanPage(QWidget *parent) : QWizardPage(parent)
{
    infolabel = new QLabel(tr("Click \"Next\" button to begin to scan the disk. \n"
                              "Click \"Skip scan\" button if there are no bad sectors on this "
                              "disk.\n"
                              "Or, click \"Use prev.\" button to use or continue the previous scan "
                              "result."));
    infolabel->setWordWrap(true);
    writetestbox =
        new QCheckBox("write test(write data to disk and read them, very time-consuming)");
    writetestbox->setToolTip("Writes a pattern over the whole disk and reads it back: all data on "
                             "the disk is destroyed by the test itself.");
    keepindicatorvisible(writetestbox);
    connect(writetestbox, &QCheckBox::toggled, this, &DiskScanPage::writeteststatechanged);

    slowbox = new QCheckBox("treat segments slower than");
    slowbox->setToolTip("A segment with a block read that takes as long as the limit, or longer, "
                        "is shown as slow. With this on, it is marked as if a read had failed.");
    keepindicatorvisible(slowbox);
    limitbox = new QSpinBox;
    limitbox->setRange(100, 5000);
    limitbox->setSingleStep(50);
    limitbox->setSuffix(" ms");
    limitbox->setValue(static_cast<int>(slowlimit));
    limitbox->setAccessibleName("limit for slow segments in milliseconds");
    limitbox->installEventFilter(this);
    auto *slowrow = new QHBoxLayout;
    slowrow->addWidget(slowbox);
    slowrow->addWidget(limitbox);
    slowrow->addWidget(new QLabel("as bad"));
    slowrow->addStretch();
    connect(slowbox, &QCheckBox::toggled, this, [this](bool checked) { slowisbad = checked; });
    connect(limitbox, &QSpinBox::valueChanged, this, [this](int milliseconds) {
        slowlimit = milliseconds;
        surfaceview->showall();
    });

    pagelayout = new QVBoxLayout(this);
    pagelayout->addWidget(infolabel);
    pagelayout->addWidget(writetestbox);
    pagelayout->addLayout(slowrow);
    pagelayout->setContentsMargins(roomymargins);
    // The surface lies below the controls and over the margins, which leave it too little.
    surfaceview = new SurfaceView(*this, this, limitbox);
    connect(surfaceview->map, &QWidget::customContextMenuRequested, this,
            [this](QPoint place) { showmapmenu(surfaceview->map->mapToGlobal(place)); });
    pagelayout->addStretch();
    pagelayout->addSpacing(
        std::max(0, surfaceview->leastheight() - pagelayout->contentsMargins().bottom()));

    setButtonText(QWizard::CustomButton1, tr("Skip scan >"));
    setButtonText(QWizard::CustomButton2, tr("Use prev. >"));
}

DiskScanPage::~DiskScanPage()
{
    delete scantimer;
    endrun();
    job.reset();
    delete scanprogress;
}

bool DiskScanPage::eventFilter(QObject *watched, QEvent *event)
{
    // Return ends the typing of a limit; the dialog would take it for a click on Next
    if (watched == limitbox && event->type() == QEvent::KeyPress) {
        const int key = static_cast<const QKeyEvent *>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            limitbox->interpretText();
            return true;
        }
    }
    return QWizardPage::eventFilter(watched, event);
}

void DiskScanPage::showEvent(QShowEvent *event)
{
    QWizardPage::showEvent(event);
    // the planner may have tested some segments anew
    if (phase != Phase::running)
        surfaceview->showall();
}

void DiskScanPage::fitmargins(const QSize &room)
{
    pagelayout->setContentsMargins(roomymargins);
    const int wanted = surfaceview->fullheight() - surfaceview->leastheight();
    // the text above the boxes breaks into more lines in a narrow page
    const int pagewidth = std::min(std::max(width(), minimumSizeHint().width()), room.width());
    const QSize needed(minimumSizeHint().width(), pagelayout->minimumHeightForWidth(pagewidth));
    const QSize over = needed + QSize(0, std::max(0, wanted)) - room;
    QMargins margins = roomymargins;
    const auto less = [](int margin, int pixels) {
        return std::max(leastmargin, margin - std::max(0, pixels));
    };
    margins.setLeft(less(margins.left(), (over.width() + 1) / 2));
    margins.setRight(less(margins.right(), (over.width() + 1) / 2));
    margins.setTop(less(margins.top(), over.height()));
    pagelayout->setContentsMargins(margins);
}

void DiskScanPage::placedialog()
{
    // at the top of the page, which is empty, so that it covers neither the map nor the figures
    const QSize size = rundialog->sizeHint().expandedTo(rundialog->minimumSize());
    const QPoint top = mapToGlobal(QPoint((width() - size.width()) / 2, 0));
    rundialog->move(top);
}
