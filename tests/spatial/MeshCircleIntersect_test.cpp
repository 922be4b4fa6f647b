#include "queryScenes.h"

#include "trimora/contract/koGeom/MeshCoord.h"
#include "trimora/spatial/MeshCircleIntersect.h"

#include <algorithm>
#include <cmath>
#include <doctest/doctest.h>

using namespace koGeom;
using queryScenes::Scene;

namespace {

ko::vector<Point> pointsOf(Scene const& scene, Plane const& circle, double radius,
                           double tolerance = 1e-6) {
    MeshCircleIntersect cut(scene.mesh, scene.octree, scene.octreeTris, tolerance);
    ko::vector<Point> points;
    cut(circle, radius, points);
    return points;
}

}  // namespace

TEST_CASE("circleMeetsAPlaneInTwoPointsOneOrNone") {
    Plane const circle(Point(1, 2, 3), Normal(0, 0, 1));
    Point points[2];
    CHECK(circlePlaneIntersect(circle, 5.0, Plane(Point(4, 0, 0), Normal(1, 0, 0)), points) == 2);
    CHECK(equivalent(combine(points[0], points[1]), Point(4, 2, 3), 1e-12));
    CHECK(distance(points[0], points[1]) == doctest::Approx(8.0));
    // along cross(circle, plane) = +y first
    CHECK(points[0].y == doctest::Approx(6.0));

    points[0] = points[1] = Point();
    CHECK(circlePlaneIntersect(circle, 5.0, Plane(Point(6, 0, 0), Normal(1, 0, 0)), points) == 1);
    CHECK(points[0] == Point(6, 2, 3));
    CHECK(points[1] == Point(6, 2, 3));
    CHECK(circlePlaneIntersect(circle, 5.0, Plane(Point(6.001, 0, 0), Normal(1, 0, 0)), points) ==
          0);
    CHECK(circlePlaneIntersect(circle, 5.0, Plane(Point(0, 0, 3), Normal(0, 0, -1)), points) == 0);
    CHECK(circlePlaneIntersect(circle, 5.0, Plane(Point(0, 0, 3), Normal()), points) == 0);
}

// Seen from above, a circle of radius 1.5 about the middle of a plate that stands on edge:
// it cuts the plate at x = 0.5 and 3.5, each point once, since neither lies on an inner edge.
TEST_CASE("circleCutsAStandingPlateTwice") {
    CompactMesh mesh = support::grid(4, 4);
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        mesh.getVertices()[v].set(mesh.getVertices()[v].x, 0.0f, mesh.getVertices()[v].y);
    Scene const scene(mesh);
    ko::vector<Point> points = pointsOf(scene, Plane(Point(2, 0, 1.25), Normal(0, 0, 1)), 1.5);
    REQUIRE(points.size() == 2);
    std::sort(points.begin(), points.end(),
              [](Point const& a, Point const& b) { return a.x < b.x; });
    CHECK(equivalent(points[0], Point(0.5, 0, 1.25), 1e-9));
    CHECK(equivalent(points[1], Point(3.5, 0, 1.25), 1e-9));

    // through an edge between two triangles: once for each of them
    CHECK(pointsOf(scene, Plane(Point(2, 0, 1.25), Normal(0, 0, 1)), 1.0).size() == 4);
}

TEST_CASE("pointsLieOnTheCircleAndOnTheMesh") {
    Scene const scene(support::sphere(4));
    support::Random random(2);
    int total = 0;
    for (int run = 0; run < 60; ++run) {
        Point const center(random.real(-1, 1), random.real(-1, 1), random.real(-1, 1));
        Plane const circle(
            center, Normal(Vector(random.real(-1, 1), random.real(-1, 1), random.real(-1, 1))));
        double const radius = random.real(0.2, 1.5);
        MeshCircleIntersect cut(scene.mesh, scene.octree, scene.octreeTris, 1e-7);
        ko::vector<Point> points(1, Point(9, 9, 9));
        cut(circle, radius, points);
        CHECK(points.front() == Point(9, 9, 9));  // appended, not replaced
        for (std::size_t i = 1; i < points.size(); ++i) {
            CHECK(distance(points[i], center) == doctest::Approx(radius));
            CHECK(std::abs(circle.eval(points[i])) < 1e-9);
            CHECK(points[i].asVector().length() == doctest::Approx(1.0).epsilon(0.01));
        }
        // a second call finds the same, and so does a copy
        MeshCircleIntersect copy(cut);
        ko::vector<Point> again(1, Point(9, 9, 9));
        copy(circle, radius, again);
        CHECK(again == points);
        total += static_cast<int>(points.size()) - 1;
    }
    CHECK(total > 60);
}

// Brute force: every triangle against the whole circle finds no other points.
TEST_CASE("noCutIsMissed") {
    Scene const scene(support::torus(24, 16));
    support::Random random(5);
    for (int run = 0; run < 40; ++run) {
        Plane const circle(
            Point(random.real(-2, 2), random.real(-2, 2), random.real(-0.5, 0.5)),
            Normal(Vector(random.real(-1, 1), random.real(-1, 1), random.real(-1, 1))));
        double const radius = random.real(0.3, 2.5);
        int expected = 0;
        for (int t = 0; t < scene.mesh.getNumTriangles(); ++t) {
            Point const a = scene.corner(t, 0);
            Plane const plane(a, Normal(cross(scene.corner(t, 1) - a, scene.corner(t, 2) - a)));
            Point points[2];
            int const count = circlePlaneIntersect(circle, radius, plane, points);
            for (int i = 0; i < count; ++i) {
                MeshCoord coord;
                expected +=
                    coord.project(t, scene.mesh.getVerticesRaw(), scene.mesh.getTrianglesRaw(),
                                  points[i]) &&
                    equivalent(coord.evaluate(scene.mesh.getVertices(), scene.mesh.getTriangles()),
                               points[i], 1e-7);
            }
        }
        CHECK(static_cast<int>(pointsOf(scene, circle, radius, 1e-7).size()) == expected);
    }
}

TEST_CASE("circleThatMeetsNothingLeavesTheResult") {
    Scene const scene(support::cube());
    double const nan = std::nan("");
    CHECK(pointsOf(scene, Plane(Point(0.5, 0.5, 9), Normal(0, 0, 1)), 0.5).empty());  // no triangle
    CHECK(pointsOf(scene, Plane(Point(0.5, 0.5, 0.5), Normal(0, 0, 1)), 0.1).empty());  // inside
    CHECK(pointsOf(scene, Plane(Point(0.5, 0.5, 1), Normal(1, 0, 0)), 0.0).empty());    // no radius
    CHECK(pointsOf(scene, Plane(Point(0.5, 0.5, 0.5), Normal()), 0.5).empty());         // no axis
    CHECK(pointsOf(scene, Plane(Point(nan, 0.5, 0.5), Normal(0, 0, 1)), 0.5).empty());
    CHECK(pointsOf(scene, Plane(Point(0.5, 0.5, 0.5), Normal(0, 0, 1)), nan).empty());
    CHECK(pointsOf(Scene{CompactMesh()}, Plane(Point(), Normal(0, 0, 1)), 1.0).empty());
    CHECK(pointsOf(Scene{support::meshOf({0, 0, 0, 1, 0, 0, 2, 0, 0}, {0, 1, 2})},
                   Plane(Point(1, 0, 0), Normal(0, 0, 1)), 1.0)
              .empty());
}
