#include "support/builders.h"
#include "support/failingNew.h"

#include "trimora/planar/Interpolate2D.h"
#include "trimora/planar/Smooth2D.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <vector>

using namespace koGeom;

namespace {

using Points = std::vector<Point2Flt>;

double between(Point2Flt const& a, Point2Flt const& b) {
    return std::hypot(double(b.x) - double(a.x), double(b.y) - double(a.y));
}

Points steps(Interpolate2D& walker, float step) {
    Points points;
    Point2Flt p;
    while (walker.interpolate(step, p, nullptr))
        points.push_back(p);
    return points;
}

Points steps(Interpolate2D& walker, Points const& samples, float step) {
    Points points;
    for (Point2Flt const& sample : samples) {
        walker.add_point(sample);
        for (Point2Flt const& p : steps(walker, step))
            points.push_back(p);
    }
    return points;
}

Points subPoints(Smooth2D& smooth, Point2Flt const& input) {
    smooth.add_point(input);
    Points points;
    Point2Flt p;
    while (smooth.interpolate(p))
        points.push_back(p);
    return points;
}

}  // namespace

TEST_CASE("nothingIsWalkedBeforeTheSecondSample") {
    FltInterpolate2D walker;
    Point2Flt p(7.0f, 7.0f);
    Vector2Flt v;
    float param = 5.0f;
    CHECK_FALSE(walker.interpolate(p, &param));
    walker.add_point({1.0f, 2.0f});
    CHECK_FALSE(walker.interpolate(p, &param));
    CHECK_FALSE(walker.interpolate(0.5f, p, &param));
    CHECK_FALSE(walker.dir(v));
    CHECK((p == Point2Flt(7.0f, 7.0f)));
    CHECK(param == 5.0f);
    walker.current(p);
    CHECK((p == Point2Flt(1.0f, 2.0f)));

    walker.add_point({1.0f, 6.0f});
    REQUIRE(walker.interpolate(1.0f, p, &param));  // the first one does not move
    CHECK((p == Point2Flt(1.0f, 2.0f)));
    CHECK(param == 0.0f);
    REQUIRE(walker.dir(v));
    CHECK((v == Vector2Flt(0.0f, 1.0f)));
    REQUIRE(walker.interpolate(1.0f, p, &param));
    CHECK((p == Point2Flt(1.0f, 3.0f)));
    CHECK(param == 0.25f);
    CHECK_FALSE(walker.interpolate(4.0f, p, &param));  // 3 are left
    REQUIRE(walker.interpolate(p, &param));
    CHECK((p == Point2Flt(1.0f, 6.0f)));
    CHECK(param == 1.0f);
    CHECK_FALSE(walker.interpolate(p, &param));
}

//   (0, 4)            4 long, steps of 1.5: 1.5, 3.0, then 1.0 is carried;
//     |               0.5 beyond the corner, at 4.5 along the way
//   (0, 0) -- (4, 0)  (drawn turned)
TEST_CASE("stepsKeepTheirLengthAcrossCorners") {
    FltInterpolate2D walker;
    walker.add_point({0.0f, 0.0f});
    walker.add_point({4.0f, 0.0f});
    CHECK((steps(walker, 1.5f) == Points{{0.0f, 0.0f}, {1.5f, 0.0f}, {3.0f, 0.0f}}));
    walker.add_point({4.0f, 4.0f});
    Point2Flt p;
    float param = 9.0f;
    walker.current(p);
    CHECK((p == Point2Flt(4.0f, -1.0f)));  // behind the corner, on the new line
    REQUIRE(walker.interpolate(1.5f, p, &param));
    CHECK((p == Point2Flt(4.0f, 0.5f)));
    CHECK(param == 0.125f);

    SUBCASE("ofEveryPolyline") {
        support::Random random(3);
        Points corners{{0.0f, 0.0f}};
        for (int i = 0; i < 200; ++i)
            corners.push_back({static_cast<float>(random.real(-5.0, 5.0)),
                               static_cast<float>(random.real(-5.0, 5.0))});
        FltInterpolate2D fine;
        Points const points = steps(fine, corners, 0.05f);
        double length = 0.0;
        for (std::size_t i = 1; i < corners.size(); ++i)
            length += between(corners[i - 1], corners[i]);
        CHECK(double(points.size()) == doctest::Approx(length / 0.05).epsilon(1e-3));
        int numShort = 0;  // chords across corners
        for (std::size_t i = 1; i < points.size(); ++i) {
            REQUIRE(between(points[i - 1], points[i]) < 0.05 + 1e-4);
            numShort += between(points[i - 1], points[i]) < 0.05 - 1e-4 ? 1 : 0;
        }
        CHECK(numShort <= 199);
    }
}

TEST_CASE("carriedLengthReachesTheCornerAtOnce") {
    FltInterpolate2D walker;
    walker.add_point({0.0f, 0.0f});
    walker.add_point({4.0f, 0.0f});
    Point2Flt p;
    float param = 9.0f;
    REQUIRE(walker.interpolate(1.0f, p, nullptr));
    walker.add_point({4.0f, 2.0f});  // with all 4 left
    REQUIRE(walker.interpolate(1.0f, p, &param));
    CHECK((p == Point2Flt(4.0f, 0.0f)));
    CHECK(param == 0.0f);
    walker.add_point({4.0f, 2.0f});  // without length, 2 are carried
    Vector2Flt v(5.0f, 5.0f);
    CHECK_FALSE(walker.dir(v));
    CHECK((v == Vector2Flt(5.0f, 5.0f)));
    REQUIRE(walker.interpolate(1.0f, p, &param));
    CHECK((p == Point2Flt(4.0f, 2.0f)));
    CHECK(param == 0.0f);
    CHECK_FALSE(walker.interpolate(1.0f, p, &param));

    FltInterpolate2D behind;
    behind.add_point({0.0f, 0.0f});
    behind.add_point({4.0f, 0.0f});
    REQUIRE(behind.interpolate(3.0f, p, &param));
    REQUIRE(behind.interpolate(3.0f, p, &param));
    behind.add_point({4.0f, 8.0f});
    REQUIRE(behind.interpolate(0.25f, p, &param));  // 1 was carried: that much, not a quarter
    CHECK((p == Point2Flt(4.0f, 0.0f)));
}

TEST_CASE("cornersAreCutWhereNothingIsCarried") {
    FltInterpolate2D walker(false);
    CHECK((steps(walker, {{0.0f, 0.0f}, {5.0f, 0.0f}}, 2.0f) ==
           Points{{0.0f, 0.0f}, {2.0f, 0.0f}, {4.0f, 0.0f}}));
    walker.add_point({4.0f, 3.0f});  // straight up from where the walker stands
    CHECK((steps(walker, 2.0f) == Points{{4.0f, 2.0f}}));
    walker.add_point({4.0f, 2.0f});
    Vector2Flt v;
    CHECK_FALSE(walker.dir(v));
}

TEST_CASE("smoothingGivesItsNumberOfSubPointsAnInput") {
    Smooth2D smooth(0.5f, 0.25f, 4);
    CHECK(subPoints(smooth, {1.0f, -2.0f}).empty());

    // Target velocity 0.75 * (3 / 0.5) = 4.5, jerk 4.5 / 10: accelerations 0.45, 0.9, 1.35, 1.8.
    Points const first = subPoints(smooth, {4.0f, -2.0f});
    REQUIRE(first.size() == 4);
    double const expected[4] = {1.45, 2.8, 5.5, 10.0};
    for (std::size_t i = 0; i < 4; ++i) {
        CHECK(first[i].x == doctest::Approx(expected[i]));
        CHECK(first[i].y == -2.0f);
    }
    // The last sub-step is the target velocity, whatever acceleration was carried over.
    support::Random random(5);
    Smooth2D standard;
    Point2Flt before(1.0f, 0.0f);
    double velocity = 0.0;
    subPoints(standard, before);
    for (int i = 0; i < 50; ++i) {
        Point2Flt const input(static_cast<float>(random.real(-3.0, 3.0)), 0.0f);
        double const target =
            (1.0 - 0.921) * ((double(input.x) - double(before.x)) / 0.9 + velocity);
        Points const points = subPoints(standard, input);
        REQUIRE(points.size() == 6);
        velocity = double(points[5].x) - double(points[4].x);
        CHECK(std::abs(velocity - target) < 1e-5);
        before = points[5];
    }

    Point2Flt p;
    smooth.add_point({0.0f, 0.0f});
    REQUIRE(smooth.interpolate(p));
    CHECK(subPoints(smooth, {1.0f, 1.0f}).size() == 4);  // three unread ones are lost
}

TEST_CASE("extremesOfSmoothing") {
    for (int numSteps : {0, -3}) {
        Smooth2D none(0.9f, 0.921f, numSteps);
        for (float x : {1.0f, 2.0f, 3.0f})
            CHECK(subPoints(none, {x, x}).empty());
    }
    Smooth2D one(1.0f, 0.0f, 1);  // arrives at each input but for its velocity
    subPoints(one, {0.0f, 0.0f});
    CHECK((subPoints(one, {2.0f, 1.0f}) == Points{{2.0f, 1.0f}}));
    CHECK((subPoints(one, {2.0f, 1.0f}) == Points{{4.0f, 2.0f}}));
    Smooth2D coasting(0.0f, 0.5f, 3);
    subPoints(coasting, {1.0f, 1.0f});
    CHECK((subPoints(coasting, {9.0f, 9.0f}) == Points{{1.0f, 1.0f}, {1.0f, 1.0f}, {1.0f, 1.0f}}));
}

TEST_CASE("smoothWalkerFeedsSubPointsToTheInnerOne") {
    SmoothInterpolate2D walker;
    Smooth2D smooth;
    FltInterpolate2D inner;
    support::Random random(9);
    float lastParam = 0.0f;
    for (int i = 0; i < 30; ++i) {
        Point2Flt const input(static_cast<float>(i), static_cast<float>(random.real(-1.0, 1.0)));
        Points expected;
        for (Point2Flt const& p : subPoints(smooth, input))
            for (Point2Flt const& q : steps(inner, {p}, 0.05f))
                expected.push_back(q);

        walker.add_point(input);
        Points points;
        Point2Flt p, current;
        lastParam = -1.0f;
        for (float param = 0.0f; walker.interpolate(0.05f, p, &param); lastParam = param) {
            REQUIRE(param >= 0.0f);
            REQUIRE(param <= 1.0f);
            REQUIRE(param >= lastParam);
            points.push_back(p);
            walker.current(current);
            REQUIRE(current == p);
        }
        CHECK((points == expected));
        Vector2Flt v, w;
        CHECK(walker.dir(v) == inner.dir(w));
        CHECK((v == w));
    }
    CHECK(lastParam > 0.75f);
}

TEST_CASE("smoothWalkerSharesTheInnerOneItIsGiven") {
    ko::Reference<Interpolate2D> inner(new FltInterpolate2D(false));
    Interpolate2D* const raw = inner.get();
    SmoothInterpolate2D walker(2, 1.0f, 0.0f, std::move(inner));
    CHECK_FALSE(inner);
    CHECK(raw->refCount() == 1);
    Point2Flt p;
    walker.add_point({3.0f, 0.0f});
    walker.current(p);
    CHECK((p == Point2Flt(3.0f, 0.0f)));
    CHECK_FALSE(walker.interpolate(p, nullptr));

    // Target velocity 1, jerk 1 / 3: sub-points 3 1/3 and 4 1/3.
    walker.add_point({4.0f, 0.0f});
    float param = 9.0f;
    REQUIRE(walker.interpolate(p, &param));  // the first sub-point, as the start
    CHECK(p.x == doctest::Approx(10.0 / 3.0));
    CHECK(param == 0.5f);
    REQUIRE(walker.interpolate(p, &param));
    CHECK(p.x == doctest::Approx(13.0 / 3.0));
    CHECK(param == 1.0f);
    param = 9.0f;
    CHECK_FALSE(walker.interpolate(p, &param));
    CHECK(param == 9.0f);

    SmoothInterpolate2D ofNull(2, 1.0f, 0.0f, nullptr);
    ofNull.add_point({0.0f, 0.0f});
    ofNull.add_point({1.0f, 0.0f});
    CHECK(ofNull.interpolate(0.1f, p, nullptr));
}

TEST_CASE("walkersAllocateNothingAfterConstruction") {
    SmoothInterpolate2D walker;
    int numSteps = 0;
    support::allocationsLeft = 0;
    for (int i = 0; i < 100; ++i) {
        walker.add_point({static_cast<float>(i % 7), static_cast<float>(i % 3)});
        for (Point2Flt p; walker.interpolate(0.1f, p, nullptr);)
            ++numSteps;
    }
    support::allocationsLeft = -1;
    CHECK(numSteps > 100);
}

TEST_CASE("strokesOfStrangeSamplesEnd") {
    float const nan = std::numeric_limits<float>::quiet_NaN();
    float const infinity = std::numeric_limits<float>::infinity();
    for (bool carries : {false, true})
        for (float bad : {nan, infinity, -infinity, 1e38f}) {
            FltInterpolate2D walker(carries);
            CHECK(steps(walker, {{0.0f, 0.0f}, {bad, 1.0f}, {1.0f, bad}}, infinity).size() <= 9);
            CHECK(steps(walker, {{2.0f, 2.0f}}, nan).empty());
        }
}
