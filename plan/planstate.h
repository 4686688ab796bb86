#pragma once

#include "core/seg.h"

#include <QByteArray>

#include <cstdint>
#include <vector>

/// A block as a saved plan keeps it. Its size, colours and place in the diagram follow from these.
struct PLANBLOCK {
    std::uint64_t start = 0; ///< first cylinder
    std::uint64_t stop = 0;  ///< last cylinder, inclusive
    char kind = 'u';         ///< as in `EXTPART`
    char namedas = 'u';      ///< the kind whose name it bears; a freed block keeps its name
    std::uint8_t bootflag = 0;
    std::uint8_t systype = 7;

    bool operator==(const PLANBLOCK &) const = default;
};

/// A plan's whole state: equal states are equal plans.
struct PlanState {
    std::vector<SEG> segs;
    std::vector<PLANBLOCK> blocks;
    std::vector<std::uint64_t> toprows; ///< `start` of each row's block, or `extendedrow`
    std::vector<std::uint64_t> logicalrows;
    std::vector<PLANBLOCK> extended; ///< the extended row, if there is one

    bool operator==(const PlanState &) const = default;
};

/// Stands for the extended row among the top rows of a saved plan.
inline constexpr std::uint64_t extendedrow = ~0ULL;

/// How one state became another, `segs` aside: what a scan found is no part of it. Keeps only the
/// stretch of each list that differs, compressed: thousands of blocks are much alike.
class PlanDelta
{
public:
    PlanDelta(const PlanState &before, const PlanState &after);

    [[nodiscard]] bool isempty() const;
    /// Makes the state before of the state after, or with `forward` the reverse. False, with
    /// nothing done, if `state` is neither.
    bool apply(PlanState &state, bool forward) const;

private:
    /// From `at` on, `before` in one list stands where `after` stands in the other.
    template <class T> struct Splice {
        Splice(const std::vector<T> &from, const std::vector<T> &to);
        [[nodiscard]] bool isempty() const { return before == after; }
        /// Replaces the one by the other; false, with nothing done, if it does not stand there.
        bool apply(std::vector<T> &list, bool forward) const;

        std::ptrdiff_t at = 0;
        QByteArray before, after; ///< packed
    };

    Splice<PLANBLOCK> blocks;
    Splice<std::uint64_t> toprows, logicalrows;
    Splice<PLANBLOCK> extended;
};
