#pragma once

#include "trimora/contract/koGeom/Array.h"
#include "trimora/export.h"

namespace koGeom {

/// A packed table of sets of integers: all members one set after the other, with the offset of each
/// set.
///
/// Set i runs from starts[i] to starts[i + 1], the last one to the end of `items`. Copies are deep.
/// Numbers of sets are not checked by the accessors.
class TRIMORA_API ArrayOfSets {
public:
    Array<int> starts;  // one offset a set
    Array<int> items;   // the members

    ArrayOfSets();
    /// Sizes both arrays; all zero, to be filled by the caller.
    ArrayOfSets(int numSets, int numItems);
    ArrayOfSets(ArrayOfSets const& other);
    ArrayOfSets(ArrayOfSets&& other);
    ArrayOfSets& operator=(ArrayOfSets const& other);
    ArrayOfSets& operator=(ArrayOfSets&& other);
    ~ArrayOfSets();

    void swap(ArrayOfSets& other);

    int getNumSets() const { return starts.size(); }
    int getSetSize(int set) const {
        int const end = set + 1 < starts.size() ? starts[set + 1] : items.size();
        return end - starts[set];
    }
    /// First member of the set; the others follow.
    int* getSet(int set) { return items.data() + starts[set]; }
    int const* getSet(int set) const { return items.data() + starts[set]; }

    /// Builds the table from (set, member) pairs, two ints a pair. Members of one set keep the
    /// order of the pairs; pairs whose set is not in 0 to numSets - 1 are left out. Linear time.
    void assignFromPairs(int numSets, int numPairs, int const* pairs);

    /// The transposed relation: set j lists all i whose source set holds j, ascending, as often as
    /// it holds it. Members outside 0 to numSets - 1 are left out. Linear time; the source may be
    /// this table.
    void assignInverse(int numSets, ArrayOfSets const& source);
};

}  // namespace koGeom
