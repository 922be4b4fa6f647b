#include "trimora/contract/koUtil/BitField32.h"
#include "trimora/contract/koUtil/CircularRange.h"
#include "trimora/contract/koUtil/Color.h"
#include "trimora/contract/koUtil/Transform2d.h"

#include <climits>
#include <cstddef>
#include <doctest/doctest.h>
#include <set>

using koUtil::CircularRange;

namespace {

std::set<int> indicesOf(CircularRange const& range) {
    std::set<int> indices;
    for (int step = 0, i = range.start; step < range.size(); ++step, i = (i + 1) % range.ringSize)
        indices.insert(i);
    return indices;
}

std::set<int> indicesOf(ko::vector<CircularRange> const& ranges) {
    std::set<int> indices;
    for (CircularRange const& range : ranges) {
        std::set<int> const one = indicesOf(range);
        for (int const i : one)
            CHECK(indices.insert(i).second);  // disjoint
    }
    return indices;
}

// Calls `body` with every range of a small ring.
template <typename Body>
void forEachRange(int ringSize, Body body) {
    for (int start = 0; start < ringSize; ++start)
        for (int end = 0; end < ringSize; ++end)
            body(CircularRange(start, end, ringSize));
}

// Every pair of ranges on every ring of up to 7 places.
template <typename Body>
void forEachPair(Body body) {
    for (int ringSize = 1; ringSize <= 7; ++ringSize)
        forEachRange(ringSize, [&](CircularRange const& a) {
            forEachRange(ringSize, [&](CircularRange const& b) { body(a, b); });
        });
}

std::set<int> common(std::set<int> const& a, std::set<int> const& b) {
    std::set<int> result;
    for (int const i : a)
        if (b.count(i) != 0)
            result.insert(i);
    return result;
}

std::set<int> united(std::set<int> a, std::set<int> const& b) {
    a.insert(b.begin(), b.end());
    return a;
}

}  // namespace

TEST_CASE("circularRangeCountsBothEndsAndWraps") {
    CHECK(CircularRange(2, 6, 10).size() == 5);
    CHECK(CircularRange(8, 1, 10).size() == 4);
    CHECK(CircularRange(4, 4, 10).size() == 1);
    CHECK(CircularRange(0, 9, 10).isFull());
    CHECK(CircularRange(3, 2, 10).isFull());
    CHECK(CircularRange(-1, 11, 10) == CircularRange(9, 1, 10));
    CHECK(CircularRange(INT_MIN, INT_MAX, INT_MAX).size() > 0);
    CHECK(CircularRange(5, 7, 0) == CircularRange(0, 0, 1));
    CHECK(CircularRange(0, INT_MAX - 1, INT_MAX).size() == INT_MAX);
}

TEST_CASE("circularRangeContainsWhatItWalks") {
    forEachPair([](CircularRange const& a, CircularRange const& b) {
        std::set<int> const inA = indicesOf(a);
        std::set<int> const inB = indicesOf(b);
        for (int i = -2; i < a.ringSize + 2; ++i)
            CHECK(a.contains(i) == (inA.count(i) != 0));
        CHECK(a.contains(b) == (common(inA, inB) == inB));
    });
    CHECK_FALSE(CircularRange(0, 9, 10).contains(CircularRange(0, 0, 11)));
}

TEST_CASE("intersectKeepsTheFirstPieceFromItsOwnStart") {
    forEachPair([](CircularRange const& a, CircularRange const& b) {
        std::set<int> const shared = common(indicesOf(a), indicesOf(b));
        CircularRange cut = a;
        CHECK(cut.intersect(b) == !shared.empty());
        if (shared.empty()) {
            CHECK(cut == a);
            return;
        }
        std::set<int> const kept = indicesOf(cut);
        CHECK(common(kept, shared) == kept);
        if (kept == shared)
            return;
        // Two pieces: the first shared index met from a's start on is kept, and all that follow.
        CHECK_FALSE((a.isFull() || b.isFull()));
        int first = a.start;
        while (shared.count(first) == 0)
            first = (first + 1) % a.ringSize;
        CHECK(cut.start == first);
        CHECK(shared.count((cut.end + 1) % a.ringSize) == 0);
    });
}

TEST_CASE("mergeJoinsWhatOverlapsOrIsAdjacent") {
    forEachPair([](CircularRange const& a, CircularRange const& b) {
        std::set<int> const both = united(indicesOf(a), indicesOf(b));
        bool const touching = !common(indicesOf(a), indicesOf(b)).empty() ||
                              (a.end + 1) % a.ringSize == b.start ||
                              (b.end + 1) % a.ringSize == a.start;
        CircularRange joined = a;
        CHECK(joined.merge(b) == touching);
        if (!touching) {
            CHECK(joined == a);
            return;
        }
        CHECK(indicesOf(joined) == both);
        if (static_cast<int>(both.size()) == a.ringSize)
            CHECK(joined == CircularRange(0, a.ringSize - 1, a.ringSize));
    });
}

TEST_CASE("halvesShareTheIndicesWithTheOddOneFirst") {
    CHECK(CircularRange(8, 2, 10).firstHalf() == CircularRange(8, 0, 10));
    CHECK(CircularRange(8, 2, 10).secondHalf() == CircularRange(1, 2, 10));
    CHECK(CircularRange(4, 4, 10).firstHalf() == CircularRange(4, 4, 10));
    CHECK(CircularRange(4, 4, 10).secondHalf() == CircularRange(4, 4, 10));
    forEachRange(7, [](CircularRange const& range) {
        CircularRange const first = range.firstHalf();
        CircularRange const second = range.secondHalf();
        CHECK(first.start == range.start);
        CHECK(second.end == range.end);
        CHECK(first.size() == (range.size() + 1) / 2);
        CHECK(united(indicesOf(first), indicesOf(second)) == indicesOf(range));
    });
}

TEST_CASE("listsOfRangesStayDisjoint") {
    //  0 1 2 3 4 5 6 7 8 9 10 11
    //  x x . . x x . . x . .  .
    ko::vector<CircularRange> ranges;
    ranges.push_back({8, 8, 12});
    ranges.push_back({0, 1, 12});
    ranges.push_back({4, 5, 12});
    koUtil::merge(ranges,
                  {2, 3, 12});  // fills the gap between two of them, at the first one's place
    REQUIRE(ranges.size() == 2);
    CHECK(ranges[0] == CircularRange(8, 8, 12));
    CHECK(ranges[1] == CircularRange(0, 5, 12));
    koUtil::merge(ranges, {10, 10, 12});
    CHECK(ranges.back() == CircularRange(10, 10, 12));
    koUtil::subtract(ranges, {2, 8, 12});
    REQUIRE(ranges.size() == 2);
    CHECK(ranges[0] == CircularRange(0, 1, 12));
    CHECK(ranges[1] == CircularRange(10, 10, 12));
    koUtil::subtract(ranges, {0, 11, 12});
    CHECK(ranges.empty());
    ranges.push_back({0, 11, 12});
    koUtil::subtract(ranges,
                     {3, 5, 12});  // the rest of a ring is one piece, though it runs through 0
    REQUIRE(ranges.size() == 1);
    CHECK(ranges[0] == CircularRange(6, 2, 12));
    koUtil::subtract(ranges, {9, 10, 12});
    REQUIRE(ranges.size() == 2);
    CHECK(ranges[0] == CircularRange(6, 8, 12));
    CHECK(ranges[1] == CircularRange(11, 2, 12));
}

TEST_CASE("listsAgreeWithSetsOfIndices") {
    forEachPair([](CircularRange const& a, CircularRange const& b) {
        forEachRange(a.ringSize, [&](CircularRange const& c) {
            ko::vector<CircularRange> ranges;
            koUtil::merge(ranges, a);
            koUtil::merge(ranges, b);
            std::set<int> expected = united(indicesOf(a), indicesOf(b));
            CHECK(indicesOf(ranges) == expected);
            koUtil::subtract(ranges, c);
            for (int const i : indicesOf(c))
                expected.erase(i);
            CHECK(indicesOf(ranges) == expected);
        });
    });
}

TEST_CASE("smallValuesStartAsDocumented") {
    koUtil::Transform2d const transform;
    CHECK((transform.uScale == 1.0f && transform.vScale == 1.0f));
    CHECK((transform.uOffset == 0.0f && transform.vOffset == 0.0f && transform.mode == 1));
    CHECK(offsetof(koUtil::Transform2d, mode) == 16);
    CHECK(koUtil::Color() == koUtil::Color{0.0f, 0.0f, 0.0f});
    koUtil::BitField32 lanes;
    CHECK_FALSE(lanes.any());
    lanes.set(31);
    lanes.set(0);
    CHECK((lanes.test(31) && lanes.test(0) && !lanes.test(1)));
    CHECK(lanes.word == 0x80000001u);
    lanes.clear(31);
    CHECK(lanes.word == 1u);
}

TEST_CASE("theLargestRingDoesNotOverflow") {
    CircularRange const range(1, 2000000000, INT_MAX);
    CircularRange const taken(1900000000, 1800000000, INT_MAX);  // through 0
    ko::vector<CircularRange> rest{range};
    subtract(rest, taken);
    CHECK(rest == ko::vector<CircularRange>{CircularRange(1800000001, 1899999999, INT_MAX)});
    CircularRange whole = range;
    CHECK(whole.merge(taken));
    CHECK(whole.isFull());
    CircularRange common = range;
    CHECK(common.intersect(taken));
    CHECK(common == CircularRange(1, 1800000000, INT_MAX));
}
