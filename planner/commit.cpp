#include "planner/diskpartition.h"

#include "planner/commitplan.h"
#include "planner/writeplan.h"
#include "scan/diskscanpage.h"
#include "views/parttreemodel.h"
#include "wizard/dpwizard.h"

void DiskPartition::writetodisk()
{
    DpWizard *wiz = dpwizard(this);
    if (!wiz)
        return;
    const auto &scan = *wiz->scanpage();
    partresult = {};
    const DISKINFO *disk = wiz->chosendisk();
    if (!disk) {
        refuse("Please select a disk to proceed.");
        return;
    }
    if (!scan.segs || scan.segnum < 1) {
        refuse("Can not find a good disk block.");
        return;
    }

    std::vector<EXTPART> entries = treemodel->getallparts();
    if (entries.empty()) {
        defaultpartition();
        entries = treemodel->getallparts();
    }
    const std::vector<PART> parts = buildparts(entries, scan.diskgeom.sectorspercyl);
    partresult = buildresult(entries, g);
    // Whatever can be known without the disk is said before the disk is touched: the search for
    // its first sectors already overwrites some.
    QString problem = faulttext(parts, scan.diskgeom, nosector, nosector);
    if (problem.isEmpty())
        problem = writeplan(disk->devicepath, scan.diskgeom,
                            {scan.segs, static_cast<std::size_t>(scan.segnum)}, parts, partresult);
    if (!problem.isEmpty()) {
        refuse(problem);
        return;
    }
    wiz->leavepage();
}
