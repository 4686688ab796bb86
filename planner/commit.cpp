#include "planner/diskpartition.h"

#include "planner/commitplan.h"
#include "scan/diskscanpage.h"
#include "views/parttreemodel.h"
#include "wizard/dpwizard.h"
#include "wizard/nextbutton.h"
#include "wizard/selectdiskpage.h"

#include <QScopeGuard>

#include <algorithm>

// What the tables can't hold, a line each; empty if they can.
static QString faulttext(const std::vector<PART> &parts, const geom &geometry,
                         std::uint64_t mbrsector, std::uint64_t recordsector)
{
    QStringList lines;
    for (const PARTFAULT &fault : checkparts(parts, geometry, mbrsector, recordsector))
        lines.append(QString::fromStdString(fault.text));
    return lines.join('\n');
}

// The sectors of the master boot sector and of the scan record. With the first segment good they
// are the first two. Otherwise they are searched, which destroys what the tested sectors held, and
// what is not found goes to `fallback`, the first sector of the first good segment, and behind it.
static void choosesectors(void *handle, bool firstgood, std::uint64_t fallback)
{
    firstgoodsector = secondgoodsector = nosector;
    if (firstgood) {
        firstgoodsector = 0;
        secondgoodsector = 1;
        return;
    }
    findfirsttwogoodsectors(handle, static_cast<int>(g.bytespersector), 2ULL * g.sectorspertrack,
                            firstgoodsector, secondgoodsector);
    if (firstgoodsector == nosector)
        firstgoodsector = fallback;
    if (secondgoodsector == nosector)
        secondgoodsector = fallback + 1;
}

// Writes the scan record and the tables: empty on success, else what to tell the user. The handle
// is closed on every way out.
static QString writeplan(const DiskScanPage &scan, const char *devicepath, std::vector<PART> parts)
{
    void *handle = opendisk(devicepath);
    if (handle == invaliddisk)
        return "Can not open the disk.";
    const auto closer = qScopeGuard([handle] { closedisk(handle); });
    g = scan.diskgeom;
    const SEG *const begin = scan.segs;
    const SEG *const end = begin + scan.segnum;
    const SEG *good = std::find_if(begin, end, [](const SEG &seg) { return seg.isbad == 0; });
    if (good == end)
        return "Can not find a good disk block.";
    choosesectors(handle, good == begin, good->firstsector(g.sectorspercyl));
    const std::uint64_t sectors[] = {firstgoodsector, secondgoodsector};
    keepofftracks(parts, sectors, g.sectorspertrack);
    const QString faults = faulttext(parts, g, sectors[0], sectors[1]);
    if (!faults.isEmpty())
        return faults;
    writeseginfotodisk(handle, secondgoodsector, scan.segs, scan.segnum);
    return batch_partition(handle, parts) == 0 ? QString() : QString("partition failed!");
}

void DiskPartition::writetodisk()
{
    DpWizard *wiz = dpwizard(this);
    if (!wiz)
        return;
    const auto &scan = *qobject_cast<DiskScanPage *>(wiz->page(wiz->scanpageid));
    const auto &disks = *qobject_cast<SelectDiskPage *>(wiz->page(wiz->selectdiskid));
    partresult = {};
    if (disks.selecteddisk < 0) {
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
        problem = writeplan(scan, disks.alldisks[disks.selecteddisk].devicepath, parts);
    if (!problem.isEmpty()) {
        refuse(problem);
        return;
    }
    nextbutton::writetonext(wiz);
    wiz->next();
}
