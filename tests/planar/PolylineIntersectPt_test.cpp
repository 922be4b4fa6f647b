#include "polylineBuilders.h"

#include "trimora/contract/koLinear/lines.h"
#include "trimora/planar/PolylineIntersectPt.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>

using namespace koGeom;
using planarTest::Points;
using planarTest::polylineOf;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double noNumber = std::numeric_limits<double>::quiet_NaN();

//  y
//  2       . 2
//  1     .'
//  0  0 .----- 1 ...     0 (0,0,0), 1 (4,0,0), 2 (4,2,0), the parameters 0, 1, 2
Polyline const bent = polylineOf({{0, 0, 0}, {4, 0, 0}, {4, 2, 0}});

/// The least distance between the polyline and the line, by dense sampling of the polyline.
double sampledDistance(Polyline const& polyline, ParamLine const& line) {
    double least = infinity;
    for (int k = 0; k <= 4000; ++k)
        least = std::min(
            least, distance(polyline.eval(polyline.getDomain().upper * k / 4000.0), Line(line)));
    return least;
}

}  // namespace

TEST_CASE("picksThePlaceClosestToTheLine") {
    PolylineIntersectPt picker(bent);
    double t = 0.0;
    double u = 0.0;
    // Down at (1, 0, 0) from height 5, in steps of 2.
    CHECK(picker.intersect(ParamLine(Point(1, 0.5, 5), Vector(0, 0, -2)), t, u));
    CHECK(t == 2.5);
    CHECK(u == 0.25);
    // Beyond an end the end itself, with its parameter.
    CHECK(picker.intersect(ParamLine(Point(-3, 1, 5), Vector(0, 0, -1)), t, u));
    CHECK(t == 5.0);
    CHECK(u == 0.0);
    CHECK(picker.intersect(ParamLine(Point(5, 7, 5), Vector(0, 0, -1)), t, u));
    CHECK(u == 2.0);
    // The line has no end behind its origin.
    CHECK(picker.intersect(ParamLine(Point(4, 1, 5), Vector(0, 0, 1)), t, u));
    CHECK(t == -5.0);
    CHECK(u == 1.5);
}

TEST_CASE("nearTiesGoToThePlaceNearestToTheLinesOrigin") {
    // Two segments across the line, at z = 1 and z = -3; then a third one, farther by less than the tolerance, but nearer.
    Points points{{-1, 0, 3}, {1, 0, 3}, {9, 9, 9}, {1, 0, -1}, {-1, 0, -1}};
    PolylineIntersectPt picker;
    Polyline const crossed = polylineOf(points);
    picker.initialize(crossed);
    double t = 0.0;
    double u = 0.0;
    ParamLine const up(Point::origin, Vector::zAxis);
    CHECK(picker.intersect(up, t, u));
    CHECK(t == -1.0);
    CHECK(u == 3.5);

    double const aside = 0.5e-6;  // its square is below the tolerance
    for (std::size_t i : {3u, 4u})
        points[i].y = aside;
    Polyline const missed = polylineOf(points);
    picker.initialize(missed);
    CHECK(picker.intersect(up, t, u));
    CHECK(t == -1.0);
    for (std::size_t i : {3u, 4u})
        points[i].y = 4.0 * aside;
    Polyline const missedByMore = polylineOf(points);
    picker.initialize(missedByMore);
    CHECK(picker.intersect(up, t, u));
    CHECK(t == 3.0);
}

TEST_CASE("testsRefusePlaces") {
    Polyline const gate = polylineOf({{-1, 0, -2}, {1, 0, -2}, {1, 3, 4}, {-1, 3, 4}});
    PolylineIntersectPt picker(gate);
    ParamLine const up(Point::origin, Vector::zAxis);
    double t = 0.0;
    double u = 0.0;
    CHECK(picker.intersect(up, false, t, u));
    CHECK(t == -2.0);
    CHECK(picker.intersect(up, true, t, u));
    CHECK(t > 0.0);

    t = u = 42.0;
    CHECK_FALSE(picker.intersect(ParamLine(Point(0, 0, -2), Vector(0, 0, -1)), t, u,
                                 [](PolylineIntersectPt&, double, Point const&) { return false; }));
    CHECK(t == 42.0);
    CHECK(u == 42.0);
    // At the origin itself is not in front.
    Polyline const across = polylineOf({{-1, 0, 0}, {1, 0, 0}});
    CHECK_FALSE(PolylineIntersectPt(across).intersect(up, true, t, u));
    CHECK(PolylineIntersectPt(across).intersect(up, false, t, u));

    // The view volume of the identity is the cube from -1 to 1; the matrix stays.
    ProjMatrix const unit;
    CHECK_FALSE(picker.intersect(up, unit, t, u));
    double half[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0.5, 0, 0, 0, 0, 1};
    CHECK(picker.intersect(up, ProjMatrix(half), t, u));
    CHECK(t == -2.0);
    CHECK(picker.view == ProjMatrix(half));
}

TEST_CASE("parallelSegmentsOfferTheirFirstVertex") {
    Polyline const along = polylineOf({{1, 0, 0}, {1, 0, 5}});
    double t = 0.0;
    double u = 0.0;
    CHECK(PolylineIntersectPt(along).intersect(ParamLine(Point::origin, Vector::zAxis), t, u));
    CHECK(t == 0.0);
    CHECK(u == 0.0);
    Polyline const point = polylineOf({{1, 0, 2}, {1, 0, 2}});
    CHECK(PolylineIntersectPt(point).intersect(ParamLine(Point::origin, Vector::zAxis), t, u));
    CHECK(t == 2.0);
}

TEST_CASE("planesArePiercedNearestToTheReference") {
    // A zigzag through the plane x = 0 at y = 0.5, 1.5, 2.5.
    Polyline const zigzag = polylineOf({{-1, 0, 0}, {1, 1, 0}, {-1, 2, 0}, {1, 3, 0}});
    PolylineIntersectPt picker(zigzag);
    Plane const plane(Point::origin, Normal::xAxis);
    Line const reference(Point(0, 1.4, 0), Normal::zAxis);
    double u = 0.0;
    Point place;
    CHECK(picker.intersect(plane, u, place, &reference));
    CHECK(u == 1.5);
    CHECK(place == Point(0, 1.5, 0));
    CHECK(picker.intersect(plane, u, place, nullptr));
    CHECK(u == 0.5);

    u = 42.0;
    CHECK_FALSE(picker.intersect(Plane(Point(5, 0, 0), Normal::xAxis), u, place, nullptr));
    CHECK_FALSE(picker.intersect(Plane(Point::origin, Normal::zAxis), u, place, nullptr));
    CHECK(u == 42.0);
    // Ends count: the plane through the first vertex.
    CHECK(picker.intersect(Plane(Point(-1, 0, 0), Normal::xAxis), u, place, nullptr));
    CHECK(u == 0.0);
}

TEST_CASE("pickingAgreesWithDenseSampling") {
    support::Random random(11);
    for (int round = 0; round < 30; ++round) {
        Polyline const walk = polylineOf(planarTest::randomWalk(random, 12));
        ParamLine const line(planarTest::randomWalk(random, 5).back(),
                             planarTest::randomWalk(random, 2).back());
        double t = 0.0;
        double u = 0.0;
        REQUIRE(PolylineIntersectPt(walk).intersect(line, t, u));
        double const apart = distance(walk.eval(u), line.eval(t));
        // Clamping the place closest to the whole segment's line is exact: the distance is convex along the segment.
        CHECK(apart <= sampledDistance(walk, line) + 1e-9);
        CHECK(apart >= sampledDistance(walk, line) - 0.01);
    }
}

TEST_CASE("pickingEndsOnWhateverItGets") {
    double t = 1.0;
    double u = 2.0;
    Point place(3, 3, 3);
    Plane const plane(Point::origin, Normal::zAxis);
    for (Points const& points : {Points(), Points{{1, 2, 3}}}) {
        Polyline const tooShort = polylineOf(points);
        PolylineIntersectPt picker(tooShort);
        CHECK_FALSE(picker.intersect(ParamLine(Point::origin, Vector::zAxis), t, u));
        CHECK_FALSE(picker.intersect(plane, u, place, nullptr));
    }
    CHECK_FALSE(PolylineIntersectPt().intersect(ParamLine(Point::origin, Vector::zAxis), t, u));
    Polyline const odd =
        polylineOf({{noNumber, 0, 0}, {1, infinity, 0}, {noNumber, noNumber, noNumber}});
    PolylineIntersectPt picker(odd);
    CHECK_FALSE(picker.intersect(ParamLine(Point(noNumber, 0, 0), Vector::zAxis), t, u));
    CHECK_FALSE(picker.intersect(plane, u, place, nullptr));
    CHECK(t == 1.0);
    CHECK(u == 2.0);
}
