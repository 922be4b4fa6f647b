#include "support/builders.h"

#include "trimora/assembly/pointPolygonIntersect2D.h"

#include <cmath>
#include <doctest/doctest.h>
#include <vector>

using koGeom::pointPolygonIntersect2D;

namespace {

bool holds(std::vector<float> polygon, float x, float y) {
    int const n = static_cast<int>(polygon.size() / 2);
    if (n > 0)
        polygon.insert(polygon.end(), {polygon[0], polygon[1]});
    std::vector<float> const copy(polygon);
    float const point[2] = {x, y};
    return pointPolygonIntersect2D(point, reinterpret_cast<float const(*)[2]>(copy.data()), n);
}

std::vector<float> const square = {0, 0, 4, 0, 4, 4, 0, 4};
std::vector<float> const diamond = {0, -2, 2, 0, 0, 2, -2, 0};

}  // namespace

TEST_CASE("insideIsToldFromOutside") {
    CHECK(holds(square, 1, 1));
    CHECK_FALSE(holds(square, -1, 1));
    CHECK_FALSE(holds(square, 5, 1));
    CHECK_FALSE(holds(square, 1, 5));
    CHECK(holds(diamond, 0.5f, 0.5f));
    CHECK_FALSE(holds(diamond, 1.5f, 1.5f));
    std::vector<float> const bowTie = {0, 0, 4, 4, 4, 0, 0, 4};
    CHECK(holds(bowTie, 3.5f, 2));
    CHECK_FALSE(holds(bowTie, 2, 3.5f));
}

TEST_CASE("aPointOnALevelEdgeIsInside") {
    CHECK(holds(square, 2, 0));
    CHECK(holds(square, 2, 4));
    CHECK(holds(square, 0, 0));
    CHECK_FALSE(holds(square, 5, 0));
}

// At the height of a corner an edge counts its start and not its end: two edges that pass through
// the corner in one direction count once, but where one rises to it and the next falls away again,
// only the second does.
TEST_CASE("theRayThroughACornerCountsLiterally") {
    CHECK(holds(diamond, 0, 0));    // through the corner (2, 0)
    CHECK(holds(diamond, -5, 2));   // beside the top (0, 2): counted once
    CHECK(holds(diamond, -5, -2));  // beside the bottom
    CHECK_FALSE(holds(diamond, -5, 0));
}

TEST_CASE("fewerThanThreeCornersHoldNothing") {
    CHECK_FALSE(holds({}, 0, 0));
    CHECK_FALSE(holds({0, 0, 1, 0}, 0.5f, 0));
    float const point[2] = {0, 0};
    CHECK_FALSE(pointPolygonIntersect2D(point, nullptr, 2));
    CHECK_FALSE(pointPolygonIntersect2D(point, nullptr, -1));
}

TEST_CASE("aRoundPolygonAgreesWithItsCircle") {
    std::vector<float> circle;
    for (int i = 0; i < 720; ++i) {
        double const angle = (i + 0.3) * 3.14159265358979 / 360.0;
        circle.insert(circle.end(),
                      {static_cast<float>(std::cos(angle)), static_cast<float>(std::sin(angle))});
    }
    support::Random random(7);
    for (int round = 0; round < 2000; ++round) {
        double const x = random.real(-1.5, 1.5);
        double const y = random.real(-1.5, 1.5);
        double const radius = std::hypot(x, y);
        if (std::abs(radius - 1.0) > 0.001)
            REQUIRE(holds(circle, static_cast<float>(x), static_cast<float>(y)) == (radius < 1.0));
    }
}
