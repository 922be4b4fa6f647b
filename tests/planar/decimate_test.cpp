#include "polylineBuilders.h"

#include "trimora/contract/koLinear/lines.h"
#include "trimora/planar/decimate.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <set>
#include <vector>

using namespace koGeom;
using planarTest::Points;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double noNumber = std::numeric_limits<double>::quiet_NaN();

/// The indices that stay: parameters number the vertices.
std::vector<int> remaining(Points const& points, double tolerance) {
    Polyline polyline = planarTest::polylineOf(points);
    decimate(polyline, tolerance);
    std::vector<int> indices;
    for (int i = 0; i < polyline.getNumVertices(); ++i) {
        Polyline::vertex const& v = polyline.getVertex(i);
        indices.push_back(static_cast<int>(v.parameter));
        Point const& original = points[static_cast<std::size_t>(v.parameter)];
        bool const isOriginal = v == Polyline::vertex(original, v.parameter);
        CHECK((isOriginal || std::isnan(v.x + v.y + v.z)));
    }
    return indices;
}

/// The rule as it is told: an ordered set, neighbours found by walking, every error over its whole span.
std::vector<int> plainlyRemaining(Points const& points, double tolerance) {
    int const n = static_cast<int>(points.size());
    std::vector<bool> isRemoved(points.size());
    std::vector<double> errors(points.size(), std::numeric_limits<double>::max());
    auto const neighbour = [&](int i, int step) {
        do
            i += step;
        while (isRemoved[static_cast<std::size_t>(i)]);
        return i;
    };
    std::set<std::pair<double, int>> order;
    auto const insert = [&](int i) {
        double& error = errors[static_cast<std::size_t>(i)];
        if (i > 0 && i < n - 1) {
            int const from = neighbour(i, -1);
            int const to = neighbour(i, 1);
            Line const line(points[static_cast<std::size_t>(from)],
                            points[static_cast<std::size_t>(to)]);
            error = 0.0;
            for (int k = from + 1; k < to; ++k)
                error = std::max(error, distance(points[static_cast<std::size_t>(k)], line));
        }
        order.insert({error, i});
    };
    for (int i = 0; i < n; ++i)
        insert(i);
    while (order.begin()->first < tolerance) {
        int const least = order.begin()->second;
        order.erase(order.begin());
        isRemoved[static_cast<std::size_t>(least)] = true;
        for (int const i : {neighbour(least, -1), neighbour(least, 1)}) {
            order.erase({errors[static_cast<std::size_t>(i)], i});
            insert(i);
        }
    }
    std::vector<int> indices;
    for (int i = 0; i < n; ++i)
        if (!isRemoved[static_cast<std::size_t>(i)])
            indices.push_back(i);
    return indices;
}

Points noisyWave(support::Random& random, int n) {
    Points points;
    for (int i = 0; i < n; ++i)
        points.emplace_back(0.1 * i, 3.0 * std::sin(0.02 * i) + random.real(-0.1, 0.1),
                            random.real(-0.1, 0.1));
    return points;
}

}  // namespace

//   1       3
//   .   2   .
// 0   '   '   4      heights 0, 1, 0.5, 1, 0 at x = 0, 1, 2, 3, 4
TEST_CASE("removesTheVertexOfLeastErrorFirst") {
    Points const points{{0, 0, 0}, {1, 1, 0}, {2, 0.5, 0}, {3, 1, 0}, {4, 0, 0}};
    CHECK(remaining(points, 0.4) == std::vector{0, 1, 2, 3, 4});
    CHECK(remaining(points, 0.501) == std::vector{0, 1, 3, 4});
    CHECK(remaining(points, 0.5) == std::vector{0, 1, 2, 3, 4});  // not below
    CHECK(remaining(points, 100.0) == std::vector{0, 4});
}

// The spike at 2 runs along the line: its error is nought.  0 --- 1 --- 3 --- 4 ------- 2
TEST_CASE("spikesAlongTheLineHaveNoError") {
    Points const points{{0, 0, 0}, {1, 0, 0}, {9, 0, 0}, {2, 0, 0}, {3, 0, 0}};
    CHECK(remaining(points, 1e-9) == std::vector{0, 4});
}

TEST_CASE("straightRunsLoseTheirLowestVertexFirst") {
    // Taking 1 and then 2 out of 0 - 1 - 2 - 3 leaves nothing to take; had 2 gone first, the outcome would be the same, but not
    // here: 3 stands aside by 0.3, and counts for the span of 2 once 1 is gone.
    Points points;
    for (int i = 0; i < 6; ++i)
        points.emplace_back(i, 0.0, 0.0);
    points.emplace_back(6.0, 1.0, 0.0);
    CHECK(remaining(points, 0.1) == std::vector{0, 5, 6});
    CHECK(remaining(points, 0.17) == plainlyRemaining(points, 0.17));
}

TEST_CASE("chordsWithoutLengthMeasureToTheirPoint") {
    Points const points{{0, 0, 0}, {0.2, 0, 0}, {0, 0, 0}, {0, 0.5, 0}, {0, 0, 0}};
    CHECK(remaining(points, 0.3) == plainlyRemaining(points, 0.3));
    CHECK(remaining(points, 0.1) == std::vector{0, 1, 2, 3, 4});
    CHECK(remaining(Points(50, Point(1, 2, 3)), 1e-300) == std::vector{0, 49});
}

TEST_CASE("whatCannotBeDecimatedStaysAsItIs") {
    for (int n : {0, 1, 2})
        CHECK(remaining(Points(static_cast<std::size_t>(n)), 10.0).size() ==
              static_cast<std::size_t>(n));
    Points const straight{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}};
    for (double tolerance : {0.0, -1.0, noNumber, -infinity})
        CHECK(remaining(straight, tolerance) == std::vector{0, 1, 2});
    for (double tolerance : {1e-300, infinity})
        CHECK(remaining(straight, tolerance) == std::vector{0, 2});
}

TEST_CASE("decimationIsTheGreedyRuleToTheLetter") {
    support::Random random(7);
    for (int round = 0; round < 60; ++round) {
        int const n = 3 + random.index(120);
        Points const walk = planarTest::randomWalk(random, n);
        Points lattice;
        for (int i = 0; i < n; ++i)
            lattice.push_back(planarTest::latticePoint(random, round % 2 == 0 ? 2 : 4));
        Points straight;  // forward and back along an axis, with a step aside here and there
        for (int i = 0; i < n; ++i)
            straight.emplace_back(random.index(9) == 0 ? -i : i, random.index(30) == 0 ? 1.0 : 0.0,
                                  0.0);
        Points diagonal;
        for (int i = 0; i < n; ++i)
            diagonal.emplace_back(0.1 * i, 0.3 * i, 0.7 * i);
        for (Points const& points : {walk, noisyWave(random, n), lattice, straight, diagonal})
            for (double tolerance : {1e-12, 0.05, 0.5, 1.0, 2.5})
                CHECK(remaining(points, tolerance) == plainlyRemaining(points, tolerance));
    }
}

TEST_CASE("everyVertexIsNearTheLineOfItsSpan") {
    support::Random random(3);
    Points const points = noisyWave(random, 5000);
    for (double tolerance : {0.05, 0.15, 0.3, 4.0}) {
        std::vector<int> const kept = remaining(points, tolerance);
        double largest = 0.0;
        for (std::size_t k = 0; k + 1 < kept.size(); ++k)
            for (int i = kept[k] + 1; i < kept[k + 1]; ++i)
                largest = std::max(largest,
                                   distance(points[static_cast<std::size_t>(i)],
                                            Line(points[static_cast<std::size_t>(kept[k])],
                                                 points[static_cast<std::size_t>(kept[k + 1])])));
        CHECK(largest < tolerance);
    }
    // Noise of 0.1 round a wave of curvature radius 8: spans as long as a chord of that circle may be.
    CHECK(remaining(points, 0.3).size() < 250);
}

TEST_CASE("longStraightRunsTakeNoSquareOfTime") {
    Points axis;
    for (int i = 0; i < 300000; ++i)
        axis.emplace_back(i, 0.0, 0.0);
    CHECK(remaining(axis, 1e-6).size() == 2);
    CHECK(remaining(Points(300000, Point(1, 2, 3)), 1e-6).size() == 2);
}

TEST_CASE("verticesThatAreNoNumbersStay") {
    support::Random random(5);
    double const odd[] = {noNumber, infinity, -infinity, 1e308, -1e308, 1e-308, 0.0, 1.0};
    for (int round = 0; round < 300; ++round) {
        Points points;
        for (int i = 0; i < 40; ++i)
            points.emplace_back(odd[random.index(8)], odd[random.index(8)], odd[random.index(8)]);
        std::vector<int> const kept = remaining(points, round % 2 == 0 ? 1.0 : infinity);
        std::set<int> const stays(kept.begin(), kept.end());
        for (int i = 0; i < 40; ++i) {
            Point const& p = points[static_cast<std::size_t>(i)];
            if (std::isnan(p.x) || std::isnan(p.y) || std::isnan(p.z))
                CHECK(stays.count(i) == 1);
        }
    }
}
