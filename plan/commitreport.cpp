#include "plan/commit.h"
#include "platform/signatures.h"

#include <QStringList>

#include <algorithm>

namespace
{

// Numbers of sectors in a line.
constexpr std::size_t maxnumbers = 10;

// Lines about the sectors of a GUID table that are not on the disk as written, one for each kind.
QString lostguidlines(const std::vector<SectorImage> &missing)
{
    const auto lost = [&missing](ImageKind kind) {
        return std::any_of(missing.begin(), missing.end(),
                           [kind](const SectorImage &image) { return image.kind == kind; });
    };
    QString lines;
    if (lost(ImageKind::gptheader) || lost(ImageKind::gptarray))
        lines +=
            QString("The partition table at the disk's start is not on the disk as written. ") +
            (lost(ImageKind::gptbackup)
                 ? "None of the partitions can be used.\n"
                 : "Systems may use its copy at the disk's end. Go Back and write again.\n");
    else if (lost(ImageKind::gptbackup))
        lines += "The copy of the partition table at the disk's end is not on the disk as written. "
                 "The partitions can be used, but tools may report the missing copy or refuse the "
                 "disk.\n";
    if (lost(ImageKind::mbr))
        lines += "The protective partition table in sector 0 is not on the disk as written: "
                 "systems may not find the partitions.\n";
    return lines;
}

// A line about a sector that is not on the disk as written.
QString lostline(const SectorImage &image, int logical)
{
    switch (image.kind) {
    case ImageKind::mbr:
        return QString("The partition table in sector %1 is not on the disk as written: none of "
                       "the partitions can be used. Go Back and write again; another sector is "
                       "then searched for it.\n")
            .arg(image.sector);
    case ImageKind::scanrecord:
        return QString("The scan result in sector %1 is not on the disk as written. The "
                       "partitions are not affected, but a later run can not fall back "
                       "on it.\n")
            .arg(image.sector);
    case ImageKind::ebr:
        return QString("The boot record of logical disk %1 in sector %2 is not on the disk as "
                       "written: this logical disk and those listed behind it can not be used. Go "
                       "Back, give its block up, and write again.\n")
            .arg(logical)
            .arg(image.sector);
    case ImageKind::cleared:
        return QString("The header of an old GUID partition table in sector %1 could not be "
                       "cleared. Tools may report it.\n")
            .arg(image.sector);
    case ImageKind::gptheader:
    case ImageKind::gptarray:
    case ImageKind::gptbackup:
    case ImageKind::kept:
        break;
    }
    return {};
}

QString neighbourlines(const std::vector<std::uint64_t> &sectors, bool copy)
{
    QString lines;
    QStringList numbers;
    for (std::size_t i = 0; i < std::min(sectors.size(), maxnumbers); ++i)
        numbers.append(QString::number(sectors[i]));
    if (sectors.size() > maxnumbers)
        numbers.append("\u2026");
    if (!sectors.empty())
        lines = "The partition table is on the disk, but bad sectors stand next to these of it: " +
                numbers.join(", ") +
                ". A system that reads 4096 bytes at once, as Linux does, may not find all "
                "partitions.\n";
    if (copy)
        lines += "Bad sectors stand next to the copy of the partition table at the disk's end: "
                 "tools may report it as missing or refuse the disk.\n";
    return lines;
}

// What an earlier use has left, with the command against it.
QString usesline(const std::vector<platform::Signature> &found, const std::string &commands)
{
    QStringList types;
    for (const platform::Signature &one : found)
        types.append(QString::fromStdString(one.type));
    types.removeDuplicates();
    return QString("The disk still has signatures of an earlier use as a whole (%1). A system may "
                   "go by them and take the whole disk, past its partitions. Remove them before "
                   "you make file systems:\n%2")
        .arg(types.join(", "), QString::fromStdString(commands));
}

} // namespace

void Commit::report(PARTRESULT &result) const
{
    g = geometry;
    firstgoodsector = chosen.mbr;
    secondgoodsector = chosen.scanrecord;
    publishtables(tables);
    if (gone) {
        result.ondisk = OnDisk::unknown;
        return;
    }
    if (guidtable) {
        const auto count = std::count_if(parts.begin(), parts.end(), [](const PART &part) {
            return part.kind == 'p' || part.kind == 'l';
        });
        result.report += QString("They are %1 entries of a GUID partition table, since the disk "
                                 "has more sectors than a master boot sector can address.\n")
                             .arg(count);
        result.report += lostguidlines(missing);
        for (const SectorImage &image : missing) {
            if (image.kind != ImageKind::scanrecord && image.kind != ImageKind::gptbackup)
                result.ondisk = OnDisk::notable;
        }
    }
    if (chosen.scanrecord == nosector)
        result.report += "No sector was found for the scan result. The partitions are not "
                         "affected, but a later run can not fall back on it.\n";
    for (const SectorImage &image : missing) {
        const auto end = tables.parts().begin() + std::max(image.part + 1, 0);
        const auto logical = static_cast<int>(std::count_if(
            tables.parts().begin(), end, [](const PART &part) { return part.kind == 'l'; }));
        if (!guidtable || image.kind == ImageKind::scanrecord)
            result.report += lostline(image, logical);
        if (image.kind == ImageKind::mbr) {
            result.ondisk = OnDisk::notable;
        } else if (image.kind == ImageKind::ebr && result.ondisk == OnDisk::whole) {
            result.ondisk = OnDisk::part;
            result.usablelogicals = logical - 1;
        }
    }
    if (missing.size() == tables.images().size())
        result.ondisk = OnDisk::nothing;
    if (result.ondisk != OnDisk::whole && result.ondisk != OnDisk::part)
        return;
    result.report += neighbourlines(besidebad, copybesidebad);
    if (!leftuses.signatures.empty())
        result.report +=
            usesline(leftuses.signatures,
                     platform::removalcommands(result.devicepath, leftuses.signatures,
                                               leftuses.damaged, geometry.bytespersector));
}
