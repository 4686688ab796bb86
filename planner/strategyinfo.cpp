#include "planner/strategyinfo.h"

const std::array<STRTGYINFO, 6> strategyinfo = {{
    {"no strategy"},
    {"assign all good blocks to partitions"},
    {"assign the four largest good blocks to primary partitions(in disk order)"},
    {"assign the four largest good blocks to primary partitions(in size order)"},
    {"assign the n largest good blocks to partitions(in disk order)"},
    {"create partitions of size less than CMax(GB) and greater than CMin(GB)."},
}};
