#include "support/builders.h"

#include "trimora/contract/koGeom/Polyline.h"
#include "trimora/contract/koGeom/Polyline2d.h"
#include "trimora/planar/convexHull2d.h"
#include "trimora/planar/minAreaBound.h"

#include <algorithm>
#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <numbers>

using namespace koGeom;

namespace {

using Points = ko::vector<Point2>;

constexpr float largestFloat = std::numeric_limits<float>::max();

struct Bound {
    Rect2 rect{{-7, -7}, {-7, -7}, {-7, -7}, {-7, -7}};
    float anisotropy = -1.0f;
};

Bound boundOf(Points const& points, double margin = 0.0) {
    Polyline2d const polyline(points, {});
    Bound bound;
    minAreaBound(ko::vector<Polyline2d const*>{&polyline}, margin, bound.rect, bound.anisotropy);
    return bound;
}

void checkRect(Rect2 const& rect, Point2 const& p0, Point2 const& p1, Point2 const& p2,
               Point2 const& p3) {
    CHECK(equivalent(rect.p0, p0, 1e-12));
    CHECK(equivalent(rect.p1, p1, 1e-12));
    CHECK(equivalent(rect.p2, p2, 1e-12));
    CHECK(equivalent(rect.p3, p3, 1e-12));
}

double areaOf(Rect2 const& rect) {
    return std::abs(cross(rect.p1 - rect.p0, rect.p2 - rect.p0));
}

Vector2 directionAt(double angle) {
    return {std::cos(angle), std::sin(angle)};
}

double widthAlong(Points const& points, Vector2 const& direction) {
    Range1d range;
    for (Point2 const& p : points)
        range.include(dot(p - Point2::origin, direction));
    return range.size();
}

double boxArea(Points const& points, Vector2 const& direction) {
    return widthAlong(points, direction) * widthAlong(points, {-direction.y, direction.x});
}

Points scattered(support::Random& random, int count) {
    Points points;
    for (int i = 0; i < count; ++i)
        points.emplace_back(random.real(-3.0, 3.0), random.real(-1.0, 1.0));
    return points;
}

Points rotated(Points points, double angle) {
    Vector2 const x = directionAt(angle);
    for (Point2& p : points)
        p = Point2(p.x * x.x - p.y * x.y, p.x * x.y + p.y * x.x);
    return points;
}

}  // namespace

// 2 --------- 3
// |           |    the corners of a box of 4 by 2, and a point inside
// 0 --------- 1
TEST_CASE("boxIsItsOwnBound") {
    Bound const bound = boundOf({{1, 1}, {5, 3}, {5, 1}, {2, 2}, {1, 3}});
    checkRect(bound.rect, {1, 1}, {5, 1}, {1, 3}, {5, 3});
    CHECK(bound.anisotropy == 1.0f);
}

TEST_CASE("firstSideLeadsMostNearlyAlongX") {
    Points const box = {{0, 0}, {4, 0}, {4, 2}, {0, 2}};
    for (int degrees = -89; degrees < 90; ++degrees) {
        double const angle = degrees * std::numbers::pi / 180.0;
        Rect2 const rect = boundOf(rotated(box, angle)).rect;
        Vector2 const side = rect.p1 - rect.p0;
        Vector2 const up = rect.p2 - rect.p0;
        INFO(degrees);
        CHECK(side.x > std::abs(side.y) * (1.0 - 1e-9));
        CHECK(cross(side, up) == doctest::Approx(8.0));
        CHECK(std::abs(dot(side, up)) < 1e-9);
        CHECK(equivalent(rect.p3, rect.p1 + up, 1e-9));
        CHECK(side.length() ==
              doctest::Approx(
                  std::abs(degrees) < 45 ? 4.0 : (std::abs(degrees) > 45 ? 2.0 : side.length())));
    }
}

// The hull of a right triangle with legs 3 and 4: 12 on the legs, 5 * 2.4 on the third side as well.
TEST_CASE("everyTriangleHasTheSameAreaOnAllItsSides") {
    CHECK(boundOf({{0, 0}, {4, 0}, {0, 3}}).anisotropy == doctest::Approx(1.0));
    CHECK(areaOf(boundOf({{0, 0}, {4, 0}, {1, 3}}).rect) == doctest::Approx(12.0));
}

TEST_CASE("boundIsTheLeastOfASweepOfAngles") {
    support::Random random(2);
    for (int round = 0; round < 60; ++round) {
        Points const points = scattered(random, 3 + random.index(40));
        Bound const bound = boundOf(points);
        Vector2 side = bound.rect.p1 - bound.rect.p0;
        REQUIRE(side.normalize());
        double const area = areaOf(bound.rect);
        CHECK(area == doctest::Approx(boxArea(points, side)));
        for (int i = 0; i < 900; ++i)
            REQUIRE(area <=
                    boxArea(points, directionAt(i * std::numbers::pi / 1800.0)) * (1.0 + 1e-12));
    }
}

TEST_CASE("anisotropyComparesTheEdgesOfTheHull") {
    support::Random random(4);
    for (int round = 0; round < 60; ++round) {
        Points const points = scattered(random, 3 + random.index(40));
        Points hull;
        convexHull2d(points, hull);
        double least = 1e300;
        double largest = 0.0;
        for (std::size_t i = 0; i < hull.size(); ++i) {
            Vector2 edge = hull[(i + 1) % hull.size()] - hull[i];
            edge.normalize();
            least = std::min(least, boxArea(points, edge));
            largest = std::max(largest, boxArea(points, edge));
        }
        CHECK(boundOf(points).anisotropy == doctest::Approx(largest / least));
    }
}

TEST_CASE("onePointIsABoundOfOne") {
    Bound const bound = boundOf({{3, 4}});
    CHECK(bound.rect == Rect2{{3, 4}, {3, 4}, {3, 4}, {3, 4}});
    CHECK(bound.anisotropy == 1.0f);
}

// The second point's y decides against the first one's x: 3 is above 1, 3 is not above 4.
TEST_CASE("twoPointsAreOrderedByTheHeightOfOneAndThePlaceOfTheOther") {
    Bound const kept = boundOf({{1, 9}, {8, 3}});
    CHECK(kept.rect == Rect2{{1, 9}, {8, 3}, {1, 9}, {8, 3}});
    CHECK(kept.anisotropy == largestFloat);
    CHECK(boundOf({{4, 9}, {8, 3}}).rect == Rect2{{8, 3}, {4, 9}, {8, 3}, {4, 9}});
    CHECK(boundOf({{3, 9}, {8, 3}}).rect == Rect2{{8, 3}, {3, 9}, {8, 3}, {3, 9}});
}

TEST_CASE("pointsOnALineAreBoundedByItsEnds") {
    CHECK(boundOf({{0, 0}, {2, 2}, {1, 1}}).rect == Rect2{{0, 0}, {2, 2}, {0, 0}, {2, 2}});
}

TEST_CASE("squaresGrowByHalfASideFromTheirCorners") {
    checkRect(boundOf({{0, 0}, {2, 0}, {2, 2}, {0, 2}}).rect, {-1, -1}, {3, -1}, {-1, 3}, {3, 3});
    // Along the axes, however the square lies: side 5, its corners move by 2.5.
    checkRect(boundOf({{0, 0}, {4, 3}, {1, 7}, {-3, 4}}).rect, {-2.5, -2.5}, {6.5, 0.5},
              {-5.5, 6.5}, {3.5, 9.5});
    // Sides 2 and 2 + 4e-6 differ from their mean by more than the tolerance, 2 and 2 + 1e-6 do not.
    CHECK(boundOf({{0, 0}, {2, 0}, {2, 2.000004}, {0, 2.000004}}).rect.p0 == Point2(0, 0));
    CHECK(boundOf({{0, 0}, {2, 0}, {2, 2.000001}, {0, 2.000001}}).rect.p0.x < -0.9);
    // A segment of two tolerances has sides that are all near their mean.
    CHECK(boundOf({{0, 0}, {1e-6, 0}}).rect.p1.y < 0.0);
}

TEST_CASE("marginIsAddedAlongTheSides") {
    checkRect(boundOf({{0, 0}, {4, 0}, {4, 2}, {0, 2}}, 0.5).rect, {-0.5, -0.5}, {4.5, -0.5},
              {-0.5, 2.5}, {4.5, 2.5});
    // Turned by the angle of 3, 4, 5: axes (0.8, 0.6) and (-0.6, 0.8), sides 10 and 5.
    checkRect(boundOf({{0, 0}, {8, 6}, {5, 10}, {-3, 4}}, 5.0).rect, {-1, -7}, {15, 5}, {-10, 5},
              {6, 17});
    checkRect(boundOf({{0, 0}, {4, 0}, {4, 2}, {0, 2}}, -0.5).rect, {0.5, 0.5}, {3.5, 0.5},
              {0.5, 1.5}, {3.5, 1.5});
}

TEST_CASE("marginOfBoundsWithoutWidthIsALengthToo") {
    checkRect(boundOf({{0, 1}, {10, 1}}, 2.0).rect, {-2, -1}, {12, -1}, {-2, 3}, {12, 3});
    checkRect(boundOf({{5, 5}}, 2.0).rect, {3, 3}, {7, 3}, {3, 7}, {7, 7});
    checkRect(boundOf({{5, 5}, {5, 5}}, 2.0).rect, {3, 3}, {7, 3}, {3, 7}, {7, 7});
}

TEST_CASE("noBoundLeavesTheRectangleAlone") {
    for (Points const& points : {Points{}, Points(4, Point2(1, 1))}) {
        Bound const bound = boundOf(points, 1.0);
        CHECK(bound.rect == Bound().rect);
        CHECK(bound.anisotropy == 0.0f);
    }
}

TEST_CASE("polylinesOfSpaceAreBoundedAlongZ") {
    support::Random random(6);
    Points const points = scattered(random, 30);
    ko::vector<Polyline::vertex> vertices;
    for (Point2 const& p : points)
        vertices.emplace_back(p.x, p.y, random.real(-9.0, 9.0), 0.0);
    ko::Reference<Polyline> const first(new Polyline(10, vertices.data()));
    ko::Reference<Polyline> const second(new Polyline(20, vertices.data() + 10));
    Bound bound;
    minAreaBound(ko::vector<Polyline const*>{first.get(), nullptr, second.get()}, 0.25, bound.rect,
                 bound.anisotropy);
    CHECK(bound.rect == boundOf(points, 0.25).rect);
    CHECK(bound.anisotropy == boundOf(points, 0.25).anisotropy);
}

TEST_CASE("extremeCoordinatesEnd") {
    support::Random random(8);
    double const nan = std::numeric_limits<double>::quiet_NaN();
    double const values[] = {0.0, 1.0, -2.0, nan, 1e300, -1e300, 1e-300, 5e-324, HUGE_VAL, 3.0};
    for (int round = 0; round < 3000; ++round) {
        Points points;
        for (int i = 0, count = random.index(12); i < count; ++i)
            points.emplace_back(values[random.index(10)], values[random.index(10)]);
        Bound const bound = boundOf(points, values[random.index(10)]);
        REQUIRE((bound.anisotropy == 0.0f || bound.anisotropy > 0.0f));
    }
    CHECK(boundOf({{0, 0}, {1e200, 0}, {0, 1e200}}).rect == Bound().rect);
}
