#pragma once

/// Shown wherever a part of a plan would come out below one cylinder.
inline constexpr char toosmalltext[] =
    "If you do this,the result partitions are too small(smaller than one cylinder) thus "
    "meaningless.";
