#include "support/builders.h"

#include "trimora/contract/koGeom/MeshCoord.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <vector>

using namespace koGeom;

namespace {

// Triangle 0 is (0,0,0) (4,0,0) (0,4,0); triangle 1 is degenerate, its longest edge from corner 1
// to corner 2.
float const vertices[] = {0, 0, 0, 4, 0, 0, 0, 4, 0, 1, 1, 0, 3, 3, 0};
int const triangles[] = {0, 1, 2, 3, 0, 4};

constexpr double infinity = std::numeric_limits<double>::infinity();

// The least distance over a fine net of points of the triangle.
double sampledDistance(Point const (&corners)[3], Point const& point) {
    int const steps = 60;
    double least = infinity;
    for (int i = 0; i <= steps; ++i) {
        for (int j = 0; i + j <= steps; ++j) {
            MeshCoordBase const coord(double(i) / steps, double(j) / steps,
                                      double(steps - i - j) / steps);
            least = std::min(least, distance(coord.evaluateBase(corners), point));
        }
    }
    return least;
}

bool liesInside(MeshCoordBase const& coord) {
    double sum = 0.0;
    bool inside = true;
    for (double const weight : coord.weights) {
        inside = inside && weight >= 0.0 && weight <= 1.0;
        sum += weight;
    }
    return inside && std::abs(sum - 1.0) < 1e-14;
}

}  // namespace

TEST_CASE("aDefaultCoordIsNotValid") {
    CHECK_FALSE(MeshCoord().valid());
    CHECK(MeshCoord().triangle == -1);
    CHECK(MeshCoord().evaluate(vertices, triangles) == Point());
    CHECK(MeshCoord(0, 0.0, 1.0, 0.0).valid());
    CHECK_FALSE(MeshCoord(-1, 0.0, 1.0, 0.0).valid());
    CHECK_FALSE(MeshCoord(0, 0.0, std::nan(""), 1.0).valid());
    CHECK_FALSE(MeshCoord(0, infinity, 0.0, 0.0).valid());
    CHECK(MeshCoordBase(-1.0, 0.0, 0.0).valid());
}

TEST_CASE("projectGivesTheNearestPointOfTheClosedTriangle") {
    struct Case {
        Point point;
        Point nearest;
    };
    // Above the inside, beyond each edge and beyond each corner.
    Case const cases[] = {
        {{1, 1, 5}, {1, 1, 0}},  {{2, -3, 1}, {2, 0, 0}},  {{-2, 1, 0}, {0, 1, 0}},
        {{3, 3, -2}, {2, 2, 0}}, {{-1, -1, 0}, {0, 0, 0}}, {{9, -1, 0}, {4, 0, 0}},
        {{-1, 9, 3}, {0, 4, 0}}, {{4, 0, 0}, {4, 0, 0}},   {{0, 0, 0}, {0, 0, 0}},
    };
    for (Case const& each : cases) {
        MeshCoord coord;
        CHECK(coord.project(0, vertices, triangles, each.point));
        CHECK(coord.triangle == 0);
        CHECK(liesInside(coord));
        CHECK(distance(coord.evaluate(vertices, triangles), each.nearest) < 1e-14);
    }
}

TEST_CASE("projectIsNoFartherThanAnySampledPoint") {
    support::Random random(5);
    for (int round = 0; round < 300; ++round) {
        // Every third triangle is a sliver.
        double const height = round % 3 == 0 ? 1e-7 : 1.0;
        Point const corners[3] = {
            {random.real(-1, 1), random.real(-1, 1) * height, 0.0},
            {random.real(-1, 1), random.real(-1, 1) * height, 0.0},
            {random.real(-1, 1), random.real(-1, 1) * height, random.real(-1, 1) * height}};
        Point const point(random.real(-2, 2), random.real(-2, 2), random.real(-2, 2));
        MeshCoordBase coord;
        REQUIRE(coord.projectBase(point, corners[0], corners[1], corners[2]));
        REQUIRE(liesInside(coord));
        REQUIRE(distance(coord.evaluateBase(corners), point) <=
                sampledDistance(corners, point) + 1e-9);
    }
}

TEST_CASE("aDegenerateTriangleIsToldAndGivesItsLongestEdge") {
    MeshCoord coord;
    CHECK_FALSE(coord.project(1, vertices, triangles, Point(2, 2, 1)));
    CHECK(coord.triangle == 1);
    CHECK(coord.weights[0] == 0.0);
    CHECK(distance(coord.evaluate(vertices, triangles), Point(2, 2, 0)) < 1e-14);
    CHECK_FALSE(coord.setFromPoint(1, vertices, triangles, Point(9, 9, 0)));
    CHECK(distance(coord.evaluate(vertices, triangles), Point(3, 3, 0)) < 1e-14);

    Point const same(1, 2, 3);
    CHECK_FALSE(coord.projectBase(Point(5, 5, 5), same, same, same));
    CHECK(coord.valid());
    Point const far(infinity, 0, 0);
    CHECK_FALSE(coord.projectBase(Point(5, 5, 5), Point(), far, same));
    CHECK(coord.valid());
    CHECK(coord.projectBase(Point(std::nan(""), 0, 0), Point(0, 0, 0), Point(1, 0, 0),
                            Point(0, 1, 0)));
    CHECK(liesInside(coord));
}

TEST_CASE("smallAndLargeTrianglesAreNotDegenerate") {
    for (double const scale : {1e-30, 1e30}) {
        MeshCoordBase coord;
        CHECK(coord.projectBase(Point(0.25 * scale, 0.5 * scale, scale), Point(),
                                Point(scale, 0, 0), Point(0, scale, 0)));
        CHECK(coord.weights[1] == doctest::Approx(0.25));
        CHECK(coord.weights[2] == doctest::Approx(0.5));
    }
}

TEST_CASE("setFromPointIsNotClamped") {
    MeshCoord coord;
    CHECK(coord.setFromPoint(0, vertices, triangles, Point(8, 4, 3)));
    CHECK(coord.weights[0] == doctest::Approx(-2.0));
    CHECK(coord.weights[1] == doctest::Approx(2.0));
    CHECK(coord.weights[2] == doctest::Approx(1.0));
}

TEST_CASE("noTriangleMeansNothingIsRead") {
    MeshCoord coord(3, 0.5, 0.25, 0.25);
    CHECK_FALSE(coord.project(-1, nullptr, nullptr, Point()));
    CHECK_FALSE(coord.setFromPoint(-1, nullptr, nullptr, Point()));
    CHECK(coord.triangle == 3);
    CHECK(coord.weights[0] == 0.5);
    CHECK_FALSE(MeshCoord().onVertex(nullptr, nullptr, 1.0, nullptr));
    CHECK_FALSE(MeshCoord().onEdge(nullptr, nullptr, 1.0, nullptr));
}

TEST_CASE("onVertexAndOnEdgeTestDistancesInSpace") {
    MeshCoord const nearCorner1(0, 0.01, 0.98, 0.01);
    int found = -7;
    CHECK_FALSE(nearCorner1.onVertex(vertices, triangles, 0.05, &found));
    CHECK(found == -7);
    CHECK(nearCorner1.onVertex(vertices, triangles, 0.1, &found));
    CHECK(found == 1);
    CHECK(nearCorner1.onVertex(vertices, triangles, 100.0, &found));
    CHECK(found == 1);

    MeshCoord const onEdge2(0, 0.5, 0.0, 0.5);
    CHECK(onEdge2.onEdge(vertices, triangles, 0.0, &found));
    CHECK(found == 2);
    CHECK_FALSE(onEdge2.onVertex(vertices, triangles, 1.0, &found));
    MeshCoord const onEdge1(0, 0.001, 0.5, 0.499);
    CHECK(onEdge1.onEdge(vertices, triangles, 0.01, &found));
    CHECK(found == 1);
    CHECK(onEdge1.onEdge(vertices, triangles, 0.01, nullptr));
    CHECK_FALSE(onEdge1.onEdge(vertices, triangles, 1e-6, &found));
    MeshCoord const outside(0, -0.5, 1.5, 0.0);
    CHECK_FALSE(outside.onEdge(vertices, triangles, 0.1, &found));
}
