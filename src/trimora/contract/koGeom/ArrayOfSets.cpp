#include "trimora/contract/koGeom/ArrayOfSets.h"

#include <algorithm>
#include <utility>

// Both assignments count the members of each set, turn the counts into offsets and drop each member
// into the next free slot of its set; the offsets, which have then moved to the ends of the sets,
// are moved back by one set.

namespace koGeom {

namespace {

// Replaces counts by offsets; returns their sum.
int countsToOffsets(Array<int>& starts) {
    int sum = 0;
    for (int& start : starts)
        sum += std::exchange(start, sum);
    return sum;
}

// After filling, starts[i] is where set i ends, which is where set i + 1 starts.
void endsToOffsets(Array<int>& starts) {
    int previousEnd = 0;
    for (int& start : starts)
        previousEnd = std::exchange(start, previousEnd);
}

bool isIn(int i, int size) {
    return static_cast<unsigned>(i) < static_cast<unsigned>(size);
}

}  // namespace

ArrayOfSets::ArrayOfSets() = default;

ArrayOfSets::ArrayOfSets(int numSets, int numItems) {
    starts.setSizeZeroed(numSets);
    items.setSizeZeroed(numItems);
}

ArrayOfSets::ArrayOfSets(ArrayOfSets const& other) = default;
ArrayOfSets::ArrayOfSets(ArrayOfSets&& other) = default;
ArrayOfSets& ArrayOfSets::operator=(ArrayOfSets const& other) = default;
ArrayOfSets& ArrayOfSets::operator=(ArrayOfSets&& other) = default;
ArrayOfSets::~ArrayOfSets() = default;

void ArrayOfSets::swap(ArrayOfSets& other) {
    starts.swap(other.starts);
    items.swap(other.items);
}

void ArrayOfSets::assignFromPairs(int numSets, int numPairs, int const* pairs) {
    ArrayOfSets built(numSets, 0);
    int* const next = built.starts.data();
    int const numTableSets = built.getNumSets();
    int const* const pairsEnd = pairs + 2 * static_cast<std::ptrdiff_t>(numPairs);
    for (int const* pair = pairs; pair < pairsEnd; pair += 2) {
        if (isIn(pair[0], numTableSets))
            ++next[pair[0]];
    }
    built.items.setSize(countsToOffsets(built.starts));

    int* const members = built.items.data();
    for (int const* pair = pairs; pair < pairsEnd; pair += 2) {
        if (isIn(pair[0], numTableSets))
            members[next[pair[0]]++] = pair[1];
    }
    endsToOffsets(built.starts);
    swap(built);
}

void ArrayOfSets::assignInverse(int numSets, ArrayOfSets const& source) {
    ArrayOfSets built(numSets, 0);
    int* const next = built.starts.data();
    int const numTableSets = built.getNumSets();
    // Counts what the filling will visit, set by set: in a table made by hand sets may overlap.
    auto const forEachRelation = [&](auto const& visit) {
        for (int i = 0; i < source.getNumSets(); ++i) {
            int const* const set = source.getSet(i);
            int const size = source.getSetSize(i);
            for (int k = 0; k < size; ++k) {
                if (isIn(set[k], numTableSets))
                    visit(i, set[k]);
            }
        }
    };
    forEachRelation([next](int, int member) { ++next[member]; });
    built.items.setSize(countsToOffsets(built.starts));

    int* const members = built.items.data();
    forEachRelation([next, members](int i, int member) { members[next[member]++] = i; });
    endsToOffsets(built.starts);
    swap(built);
}

}  // namespace koGeom
