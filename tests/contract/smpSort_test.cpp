#include "support/builders.h"
#include "support/checks.h"

#include "trimora/contract/koUtil/Ordering.h"
#include "trimora/contract/koUtil/SMPSort.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <new>
#include <numeric>
#include <string>
#include <vector>

using koUtil::Ordering;
using koUtil::smpSort;
using koUtil::SMPSortMerge;
using koUtil::SMPSortPiecewise;
using koUtil::ThreadPool;

namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

std::vector<int> consecutive(int count) {
    std::vector<int> indices(static_cast<std::size_t>(count));
    std::iota(indices.begin(), indices.end(), 0);
    return indices;
}

/// What every sort of indices is compared with.
template <typename Compare>
std::vector<int> stablySorted(std::vector<int> indices, Compare const& compare) {
    std::sort(indices.begin(), indices.end());
    std::stable_sort(indices.begin(), indices.end(), compare);
    return indices;
}

template <typename Compare>
std::vector<int> smpSorted(std::vector<int> indices, Compare const& compare) {
    smpSort(indices.data(), indices.data() + indices.size(), compare);
    return indices;
}

template <typename T>
std::vector<int> ordered(std::vector<T> const& values) {
    Ordering ordering;
    ordering.sort(values.data(), values.data() + values.size());
    return std::vector<int>(ordering.begin(), ordering.end());
}

/// Orders by a first number, then by a second one that its key knows nothing of.
struct TwoStage {
    std::pair<float, float> const* values;

    bool operator()(int a, int b) const { return values[a] < values[b]; }
    std::uint64_t sortKey(int index) const { return koUtil::sortKeyOf(values[index].first); }
};

struct Named {
    int key;
    int name;
};

}  // namespace

// Cut at h = 3 of 5 elements; letters tell equals apart.
//   pieces    [1a 2a 2b] [1b 2c]      merged    1a 1b 2a | 2b 2c
TEST_CASE("mergeTakesTheLeftPieceFirstAmongEquals") {
    auto const byKey = [](Named const& a, Named const& b) { return a.key < b.key; };
    for (int const numThreads : {1, 2, 3, 7}) {
        ThreadPool pool(numThreads);
        Named elements[] = {{1, 'a'}, {2, 'a'}, {2, 'b'}, {1, 'b'}, {2, 'c'}};
        SMPSortMerge<Named, decltype(byKey)> merge(elements, elements + 5, byKey);
        pool.run(merge);
        std::string result;
        for (Named const& element : elements)
            result += std::to_string(element.key) + static_cast<char>(element.name);
        CHECK(result == "1a1b2a2b2c");
    }
}

TEST_CASE("pieceZeroHasTheOddElement") {
    for (int const numThreads : {1, 2, 7}) {
        ThreadPool pool(numThreads);
        int odd[] = {5, 4, 3, 2, 1};
        SMPSortPiecewise<int, ko::less<int>> pieces(odd, odd + 5, ko::less<int>());
        pool.run(pieces);
        CHECK(std::vector<int>(odd, odd + 5) == std::vector<int>{3, 4, 5, 1, 2});
    }
}

TEST_CASE("piecesAndMergeSortEveryShortSequence") {
    auto const less = [](int a, int b) { return a < b; };
    ThreadPool pool(2);
    for (int count = 0; count <= 6; ++count) {
        int numSequences = 1;
        for (int i = 0; i < count; ++i)
            numSequences *= 4;
        for (int code = 0; code < numSequences; ++code) {
            std::vector<int> sequence;
            for (int i = 0, rest = code; i < count; ++i, rest /= 4)
                sequence.push_back(rest % 4);
            std::vector<int> expected = sequence;
            std::sort(expected.begin(), expected.end());
            int* const first = sequence.data();
            SMPSortPiecewise<int, decltype(less)> pieces(first, first + count, less);
            pool.run(pieces);
            SMPSortMerge<int, decltype(less)> merge(first, first + count, less);
            pool.run(merge);
            REQUIRE(sequence == expected);
        }
    }
}

TEST_CASE("equalsAreInAscendingOrderWhateverTheThreads") {
    support::withPools([](int) {
        support::Random random(1);
        for (int const count : {0, 1, 2, 3, 10, 33, 1000, 2047, 2048, 5001}) {
            for (int const numValues : {1, 2, 50, 1000000}) {
                std::vector<double> values;
                for (int i = 0; i < count; ++i)
                    values.push_back(random.index(numValues) - numValues / 2);
                auto const less = [&](int a, int b) {
                    return values[static_cast<std::size_t>(a)] <
                           values[static_cast<std::size_t>(b)];
                };
                std::vector<int> const expected = stablySorted(consecutive(count), less);
                REQUIRE(smpSorted(consecutive(count), less) == expected);
                REQUIRE(ordered(values) == expected);

                std::vector<int> shuffled = consecutive(count);
                for (int i = count - 1; i > 0; --i)
                    std::swap(shuffled[static_cast<std::size_t>(i)],
                              shuffled[static_cast<std::size_t>(random.index(i + 1))]);
                REQUIRE(smpSorted(shuffled, less) == expected);
                REQUIRE(smpSorted(shuffled, Ordering::IndexedLessThan<double>{values.data()}) ==
                        expected);
            }
        }
    });
}

TEST_CASE("sortingInPlaceGivesTheSameIntegers") {
    support::Random random(9);
    std::vector<int> values;
    for (int i = 0; i < 5000; ++i)
        values.push_back(random.index(40));
    auto const less = [&](int a, int b) {
        return values[static_cast<std::size_t>(a)] < values[static_cast<std::size_t>(b)];
    };
    std::vector<int> indices = consecutive(5000);
    koUtil::sortInPlace(indices.data(), indices.data() + indices.size(), less);
    CHECK(indices == stablySorted(indices, less));
}

TEST_CASE("elementsWithoutAnOrderOfTheirOwnKeepTheirOrder") {
    support::withPools([](int) {
        support::Random random(2);
        std::vector<Named> elements;
        for (int i = 0; i < 3001; ++i)
            elements.push_back({random.index(40), i});
        smpSort(elements.data(), elements.data() + elements.size(),
                [](Named const& a, Named const& b) { return a.key < b.key; });
        CHECK(std::is_sorted(elements.begin(), elements.end(), [](Named const& a, Named const& b) {
            return a.key != b.key ? a.key < b.key : a.name < b.name;
        }));
    });
}

TEST_CASE("keysOfEveryDistributionSortAsTheirValues") {
    support::Random random(3);
    using Make = double (*)(support::Random&, int);
    Make const distributions[] = {
        [](support::Random& r, int) { return r.real(0.0, 1.0); },
        [](support::Random& r, int) { return r.real(-1e300, 1e300); },
        [](support::Random& r, int) {
            return std::exp(r.real(-700.0, 700.0)) * (r.index(2) * 2 - 1);
        },
        [](support::Random& r, int) { return 1.0 + std::ldexp(1.0, -52) * r.index(1000); },
        [](support::Random& r, int) {
            return static_cast<double>(static_cast<float>(r.real(-1.0, 1.0)));
        },
        [](support::Random& r, int) { return r.index(2) == 0 ? -0.0 : 0.0; },
        [](support::Random& r, int) {
            return r.index(3) == 0 ? infinity : r.index(2) == 0 ? -infinity : 5e-324 * r.index(9);
        },
        [](support::Random&, int i) { return static_cast<double>(i / 3); },
        [](support::Random&, int i) { return static_cast<double>(-i); },
        [](support::Random& r, int i) { return i == 77 ? 1e308 : r.real(0.0, 1e-300); },
        [](support::Random&, int) { return 42.0; },
    };
    for (Make const make : distributions) {
        std::vector<double> doubles;
        std::vector<float> floats;
        std::vector<std::int64_t> longs;
        std::vector<std::uint8_t> bytes;
        for (int i = 0; i < 4096; ++i) {
            doubles.push_back(make(random, i));
            floats.push_back(static_cast<float>(doubles.back()));
            longs.push_back(static_cast<std::int64_t>(random.next()));
            bytes.push_back(static_cast<std::uint8_t>(random.index(256)));
        }
        auto const byValue = [](auto const& values) {
            return [&values](int a, int b) {
                return values[static_cast<std::size_t>(a)] < values[static_cast<std::size_t>(b)];
            };
        };
        auto const expectedDoubles = stablySorted(consecutive(4096), byValue(doubles));
        auto const expectedFloats = stablySorted(consecutive(4096), byValue(floats));
        auto const expectedLongs = stablySorted(consecutive(4096), byValue(longs));
        auto const expectedBytes = stablySorted(consecutive(4096), byValue(bytes));
        support::withPools([&](int) {
            CHECK(ordered(doubles) == expectedDoubles);
            CHECK(ordered(floats) == expectedFloats);
            CHECK(ordered(longs) == expectedLongs);
            CHECK(ordered(bytes) == expectedBytes);
        });
    }
}

TEST_CASE("equalKeysAskTheComparison") {
    support::withPools([](int) {
        support::Random random(4);
        std::vector<std::pair<float, float>> values;
        for (int i = 0; i < 6000; ++i)
            values.push_back(
                {static_cast<float>(random.index(100)), static_cast<float>(random.index(50))});
        TwoStage const compare{values.data()};
        CHECK(smpSorted(consecutive(6000), compare) == stablySorted(consecutive(6000), compare));
    });
}

TEST_CASE("predicateSortsLikeItsComparison") {
    support::withPools([](int) {
        support::Random random(5);
        std::vector<Named> values;
        for (int i = 0; i < 2500; ++i)
            values.push_back({random.index(300), i});
        bool (*const descending)(Named const&, Named const&) = [](Named const& a, Named const& b) {
            return a.key > b.key;
        };
        Ordering ordering;
        ordering.sort(values.data(), values.data() + values.size(), descending);
        Ordering::IndexedBinaryPredicate<Named, bool (*)(Named const&, Named const&)> const compare{
            values.data(), descending};
        CHECK(std::vector<int>(ordering.begin(), ordering.end()) ==
              stablySorted(consecutive(2500), compare));
    });
}

TEST_CASE("nanComesLastWhereAKeyTellsIt") {
    support::withPools([](int) {
        CHECK(ordered(std::vector<double>{notANumber, 1.0, -notANumber, -infinity, infinity}) ==
              std::vector<int>{3, 1, 4, 0, 2});
        support::Random random(6);
        std::vector<double> values;
        for (int i = 0; i < 5000; ++i)
            values.push_back(random.index(4) == 0 ? notANumber : random.real(-1.0, 1.0));
        std::vector<int> const result = ordered(values);
        auto const firstNan = std::find_if(result.begin(), result.end(), [&](int i) {
            return std::isnan(values[static_cast<std::size_t>(i)]);
        });
        CHECK(std::is_sorted(result.begin(), firstNan, [&](int a, int b) {
            return values[static_cast<std::size_t>(a)] < values[static_cast<std::size_t>(b)];
        }));
        CHECK(std::all_of(firstNan, result.end(),
                          [&](int i) { return std::isnan(values[static_cast<std::size_t>(i)]); }));
        CHECK(std::is_sorted(firstNan, result.end()));
    });
}

TEST_CASE("comparisonsWithoutReasonStillGiveAPermutation") {
    support::withPools([](int) {
        for (int const count : {1, 2, 3, 12, 13, 100, 3000}) {
            std::vector<double> values;
            support::Random random(7);
            for (int i = 0; i < count; ++i)
                values.push_back(random.index(3) == 0 ? notANumber : random.real(0.0, 1.0));
            auto const value = [&](int i) { return values[static_cast<std::size_t>(i)]; };
            auto const permuted = [&](auto const& compare) {
                std::vector<int> result = smpSorted(consecutive(count), compare);
                std::sort(result.begin(), result.end());
                return result == consecutive(count);
            };
            CHECK(permuted([&](int a, int b) { return value(a) < value(b); }));
            CHECK(permuted([](int, int) { return true; }));
            CHECK(permuted([](int a, int b) { return (a * 31 + b * 17) % 7 < 3; }));
        }
    });
}

TEST_CASE("indicesNeedNotStartAtZeroNorBeWithoutGaps") {
    support::withPools([](int) {
        support::Random random(8);
        std::vector<double> values;
        for (int i = 0; i < 20000; ++i)
            values.push_back(random.index(500));
        Ordering::IndexedLessThan<double> const less{values.data()};
        std::vector<int> const offset = [] {
            std::vector<int> some = consecutive(5000);
            for (int& index : some)
                index += 7000;
            return some;
        }();
        CHECK(smpSorted(offset, less) == stablySorted(offset, less));
        std::vector<int> gaps = offset;
        for (int& index : gaps)
            index = 2 * index - 7000;
        CHECK(smpSorted(gaps, less) == stablySorted(gaps, less));
        gaps[10] = gaps[4000];  // the same index twice, as if consecutive by its ends
        CHECK(smpSorted(gaps, less) == stablySorted(gaps, less));
        std::vector<int> repeated = offset;
        repeated[100] = repeated[101];
        CHECK(smpSorted(repeated, less) == stablySorted(repeated, less));
    });
}

TEST_CASE("orderingResizesToConsecutiveNumbersOrStaysAsItWas") {
    Ordering ordering;
    CHECK(ordering.size() == 0);
    ordering.resize(5);
    CHECK(std::vector<int>(ordering.begin(), ordering.end()) == consecutive(5));
    CHECK(ordering[4] == 4);
    CHECK_THROWS_AS(ordering.resize(1ull << 31), std::bad_alloc);
    CHECK_THROWS_AS(ordering.resize(~0ull), std::bad_alloc);
    CHECK(ordering.size() == 5);
    ordering.resize(0);
    CHECK(ordering.size() == 0);
    double const values[] = {3.0, 1.0, 2.0};
    ordering.sort(values, values + 3);
    CHECK(std::vector<int>(ordering.begin(), ordering.end()) == std::vector<int>{1, 2, 0});
    ordering.sort(values, values);
    CHECK(ordering.size() == 0);
}

TEST_CASE("sortKeysOrderAsTheirValues") {
    using koUtil::sortKeyOf;
    double const ascending[] = {-infinity, -1e308, -1.0,  -5e-324,  0.0,
                                5e-324,    1.0,    1e308, infinity, notANumber};
    for (int i = 0; i + 1 < 10; ++i) {
        CHECK(sortKeyOf(ascending[i]) < sortKeyOf(ascending[i + 1]));
        CHECK(sortKeyOf(static_cast<float>(ascending[i])) <=
              sortKeyOf(static_cast<float>(ascending[i + 1])));
    }
    CHECK(sortKeyOf(-0.0) == sortKeyOf(0.0));
    CHECK(sortKeyOf(-0.0f) == sortKeyOf(0.0f));
    CHECK(sortKeyOf(-1) < sortKeyOf(0));
    CHECK(sortKeyOf(std::numeric_limits<int>::min()) < sortKeyOf(std::numeric_limits<int>::max()));
    CHECK(sortKeyOf(std::numeric_limits<std::int64_t>::min()) == 0);
    CHECK(sortKeyOf(static_cast<std::int8_t>(-128)) == 0);
    CHECK(sortKeyOf(255u) == 255);
}
