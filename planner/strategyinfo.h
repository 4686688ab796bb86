#pragma once

#include <QString>

#include <array>

/// One row of the strategy box.
struct STRTGYINFO {
    QString listtext;
};

/// The six strategies; a row's index is what `DiskPartition::onstrategychanged` receives.
extern const std::array<STRTGYINFO, 6> strategyinfo;
