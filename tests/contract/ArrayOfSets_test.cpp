#include "support/builders.h"

#include "trimora/contract/koGeom/ArrayOfSets.h"

#include <doctest/doctest.h>
#include <vector>

using koGeom::ArrayOfSets;

namespace {

using Sets = std::vector<std::vector<int>>;

Sets setsOf(ArrayOfSets const& table) {
    Sets sets;
    for (int i = 0; i < table.getNumSets(); ++i)
        sets.emplace_back(table.getSet(i), table.getSet(i) + table.getSetSize(i));
    return sets;
}

Sets inverseOf(Sets const& sets, int numSets) {
    Sets inverse(static_cast<std::size_t>(numSets));
    for (std::size_t i = 0; i < sets.size(); ++i) {
        for (int const member : sets[i]) {
            if (member >= 0 && member < numSets)
                inverse[static_cast<std::size_t>(member)].push_back(static_cast<int>(i));
        }
    }
    return inverse;
}

}  // namespace

TEST_CASE("membersKeepTheOrderOfTheirPairs") {
    int const pairs[] = {2, 7, 0, 5, 2, 1, 2, 7, 0, -4};
    ArrayOfSets table;
    table.assignFromPairs(4, 5, pairs);
    CHECK(setsOf(table) == Sets{{5, -4}, {}, {7, 1, 7}, {}});
    CHECK(table.items.size() == 5);
}

TEST_CASE("aTableOfNothingIsEmpty") {
    ArrayOfSets table(3, 4);
    table.assignFromPairs(0, 0, nullptr);
    CHECK(table.getNumSets() == 0);
    CHECK(table.items.data() == nullptr);
    table.assignFromPairs(2, 0, nullptr);
    CHECK(setsOf(table) == Sets{{}, {}});
}

TEST_CASE("pairsAndInverseAgreeWithListsOfLists") {
    support::Random random(4);
    for (int round = 0; round < 300; ++round) {
        int const numSets = random.index(20);
        int const numPairs = random.index(60);
        std::vector<int> pairs;
        Sets expected(static_cast<std::size_t>(numSets));
        for (int k = 0; k < numPairs; ++k) {
            int const set = random.index(numSets + 2) - 1;
            int const member = random.index(15) - 1;
            pairs.insert(pairs.end(), {set, member});
            if (set >= 0 && set < numSets)
                expected[static_cast<std::size_t>(set)].push_back(member);
        }
        ArrayOfSets table;
        table.assignFromPairs(numSets, numPairs, pairs.data());
        REQUIRE(setsOf(table) == expected);

        ArrayOfSets inverse;
        inverse.assignInverse(12, table);
        REQUIRE(setsOf(inverse) == inverseOf(expected, 12));
        table.assignInverse(12, table);
        REQUIRE(setsOf(table) == setsOf(inverse));
    }
}

TEST_CASE("copiesAreDeepAndSwapExchanges") {
    int const pairs[] = {0, 1, 1, 2};
    ArrayOfSets first;
    first.assignFromPairs(2, 2, pairs);
    ArrayOfSets copy(first);
    first.getSet(0)[0] = 99;
    CHECK(setsOf(copy) == Sets{{1}, {2}});
    ArrayOfSets other(1, 3);
    other.swap(copy);
    CHECK(setsOf(other) == Sets{{1}, {2}});
    CHECK(setsOf(copy) == Sets{{0, 0, 0}});
}
