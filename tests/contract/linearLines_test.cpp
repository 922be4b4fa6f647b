#include "support/builders.h"

#include "trimora/contract/koLinear/lines.h"

#include <algorithm>
#include <cmath>
#include <doctest/doctest.h>
#include <limits>

using namespace koLinear;

namespace {

double const notANumber = std::numeric_limits<double>::quiet_NaN();

Point randomPoint(support::Random& random) {
    return {random.real(-5.0, 5.0), random.real(-5.0, 5.0), random.real(-5.0, 5.0)};
}
Vector randomVector(support::Random& random) {
    return randomPoint(random).asVector();
}
Point2 randomLatticePoint(support::Random& random) {
    return {static_cast<double>(random.index(5)), static_cast<double>(random.index(5))};
}

// The distance between two segments, by sampling one and projecting on the other.
double distanceBySampling(Point2 const& a0, Point2 const& a1, Point2 const& b0, Point2 const& b1) {
    ParamLine const b{Point(b0), Point(b1)};
    double best = std::numeric_limits<double>::infinity();
    for (int i = 0; i <= 840; ++i) {
        Point const p = Point(a0) + (i / 840.0) * (Point(a1) - Point(a0));
        best = std::min(best, distance(p, b.eval(b.projectBounded(p, 0.0, 1.0))));
    }
    return best;
}

struct Hit {
    bool hit, unique;
    double t;
    Point2 point;
};

Hit meet(Point2 const& a0, Point2 const& a1, Point2 const& b0, Point2 const& b1,
         double tolerance = 1e-9) {
    Hit result{false, false, -1.0, {}};
    result.hit =
        doLineSegmentsIntersect(a0, a1, b0, b1, result.t, result.point, result.unique, tolerance);
    return result;
}

struct RayHit {
    bool hit, unique;
    double t, s;
};

RayHit shoot(Point2 const& origin, Vector2 const& direction, Point2 const& p0, Point2 const& p1,
             double tolerance = 1e-9) {
    RayHit result{false, false, -1.0, -1.0};
    result.hit = doesRayIntersectLineSegment(origin, direction, p0, p1, result.t, result.s,
                                             result.unique, tolerance);
    return result;
}

}  // namespace

TEST_CASE("lineParameterIsALengthAndParamLineParameterAFraction") {
    ParamLine const segment(Point(1.0, 0.0, 0.0), Point(5.0, 0.0, 0.0));
    Line const line(segment);
    Point const p(3.0, 7.0, 0.0);
    CHECK(projectParam(p, segment) == 0.5);
    CHECK(projectParam(p, line) == 2.0);
    CHECK(project(p, line) == Point(3.0, 0.0, 0.0));
    double t = 0.0;
    CHECK(project(p, segment, t) == Point(3.0, 0.0, 0.0));
    CHECK(t == 0.5);
    CHECK(segment.eval(1.0) == Point(5.0, 0.0, 0.0));
    CHECK(line.eval(1.0) == Point(2.0, 0.0, 0.0));
    CHECK(segment.projectBounded(Point(9.0, 1.0, 1.0), 0.0, 1.0) == 1.0);
    CHECK(segment.projectBounded(Point(-9.0, 1.0, 1.0), 0.0, 1.0) == 0.0);
    CHECK(distance(p, line) == 7.0);
}

TEST_CASE("lineWithoutLengthIsItsPoint") {
    Point const p(1.0, 2.0, 3.0);
    ParamLine const segment(p, p);
    CHECK(projectParam(Point(9.0, 9.0, 9.0), segment) == 0.0);
    CHECK(segment.projectBounded(Point(9.0, 9.0, 9.0), 0.0, 1.0) == 0.0);
    Line const line(p, p);
    CHECK_FALSE(line.isValid());
    CHECK_FALSE(Line().isValid());
    CHECK(line.eval(5.0) == p);
    CHECK(distance(Point(1.0, 2.0, 7.0), line) == 4.0);
}

TEST_CASE("planeKnowsHeightsAndItsConstant") {
    Plane const plane(Point(0.0, 0.0, 2.0), Normal::zAxis);
    CHECK(plane.isValid());
    CHECK_FALSE(Plane().isValid());
    CHECK(plane.eval(Point(5.0, 5.0, 5.0)) == 3.0);
    CHECK(plane.calculateD() == -2.0);
    CHECK(distance(Point(0.0, 0.0, -1.0), plane) == 3.0);
    CHECK(isAbove(Point(0.0, 0.0, 2.6), plane, 0.5));
    CHECK_FALSE(isAbove(Point(0.0, 0.0, 2.5), plane, 0.5));
    ParamPlane const frame{Point(1.0, 1.0, 1.0), Normal::zAxis, Normal::xAxis, Normal::yAxis};
    CHECK(frame.eval(2.0, 3.0) == Point(3.0, 4.0, 1.0));
}

TEST_CASE("lineWithLineGivesTheClosestPointOfTheFirst") {
    support::Random random(17);
    for (int i = 0; i < 300; ++i) {
        Line const a(randomPoint(random), randomVector(random));
        Line const b(randomPoint(random), randomVector(random));
        bool success = false;
        Point const onA = intersect(a, b, success, perpendicular2Tol);
        REQUIRE(success);
        CHECK(distance(onA, a) < 1e-9);
        double const gap = distance(onA, b);
        for (double const step : {-1e-3, 1e-3})
            CHECK(distance(onA + step * Vector(a.direction), b) >= gap - 1e-12);
    }
    bool success = true;
    Line const x(Point(1.0, 2.0, 3.0), Vector::xAxis);
    CHECK(intersect(x, Line(Point(0.0, 9.0, 0.0), Vector::xAxis), success, 1e-12) == x.origin);
    CHECK_FALSE(success);
    CHECK(intersect(x, Line(), success, 0.0) == x.origin);
    CHECK_FALSE(success);
    intersect(x, Line(x.origin, Vector(1.0, 1e-3, 0.0)), success, 1e-5);
    CHECK_FALSE(success);
    intersect(x, Line(x.origin, Vector(1.0, 1e-3, 0.0)), success, 1e-7);
    CHECK(success);
}

TEST_CASE("lineWithPlaneGivesThePiercingPoint") {
    Plane const floor(Point(7.0, 7.0, 1.0), Normal::zAxis);
    bool success = false;
    Line const slanted(Point(0.0, 0.0, 3.0), Vector(1.0, 0.0, -1.0));
    CHECK(equivalent(intersect(slanted, floor, success, 1e-12), Point(2.0, 0.0, 1.0), 1e-14));
    CHECK(success);
    Line const level(Point(0.0, 0.0, 3.0), Vector::xAxis);
    CHECK(intersect(level, floor, success, 1e-12) == level.origin);
    CHECK_FALSE(success);
    CHECK(intersect(slanted, Plane(), success, 0.0) == slanted.origin);
    CHECK_FALSE(success);
}

TEST_CASE("planeWithPlaneGivesTheSharedLineFromTheNearestPoint") {
    support::Random random(23);
    for (int i = 0; i < 300; ++i) {
        Plane const a(randomPoint(random), Normal(randomVector(random)));
        Plane const b(randomPoint(random), Normal(randomVector(random)));
        bool success = false;
        Line const line = intersect(a, b, success);
        REQUIRE(success);
        double const size = 1.0 + distance(line.origin, Point::origin);
        CHECK(std::abs(line.direction.asVector().length() - 1.0) < 1e-14);
        for (double const t : {-1.0, 0.0, 1.0}) {
            CHECK(std::abs(a.eval(line.eval(t))) < 1e-9 * size);
            CHECK(std::abs(b.eval(line.eval(t))) < 1e-9 * size);
        }
        CHECK(std::abs(dot(line.origin - a.origin, line.direction)) < 1e-9 * size);
    }
    Plane const floor(Point(1.0, 2.0, 3.0), Normal::zAxis);
    bool success = true;
    CHECK(intersect(floor, Plane(Point::origin, -Normal::zAxis), success).origin == floor.origin);
    CHECK_FALSE(success);
    CHECK_FALSE(intersect(floor, Plane(), success).isValid());
    CHECK_FALSE(success);
}

TEST_CASE("cylinderIsCutTwiceTouchedOnceOrMissed") {
    Line const axis(Point(5.0, 0.0, 0.0), Vector::zAxis);
    double roots[2] = {9.0, 9.0};
    auto const cut = [&](Point const& from, Point const& to) {
        return intersectCylinder(ParamLine(from, to), axis, 2.0, roots);
    };
    CHECK(cut({0.0, 0.0, 0.0}, {10.0, 0.0, 3.0}) == 2);
    CHECK(roots[0] == doctest::Approx(0.3));
    CHECK(roots[1] == doctest::Approx(0.7));
    CHECK(cut({10.0, 0.0, 3.0}, {0.0, 0.0, 0.0}) == 2);
    CHECK(roots[0] < roots[1]);
    CHECK(cut({0.0, 2.0, 0.0}, {10.0, 2.0, 0.0}) == 1);
    CHECK(roots[0] == doctest::Approx(0.5));
    CHECK(cut({0.0, 2.1, 0.0}, {10.0, 2.1, 0.0}) == 0);
    CHECK(cut({5.0, 0.0, 0.0}, {5.0, 0.0, 1.0}) == 0);  // parallel, inside
    CHECK(cut({5.0, 0.0, 0.0}, {5.0, 0.0, 0.0}) == 0);
    CHECK(intersectCylinder(ParamLine(Point::origin, Point(1.0, 0.0, 0.0)), Line(), 2.0, roots) ==
          0);

    support::Random random(31);
    for (int i = 0; i < 500; ++i) {
        ParamLine const line(randomPoint(random), randomPoint(random));
        Line const slanted(randomPoint(random), randomVector(random));
        if (intersectCylinder(line, slanted, 3.0, roots) != 2)
            continue;
        CHECK(roots[0] < roots[1]);
        CHECK(distance(line.eval(roots[0]), slanted) == doctest::Approx(3.0));
        CHECK(distance(line.eval(roots[1]), slanted) == doctest::Approx(3.0));
    }
}

//        3 . . . . .
//        2 . d . . .      a-b crosses c-d at (1, 1); b touches e-f by its end;
//        1 a---+---b      a-b and g-h lie on one line
//        0 . c . . .
TEST_CASE("segmentsCrossTouchOrRunAlong") {
    Point2 const a(0.0, 1.0);
    Point2 const b(2.0, 1.0);
    Hit hit = meet(a, b, {1.0, 0.0}, {1.0, 2.0});
    CHECK((hit.hit && hit.unique && hit.t == 0.5 && hit.point == Point2(1.0, 1.0)));

    hit = meet(a, b, {2.0, 0.0}, {2.0, 3.0});
    CHECK((hit.hit && hit.unique && hit.t == 1.0 && hit.point == b));

    hit = meet(a, b, {2.05, 0.0}, {2.05, 3.0}, 0.1);  // an end within the tolerance
    CHECK((hit.hit && hit.unique && hit.t == 1.0 && hit.point == b));
    CHECK_FALSE(meet(a, b, {2.2, 0.0}, {2.2, 3.0}, 0.1).hit);
    hit = meet(a, b, {1.0, 1.05}, {1.0, 3.0}, 0.1);
    CHECK((hit.hit && hit.unique && hit.t == doctest::Approx(0.5)));

    hit = meet(a, b, {3.0, 1.0}, {1.0, 1.0});
    CHECK((hit.hit && !hit.unique && hit.t == 0.5 && hit.point == Point2(1.0, 1.0)));
    hit = meet(a, b, {-5.0, 1.0}, {5.0, 1.0});
    CHECK((hit.hit && !hit.unique && hit.t == 0.0 && hit.point == a));
    hit = meet(a, b, {2.0, 1.0}, {5.0, 1.0});  // one line, but only ends touch
    CHECK((hit.hit && hit.unique && hit.t == 1.0 && hit.point == b));
    CHECK_FALSE(meet(a, b, {2.5, 1.0}, {5.0, 1.0}).hit);
    CHECK_FALSE(meet(a, b, {0.0, 1.5}, {2.0, 1.5}).hit);
}

TEST_CASE("segmentsWithoutLengthArePoints") {
    Point2 const p(1.0, 1.0);
    Hit hit = meet({0.0, 1.0}, {2.0, 1.0}, p, p);
    CHECK((hit.hit && hit.unique && hit.t == 0.5));
    hit = meet(p, p, {0.0, 1.0}, {2.0, 1.0});
    CHECK((hit.hit && hit.unique && hit.t == 0.0 && hit.point == p));
    CHECK(meet(p, p, p, p).hit);
    CHECK_FALSE(meet(p, p, {1.0, 2.0}, {1.0, 2.0}).hit);
    CHECK_FALSE(meet(p, {notANumber, 1.0}, {0.0, 1.0}, {2.0, 1.0}).hit);
}

// Both ends of the short one lie on the other's line within the tolerance: it was taken to run along, and met what is far away.
TEST_CASE("shortSegmentsAcrossALineDoNotRunAlongIt") {
    double t = 9.0;
    Point2 point;
    bool unique = true;
    CHECK_FALSE(doLineSegmentsIntersect({0, 0}, {0, 1e-7}, {1, 0}, {2, 0}, t, point, unique, 1e-6));
    CHECK_FALSE(doLineSegmentsIntersect({1, 0}, {2, 0}, {0, 0}, {0, 1e-7}, t, point, unique, 1e-6));
    CHECK(doLineSegmentsIntersect({1, 0}, {2, 0}, {1.5, 0}, {1.5, 1e-7}, t, point, unique, 1e-6));
    CHECK(t == 0.5);
    CHECK(unique);
}

TEST_CASE("segmentTestAgreesWithSamplingOnALattice") {
    support::Random random(41);
    for (int i = 0; i < 3000; ++i) {
        Point2 const a0 = randomLatticePoint(random);
        Point2 const a1 = randomLatticePoint(random);
        Point2 const b0 = randomLatticePoint(random);
        Point2 const b1 = randomLatticePoint(random);
        Hit const hit = meet(a0, a1, b0, b1);
        // 840 steps hit every crossing of lattice segments to less than 0.005; misses are farther.
        CHECK(hit.hit == (distanceBySampling(a0, a1, b0, b1) < 0.01));
        if (!hit.hit)
            continue;
        CHECK((hit.t >= 0.0 && hit.t <= 1.0));
        CHECK(equivalent(hit.point, a0 + hit.t * (a1 - a0), 1e-12));
        Hit const other = meet(b0, b1, a0, a1);
        CHECK(other.hit);
        CHECK(other.unique == hit.unique);
        if (hit.unique)
            CHECK(equivalent(other.point, hit.point, 1e-9));
    }
}

TEST_CASE("raysStartAtTheirOriginAndHaveNoEnd") {
    Vector2 const right(2.0, 0.0);
    RayHit hit = shoot({0.0, 0.0}, right, {10.0, -1.0}, {10.0, 3.0});
    CHECK((hit.hit && hit.unique && hit.t == 5.0 && hit.s == 0.25));
    CHECK_FALSE(shoot({0.0, 0.0}, right, {-10.0, -1.0}, {-10.0, 3.0}).hit);
    hit = shoot({0.0, 0.0}, right, {-0.05, -1.0}, {-0.05, 1.0}, 0.1);
    CHECK((hit.hit && hit.unique && hit.t == 0.0 && hit.s == doctest::Approx(0.5)));
    hit = shoot({0.0, 0.0}, right, {4.0, 0.05}, {4.0, 1.0}, 0.1);
    CHECK((hit.hit && hit.unique && hit.t == doctest::Approx(2.0) && hit.s == 0.0));

    hit = shoot({0.0, 0.0}, right, {8.0, 0.0}, {4.0, 0.0});  // along, the far end first
    CHECK((hit.hit && !hit.unique && hit.t == 2.0 && hit.s == 1.0));
    hit = shoot({0.0, 0.0}, right, {-8.0, 0.0}, {8.0, 0.0});
    CHECK((hit.hit && !hit.unique && hit.t == 0.0 && hit.s == 0.5));
    hit = shoot({0.0, 0.0}, right, {-8.0, 0.0}, {0.0, 0.0});  // touches the origin from behind
    CHECK((hit.hit && hit.unique && hit.t == 0.0 && hit.s == 1.0));
    CHECK_FALSE(shoot({0.0, 0.0}, right, {-8.0, 0.0}, {-1.0, 0.0}).hit);
    CHECK_FALSE(shoot({0.0, 0.0}, {0.0, 0.0}, {0.0, -1.0}, {0.0, 1.0}).hit);
}
