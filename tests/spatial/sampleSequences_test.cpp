#include "support/builders.h"

#include "trimora/contract/koLinear/random.h"
#include "trimora/spatial/sampleSequences.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <doctest/doctest.h>
#include <set>
#include <vector>

using namespace koGeom;

namespace {

/// Largest gap between how many numbers lie below x and how many should, over all x: the star discrepancy.
double discrepancy(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    auto const n = static_cast<double>(values.size());
    double worst = 0.0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        auto const k = static_cast<double>(i);
        worst = std::max({worst, std::abs(k / n - values[i]), std::abs((k + 1) / n - values[i])});
    }
    return worst;
}

double randomDiscrepancy(int count) {
    support::Random random(2);
    std::vector<double> values;
    for (int i = 0; i < count; ++i)
        values.push_back(random.real(0.0, 1.0));
    return discrepancy(values);
}

}  // namespace

TEST_CASE("reversedBitsArePermutations") {
    HammersleyPermutation2 table;
    CHECK(table[5] == 0);
    CHECK(table.map2d(3, 4) == 0);
    CHECK(table.mapPeriodic(3, 4) == 0);
    table.calculate(3);
    int const eight[] = {0, 4, 2, 6, 1, 5, 3, 7};
    for (int i = 0; i < 8; ++i) {
        CHECK(table[i] == eight[i]);
        CHECK(table[i + 8] == eight[i]);
        CHECK(table[i - 8] == eight[i]);
    }
    CHECK(table.map2d(9, 3) == 8 + 6);
    CHECK(table.mapPeriodic(23, 10) == 3 * 8 + 2);
    table.mapPeriodic(INT_MIN, -1);
    table.mapPeriodic(7, 0);

    HammersleyPermutation2 const shared = table;
    for (int bits : {0, 1, 7, 15}) {
        table.calculate(bits);
        std::set<int> entries;
        for (int i = 0; i < 1 << bits; ++i)
            entries.insert(table[i]);
        CHECK(entries.size() == std::size_t(1) << bits);
        CHECK(*entries.rbegin() == (1 << bits) - 1);
    }
    CHECK(shared[1] == 4);  // the copy keeps what it shared
    std::set<int> cells;
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            cells.insert(shared.map2d(x, y));
    CHECK(cells.size() == 64);
    for (int bits : {16, 31, 32, -1, INT_MAX, INT_MIN}) {
        table.calculate(bits);
        CHECK(table[1] == 0);
    }

    table.calculate(10);
    std::vector<double> prefix;
    for (int i = 0; i < 300; ++i)  // even any part of the table is spread out
        prefix.push_back(table[i] / 1024.0);
    CHECK(discrepancy(prefix) < 0.25 * randomDiscrepancy(300));
}

TEST_CASE("scrambledInversesCoverTheRange") {
    ScrambledHammersleySequence sequence;
    sequence.calculate(5, 7);
    // Digits 0, 3, 2, 1, 4 for 0 to 4: 5 is "10", 6 is "11".
    double const expected[] = {0.0, 0.6, 0.4, 0.2, 0.8, 3.0 / 25.0, 0.6 + 3.0 / 25.0};
    for (int i = 0; i < 7; ++i) {
        CHECK(double(sequence[i]) == doctest::Approx(expected[i]));
        CHECK(sequence[i + 7] == sequence[i]);
        CHECK(sequence[i - 7] == sequence[i]);
    }
    ScrambledHammersleySequence const shared = sequence;
    for (int base : {3, 5, 7}) {
        sequence.calculate(base, 1000);
        std::vector<double> values;
        for (int i = 0; i < 1000; ++i)
            values.push_back(double(sequence[i]));
        CHECK(values.front() == 0.0);
        CHECK(std::set<double>(values.begin(), values.end()).size() == 1000);
        CHECK(discrepancy(values) < 0.25 * randomDiscrepancy(1000));
    }
    CHECK(shared[1] == 0.6f);
    for (auto const& [base, count] : {std::pair(2, 9), {0, 9}, {-3, 9}, {3, 0}, {3, -9}}) {
        sequence.calculate(base, count);
        CHECK(sequence[4] == 0.0f);
    }
}

TEST_CASE("randomDirectionsAreUniformUnitVectors") {
    ::srand48(7);
    Vector literal;
    literal.z = 2.0 * drand48() - 1.0;
    literal.y = 2.0 * drand48() - 1.0;
    literal.x = 2.0 * drand48() - 1.0;
    REQUIRE(literal.length2() < 1.0);
    ::srand48(7);
    Vector first;
    randomUnitVector(first);
    CHECK(distance(Point::origin + first, Point::origin + literal / literal.length()) < 1e-15);

    ko::vector<Vector> vectors(20000);
    Vector const axis(0.0, -3.0, 0.0);
    computeHemisphereVectors(axis, vectors);
    Vector sum;
    for (Vector const& v : vectors) {
        CHECK(std::abs(v.length() - 1.0) < 1e-12);
        CHECK(dot(v, axis) >= 0.0);
        sum += v;
    }
    sum /= 20000.0;  // the middle of a half sphere is half its radius up
    CHECK(std::abs(sum.x) < 0.02);
    CHECK(std::abs(sum.y + 0.5) < 0.02);
    CHECK(std::abs(sum.z) < 0.02);
}

TEST_CASE("mapsOfTheSphereKeepAreasAndInvert") {
    VectorFlt w;
    for (int i = 1; i < 40; ++i)
        for (int j = 1; j < 40; ++j) {
            float const u = static_cast<float>(i) / 40.0f, v = static_cast<float>(j) / 40.0f;
            mapSphericalToUniformCartesian(u, v, w);
            CHECK(std::abs(w.length() - 1.0f) < 1e-6f);
            CHECK(std::abs(w.z - (2.0f * v - 1.0f)) < 1e-6f);  // equal heights, equal areas
            float backU, backV;
            mapUniformCartesianToSpherical(w, backU, backV);
            CHECK(std::abs(backU - u) < 1e-5f);
            CHECK(std::abs(backV - v) < 1e-5f);

            mapSphericalCapToUniformCartesian(u, v, 0.5f, w);
            CHECK(std::abs(w.length() - 1.0f) < 1e-6f);
            CHECK(std::abs(w.z - (1.0f - 0.5f * v)) < 1e-6f);
            CHECK(std::cos(std::atan2(w.y, w.x) - u * 6.2831855f) > 1.0f - 1e-6f);
        }
    float u = 5.0f, v = 5.0f;
    mapUniformCartesianToSpherical({0.0f, 0.0f, 1.0f}, u, v);
    CHECK(u == 0.0f);
    CHECK(v == 1.0f);
}
