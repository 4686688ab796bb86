#include "scan/diskscanpage.h"

#include "scan/consolidation.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QProgressDialog>

int DiskScanPage::testsectorranger(unsigned long long first, unsigned long long last)
{
    void *handle = opendisk(chosendisk().devicepath);
    if (handle == invaliddisk) {
        diskgone = true;
        return 1;
    }
    int result = 0;
    for (unsigned long long sector = first; sector <= last && result == 0; ++sector)
        result = readtestonesector(handle, sector, static_cast<int>(g.bytespersector));
    diskgone = result != 0 && !diskpresent(handle);
    closedisk(handle);
    return result == 0 ? 0 : 1;
}

int DiskScanPage::fixsegs(std::vector<SEG> &list, int report)
{
    QProgressDialog dialog("Checking previous scan result. Please wait...", "Abort", 0,
                           static_cast<int>(list.size()), this);
    dialog.setCancelButton(nullptr);
    dialog.show();

    BoundaryCalls calls;
    calls.rangereads = [this](std::uint64_t first, std::uint64_t last) {
        return !closed && testsectorranger(first, last) == 0;
    };
    calls.progress = [&dialog](int index) {
        dialog.setValue(index);
        // Painting gets its turn, clicks and closing don't.
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    };
    calls.moved = [this](int rawindex, int isbad) {
        refuse(QString("segs[%1],%2").arg(rawindex).arg(isbad));
    };
    calls.giveup = [this] { return closed || diskgone; };
    const int moves = fixboundaries(list, segs, segnum, g, calls);
    if (moves > 0) {
        writedatafile();
        if (report == 1 && !closed)
            QMessageBox::information(this, "info", "Find new bad sectors.", QMessageBox::Ok);
    }
    return moves;
}
