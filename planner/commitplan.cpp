#include "planner/commitplan.h"

#include "views/systypes.h"

std::vector<PART> buildparts(const std::vector<EXTPART> &entries, std::uint64_t sectorspercyl)
{
    std::vector<PART> parts;
    for (const EXTPART &entry : entries) {
        PART part;
        part.start = sectorspercyl * entry.start;
        part.stop = sectorspercyl * (entry.stop + 1) - 1;
        // rows out of disk order leave an extended entry with its stop before its start
        part.size = part.stop < part.start ? 0 : part.stop - part.start + 1;
        part.kind = entry.kind;
        part.index = static_cast<char>(parts.size());
        part.bootflag = entry.bootflag;
        part.systype = static_cast<char>(entry.systype);
        parts.push_back(part);
    }
    return parts;
}

static QString reportline(const EXTPART &entry, const geom &geometry)
{
    const auto gb = [&geometry](std::uint64_t cylinders) {
        return QString::number(cylinderstogb(cylinders, geometry), 'f', 1);
    };
    return QString("%1,start=%2GB,stop=%3GB,size=%4GB,type=%5,%6\n")
        .arg(QString(entry.name), gb(entry.start), gb(entry.stop + 1), gb(entry.size),
             QString(getsystypename(entry.systype)), entry.bootflag ? "Active" : "Inactive");
}

bool indiskorder(const std::vector<EXTPART> &entries)
{
    std::uint64_t topmark = 0;
    std::uint64_t logicalmark = 0;
    for (const EXTPART &entry : entries) {
        std::uint64_t &mark = entry.kind == 'l' ? logicalmark : topmark;
        if (entry.start < mark)
            return false;
        mark = entry.start;
    }
    return true;
}

PARTRESULT buildresult(const std::vector<EXTPART> &entries, const geom &geometry)
{
    PARTRESULT result;
    for (const EXTPART &entry : entries) {
        result.report += reportline(entry, geometry);
        (entry.kind == 'p'   ? result.primarycount
         : entry.kind == 'e' ? result.extendedcount
                             : result.logicalcount)++;
    }
    result.indiskorder = indiskorder(entries);
    return result;
}
