#include "planePolygons.h"

#include "trimora/planar/convexHull2d.h"
#include "trimora/planar/polygonRelations.h"

#include <doctest/doctest.h>
#include <iostream>
#include <sstream>

using namespace planar;

namespace {

struct Answer {
    EPolygonsIntersection status = polygonsInvalid;
    Polyline2d result;

    double area() const { return std::abs(areaOf(pointsOf(result))); }
};

Answer meet(Points const& first, Points const& second, double tolerance = 1e-6) {
    Answer answer;
    answer.result = polylineOf(rectangle(0, 0, 9, 9));
    std::ostringstream printed;
    std::streambuf* const usual = std::cout.rdbuf(printed.rdbuf());
    intersectPolygons(polylineOf(first), polylineOf(second), answer.status, answer.result,
                      tolerance);
    std::cout.rdbuf(usual);
    return answer;
}

/// The polygon with another corner as its first one.
Points turned(Points polygon, int by) {
    polygon.pop_back();
    std::rotate(polygon.begin(), polygon.begin() + by % static_cast<int>(polygon.size()),
                polygon.end());
    return closed(polygon);
}

/// Convex, with corners on a lattice of a few places: two of them share corners and pieces of edges more often than not.
Points latticeConvex(support::Random& random, int side) {
    for (;;) {
        Points points;
        for (int i = 3 + random.index(5); i > 0; --i)
            points.emplace_back(random.index(side), random.index(side));
        Points hull;
        convexHull2d(points, hull);
        if (hull.size() > 2)
            return turned(closed(hull), random.index(8));
    }
}

}  // namespace

//         +-----------+
//         |           |
//   +-----x-----+     |
//   |     |     |     |
//   |     +-----y-----+
//   +-----------+
TEST_CASE("overlappingSquaresShareASquare") {
    Points const first = rectangle(0, 0, 2, 2);
    Points const second = rectangle(1, 1, 3, 3);
    for (int start = 0; start < 4; ++start)
        for (Points const& other : {second, reversed(second)})
            for (Points const& one : {first, reversed(first)}) {
                Answer const answer = meet(turned(one, start), turned(other, 3 * start));
                CHECK(answer.status == polygonsOverlapping);
                CHECK(answer.result.getClosed());
                CHECK(answer.area() == doctest::Approx(1.0));
                CHECK(answer.result.getBoundingBox() == Range2d(1, 1, 2, 2));
            }
    // A crossing stands twice where the walk changes over to an edge that starts outside.
    CHECK(pointsOf(meet(first, second).result) ==
          Points{{2, 1}, {2, 2}, {1, 2}, {1, 2}, {1, 1}, {2, 1}});
}

TEST_CASE("polygonsWithinEachOtherAreHandedOverAsTheyAre") {
    Points const large = rectangle(0, 0, 4, 4);
    Points const small = closed({{1, 1}, {2, 1}, {2, 3}});
    Answer const firstInSecond = meet(small, large);
    CHECK(firstInSecond.status == polygonsFirstInSecond);
    CHECK(pointsOf(firstInSecond.result) == small);
    Answer const secondInFirst = meet(large, reversed(small));
    CHECK(secondInFirst.status == polygonsSecondInFirst);
    CHECK(pointsOf(secondInFirst.result) == reversed(small));

    Answer const same = meet(large, large);
    CHECK(same.status == polygonsEqual);
    CHECK(pointsOf(same.result) == large);
    CHECK(meet(large, turned(reversed(large), 2)).status == polygonsEqual);
    // All corners of the inner one on the boundary.
    CHECK(meet(closed({{2, 0}, {4, 2}, {2, 4}, {0, 2}}), large).status == polygonsFirstInSecond);
    CHECK(meet(large, rectangle(0, 0, 4, 2)).status == polygonsSecondInFirst);
}

TEST_CASE("polygonsApartShareNothing") {
    Points const first = rectangle(0, 0, 2, 2);
    for (Points const& other : {rectangle(10, 10, 12, 12), rectangle(2.001, 0, 4, 2)}) {
        for (Answer const& answer : {meet(first, other), meet(other, first)}) {
            CHECK(answer.status == polygonsDisjoint);
            CHECK(answer.result.getNumVertices() == 0);
        }
    }
}

// The place where they touch is met three times or more, on the way in, as a corner and on the way out.
TEST_CASE("polygonsThatTouchShareAPlaceWithoutArea") {
    Points const first = rectangle(0, 0, 2, 2);
    for (Points const& other : {rectangle(2, 2, 4, 4), closed({{2, 1}, {4, 0}, {4, 2}})}) {
        for (Answer const& answer : {meet(first, other), meet(other, first)}) {
            CHECK(answer.status == polygonsOverlapping);
            CHECK(answer.result.getBoundingBox() == Range2d(other[0], other[0]));
        }
    }
    Answer const alongEdge = meet(first, rectangle(2, 0, 4, 2));
    CHECK(alongEdge.status == polygonsOverlapping);
    CHECK(alongEdge.result.getBoundingBox() == Range2d(2, 0, 2, 2));
}

TEST_CASE("invalidPolygonsAreToldApart") {
    Points const good = rectangle(0, 0, 2, 2);
    double const nan = std::numeric_limits<double>::quiet_NaN();
    Points const open = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
    for (Points const& bad : {Points(), Points{{0, 0}, {1, 0}, {1, 1}}, open,
                              closed({{0, 0}, {1, 0}, {2, 0}}), Points(4, Point2(nan, nan))}) {
        for (Answer const& answer : {meet(good, bad), meet(bad, good)}) {
            CHECK(answer.status == polygonsInvalid);
            CHECK(answer.result.getNumVertices() == 0);
        }
    }
}

TEST_CASE("theResultMayBeOneOfThePolygons") {
    Polyline2d polygon = polylineOf(rectangle(0, 0, 2, 2));
    EPolygonsIntersection status = polygonsInvalid;
    intersectPolygons(polygon, polylineOf(rectangle(1, 1, 3, 3)), status, polygon, 1e-6);
    CHECK(status == polygonsOverlapping);
    CHECK(polygon.getBoundingBox() == Range2d(1, 1, 2, 2));
    intersectPolygons(polygon, polygon, status, polygon, 1e-6);
    CHECK(status == polygonsEqual);
    CHECK(polygon.getNumVertices() == 6);
}

TEST_CASE("convexPolygonsShareWhatHalfPlanesLeave") {
    support::Random random(1);
    int counts[6] = {};
    for (int round = 0; round < 4000; ++round) {
        Points first = convex(random, 3 + random.index(12), {0, 0}, 1.0);
        Points second =
            convex(random, 3 + random.index(12), {random.real(-1.5, 1.5), random.real(-1.5, 1.5)},
                   random.index(4) == 0 ? random.real(4.0, 6.0) : random.real(0.1, 1.5));
        double const expected = areaOf(clipped(first, second));
        if (round % 2 == 0)
            first = reversed(first);
        if (round % 4 < 2)
            second = reversed(second);
        Answer const answer = meet(first, second);
        ++counts[answer.status];
        CHECK(answer.area() == doctest::Approx(expected).epsilon(1e-9));
        CHECK((answer.status == polygonsDisjoint) == (expected == 0.0));
        CHECK((answer.result.getNumVertices() == 0 || answer.result.getClosed()));
    }
    for (int const status :
         {polygonsDisjoint, polygonsSecondInFirst, polygonsFirstInSecond, polygonsOverlapping})
        CHECK(counts[status] > 100);
}

TEST_CASE("sharedCornersAndEdgesAreMet") {
    // One corner in common, overlapping.
    Points const first = rectangle(0, 0, 2, 2);
    CHECK(meet(first, closed({{0, 0}, {3, 1}, {1, 3}})).area() ==
          doctest::Approx(areaOf(clipped(closed({{0, 0}, {3, 1}, {1, 3}}), first))));
    // A stretch of an edge in common, on the same side.
    Answer const along = meet(first, rectangle(1, 0, 3, 1));
    CHECK(along.status == polygonsOverlapping);
    CHECK(along.area() == doctest::Approx(1.0));
    // A cross: no corner of either lies in the other.
    Answer const cross = meet(rectangle(-3, -1, 3, 1), rectangle(-1, -3, 1, 3));
    CHECK(cross.status == polygonsOverlapping);
    CHECK(cross.area() == doctest::Approx(4.0));
}

// As they lie on the lattice, where all of it is exact, and turned, far off and of other sizes, where rounding puts corners beside
// the edges that they lie on and tells a crossing in two ways.
TEST_CASE("polygonsThatShareCornersAndEdgesShareWhatHalfPlanesLeave") {
    support::Random random(4);
    int counts[6] = {};
    for (int round = 0; round < 12000; ++round) {
        int const side = 4 + round % 5;
        Points first = latticeConvex(random, side);
        Points second = latticeConvex(random, side);
        double const scale = round % 4 == 0 ? 1.0 : std::pow(10.0, round % 7 - 2);
        if (round % 4 != 0) {
            double const angle = 0.1 * round;
            for (Points* const polygon : {&first, &second})
                for (Point2& p : *polygon)
                    p.set(scale * (17.0 + p.x * std::cos(angle) - p.y * std::sin(angle)),
                          scale * (p.x * std::sin(angle) + p.y * std::cos(angle)));
        }
        double const expected = areaOf(clipped(first, second));
        if (round % 3 == 0)
            first = reversed(first);
        if (round % 5 < 2)
            second = reversed(second);
        Answer const answer = meet(first, second);
        ++counts[answer.status];
        INFO(round);
        CHECK(std::abs(answer.area() - expected) < 1e-7 * scale * std::max(scale, 1.0));
        CHECK((answer.result.getNumVertices() == 0 || answer.result.getClosed()));
    }
    CHECK(counts[polygonsInvalid] == 0);
    CHECK(counts[polygonsOverlapping] > 5000);
    for (int const status : {polygonsDisjoint, polygonsSecondInFirst, polygonsFirstInSecond})
        CHECK(counts[status] > 100);
}

// Edges of 3e-7, below the 1e-6 to which segments are classified: the walk is not back while it has not been away.
TEST_CASE("fineEdgesDoNotEndTheWalk") {
    auto const disk = [](double x) {
        Points points;
        for (int i = 0; i < 2000; ++i) {
            double const angle = 2.0 * std::numbers::pi * (i + 0.3) / 2000;
            points.emplace_back(1e-4 * (x + std::cos(angle)), 1e-4 * std::sin(angle));
        }
        return closed(points);
    };
    Points const first = disk(0.0);
    Points const second = disk(0.7);
    double const expected = areaOf(clipped(first, second));
    for (int const start : {0, 500, 1000})
        CHECK(meet(turned(first, start), second).area() / expected ==
              doctest::Approx(1.0).epsilon(0.02));
}

TEST_CASE("walksEndOnHostilePolygons") {
    support::Random random(2);
    int numOverlapping = 0;
    for (int round = 0; round < 4000; ++round) {
        Points const first = hostilePolygon(random, 10);
        Points const second =
            round % 3 == 0 ? star(random, 20, {1.5, 1.5}, 2.0) : hostilePolygon(random, 10);
        Answer const answer = meet(first, second, round % 5 == 0 ? hostileNumber(random) : 1e-6);
        numOverlapping += answer.status == polygonsOverlapping;
        if (answer.status == polygonsDisjoint || answer.status == polygonsInvalid)
            CHECK(answer.result.getNumVertices() == 0);
    }
    CHECK(numOverlapping > 100);
}
