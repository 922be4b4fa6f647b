#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/export.h"

namespace koUtil {

/// A run of consecutive indices on a ring of `ringSize` places, both ends inside.
///
///        0 1 2 3 4 5 6 7 8 9              0 1 2 3 4 5 6 7 8 9
///            [2 . . . 6]   start <= end    . 1]          [8 .   start > end: wraps through 0
///
/// A range is never empty. start 0 and end ringSize - 1 is the whole ring; a range that becomes the
/// whole ring takes that form.
struct CircularRange {
    int start = 0;
    int end = 0;
    int ringSize = 1;

    constexpr CircularRange() = default;
    /// Ends outside 0..size - 1 are taken modulo size; a size below 1 counts as 1.
    TRIMORA_API CircularRange(int begin, int end, int size);

    /// How many indices lie in the range, 1 to ringSize.
    constexpr int size() const {
        return start <= end ? end - start + 1 : ringSize - start + end + 1;
    }
    constexpr bool isFull() const { return size() == ringSize; }

    /// False for an index that is not on the ring.
    TRIMORA_API bool contains(int index) const;
    /// Whether every index of the other range lies in this one; false on another ring.
    TRIMORA_API bool contains(CircularRange const& other) const;

    /// Cuts this range down to what it shares with the other one. When that is two pieces, the one
    /// met first on the way from this range's start is kept. False, and nothing changes, when they
    /// share nothing.
    TRIMORA_API bool intersect(CircularRange const& other);
    /// Grows this range by the other one. False, and nothing changes, when they neither overlap nor
    /// are adjacent.
    TRIMORA_API bool merge(CircularRange const& other);

    /// The halves in order from the start; of an odd count the first half has one more. The second
    /// half of a single index is that index.
    TRIMORA_API CircularRange firstHalf() const;
    TRIMORA_API CircularRange secondHalf() const;

    constexpr bool operator==(CircularRange const&) const = default;
};

/// Adds a range to a list of disjoint ones: it is joined with all that it overlaps or is adjacent
/// to, at the place of the first of them, or appended.
TRIMORA_API void merge(ko::vector<CircularRange>& ranges, CircularRange const& range);

/// Takes a range away from each of a list; what is left of each stands in its place, in walking
/// order from its start.
TRIMORA_API void subtract(ko::vector<CircularRange>& ranges, CircularRange const& range);

}  // namespace koUtil
