#include "planner/diskpartition.h"

void DiskPartition::constructextparts()
{
    extparts.clear();
    for (const SEG &seg : segs)
        extparts.append(newpart(seg.start, seg.stop, seg.isbad == 0 ? 'u' : 'b'));
}
