#include "scan/scan.h"

#include <QFileInfo>

// What a scan hands out, and takes from other tools.

ScanReport Scan::report() const
{
    ScanReport report;
    report.disk = chosen.identity;
    if (report.disk.model.empty())
        report.disk.model = chosen.model;
    report.geometry = diskgeom;
    report.cells = surface();
    report.manner = manner;
    report.verdict = verdict(report.cells, diskgeom, former);
    // the file is as old as its last record
    const QFileInfo file(filename);
    if (savefailed)
        report.date = QDateTime::currentDateTime();
    else if (file.exists())
        report.date = file.lastModified();
    return report;
}

ScanFile Scan::loadedresult(std::vector<SEG> marked) const
{
    return {.state = ScanFileState::complete,
            .geometry = diskgeom,
            .checksum = checksum(),
            .segs = std::move(marked)};
}

QString Scan::keeploaded(const std::vector<SEG> &marked)
{
    const std::string present = filename;
    if (isstranger(readscanfile(present)))
        setfilename(twinfilename(chosen.model, chosen.identity.serial));
    QString refusal, why;
    if (!keepresult(filename)) {
        refusal = cannotwrite(filename);
    } else if (!replacescanfile(filename, diskgeom, marked, checksum(), &why)) {
        refusal = cannotwrite(filename, why);
        recallresult(filename);
    }
    if (!refusal.isEmpty()) {
        setfilename(present);
        return refusal;
    }
    former = formerresult(filename);
    savefailed = false;
    prevsource = 1;
    return {};
}
