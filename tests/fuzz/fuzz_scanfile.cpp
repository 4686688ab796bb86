#include "scan/scanfile.h"
#include "scan/scanplan.h"

#include <cstdlib>

// Arbitrary bytes as a scan file: a file that is accepted holds a complete plan inside its disk.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::span image(data, size);
    const ScanFile file = parsescanfile(image);
    if (file.state == ScanFileState::damaged)
        return 0;
    const auto require = [](bool holds) {
        if (!holds)
            std::abort();
    };
    const auto records = static_cast<std::size_t>(file.records);
    require(canplan(file.geometry) && !file.segs.empty() && file.segs.size() <= maxsegments);
    require(records <= file.segs.size() && file.wholebytes == geomsize + records * segsize);
    require((file.state == ScanFileState::complete) == (records == file.segs.size()));
    require(file.wholebytes <= size);
    std::uint64_t next = 0;
    for (const SEG &seg : file.segs) {
        require(seg.start == next && seg.stop >= seg.start && seg.stop < file.geometry.cylinders);
        require(seg.lastsector(file.geometry.sectorspercyl) <
                file.geometry.totalbytes / file.geometry.bytespersector);
        next = seg.stop + 1;
    }
    // A resumed run appends the missing records; the result must parse as the same plan, complete.
    std::vector<std::uint8_t> whole(data, data + file.wholebytes);
    for (std::size_t i = records; i < file.segs.size(); ++i) {
        const auto record = encodeseg(file.segs[i]);
        whole.insert(whole.end(), record.begin(), record.end());
    }
    const ScanFile again = parsescanfile(whole);
    require(again.state == ScanFileState::complete && again.segs == file.segs);
    return 0;
}
