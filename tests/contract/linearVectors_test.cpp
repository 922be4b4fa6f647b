#include "support/builders.h"

#include "trimora/contract/koLinear/random.h"
#include "trimora/contract/koLinear/vectors.h"

#include <cmath>
#include <cstddef>
#include <doctest/doctest.h>
#include <limits>
#include <numbers>

using namespace koLinear;

namespace {

constexpr double pi = std::numbers::pi;
double const infinity = std::numeric_limits<double>::infinity();
double const notANumber = std::numeric_limits<double>::quiet_NaN();

// Usable before any constructor of another library has run.
constinit Vector const copiedAxis = Vector::xAxis;
constinit Normal const copiedNormal = Normal::zAxis;

Vector randomVector(support::Random& random, double scale) {
    return {random.real(-scale, scale), random.real(-scale, scale), random.real(-scale, scale)};
}

void checkSame(Vector const& v, Vector const& w, double tolerance) {
    CHECK_MESSAGE(equivalent(v, w, tolerance), v.x, " ", v.y, " ", v.z, " is not ", w.x, " ", w.y,
                  " ", w.z);
}

}  // namespace

TEST_CASE("namedConstantsAreReadyForStaticInitialisers") {
    CHECK(copiedAxis == Vector(1.0, 0.0, 0.0));
    CHECK(copiedNormal.valid);
    CHECK(Vector(Normal::xAxis) == Vector::xAxis);
    CHECK(Vector::zero.length2() == 0.0);
    CHECK(Point::origin == Point());
    CHECK(PointFlt::origin == PointFlt());
    CHECK(VectorFlt::zero == VectorFlt());
    CHECK(Vector2::zero == Vector2());
}

TEST_CASE("tolerancesAreVariablesSharedByTheProcess") {
    CHECK(epsilonTol == 1e-12);
    CHECK(epsilon2Tol == 1e-24);
    CHECK(epsilonTolFlt == 1e-6f);
    CHECK(perpendicular2Tol == 1e-12);
    CHECK(parallelTol == 1.0 - 1e-8);
    double const before = epsilonTol;
    epsilonTol = 0.5;
    CHECK(koLinear::epsilonTol == 0.5);
    epsilonTol = before;
}

TEST_CASE("fieldsLieInOrderSoThatValuesCanBeReadWordByWord") {
    CHECK(offsetof(Normal, valid) == 24);
    CHECK(offsetof(HPoint, w) == 24);
    float const source[3] = {1.0f, 2.0f, 3.0f};
    PointFlt narrow;
    narrow.set(source);
    CHECK(Point(narrow) == Point(1.0, 2.0, 3.0));
    CHECK(Point(Point2(4.0, 5.0)) == Point(4.0, 5.0, 0.0));
    CHECK(PointFlt(Point(0.1, 0.2, 0.3)) == PointFlt(0.1f, 0.2f, 0.3f));
}

TEST_CASE("normalIsValidForEveryVectorThatHasADirection") {
    SUBCASE("directions that lie along an axis stay exact") {
        for (double const length : {1.0, 3.0, 49.0, 1e-100, 1e100}) {
            Normal const n(Vector(0.0, -length, 0.0));
            CHECK(n == Normal(0.0, -1.0, 0.0));
        }
    }
    SUBCASE("the normal of a tiny triangle is good although it is far below every tolerance") {
        Normal const n(cross(Vector(1e-30, 0.0, 0.0), Vector(0.0, 1e-30, 0.0)));
        CHECK(n == Normal::zAxis);
    }
    SUBCASE("without a direction the components are 0") {
        for (double const bad : {0.0, 1e-160, 1e160, infinity, notANumber}) {
            Normal n(Vector(bad, 0.0, 0.0));
            CHECK(n == Normal());
            CHECK_FALSE(n.valid);
            n = Normal::xAxis;
            n = Vector(0.0, bad, bad);
            CHECK(n == Normal());
            CHECK((-n) == Normal());
        }
        CHECK_FALSE(Normal(0.0, 0.0, 0.0).valid);
        CHECK(Normal(notANumber, 0.0, 1.0) == Normal());
    }
    SUBCASE("three numbers are taken as they are") {
        double const raw[3] = {0.6, 0.8, 0.0};
        Normal n;
        n.set(raw);
        CHECK(n.valid);
        CHECK(n.asPoint() == Point(0.6, 0.8, 0.0));
    }
}

TEST_CASE("normalizeLeavesAVectorWithoutDirectionAsItWas") {
    Vector v(1e-170, 0.0, 0.0);
    CHECK_FALSE(v.normalize());
    CHECK(v == Vector(1e-170, 0.0, 0.0));
    Vector w(3.0, 0.0, 4.0);
    CHECK(w.normalize());
    CHECK(w == Vector(0.6, 0.0, 0.8));
    Vector2 flat(0.0, -2.0);
    CHECK(flat.normalize());
    CHECK(flat == Vector2(0.0, -1.0));
    CHECK_FALSE(Vector2().normalize());
}

TEST_CASE("orthogonalVectorIsAUnitVectorAtRightAngles") {
    support::Random random(11);
    for (int i = 0; i < 1000; ++i) {
        Vector v = randomVector(random, 1.0);
        v.z *= std::pow(10.0, random.index(300));
        Vector const w = v.orthogonalVector();
        CHECK(std::abs(w.length() - 1.0) < 1e-15);
        CHECK(std::abs(dot(v, w)) <= 1e-15 * v.length());
    }
    CHECK(Vector(0.0, 0.0, -5.0).orthogonalVector() == Vector::xAxis);
    CHECK(Vector::zero.orthogonalVector() == Vector::xAxis);
    CHECK(Vector(1e-300, 0.0, 1.0).orthogonalVector() == Vector::yAxis);
    CHECK(Vector(notANumber, 0.0, infinity).orthogonalVector() == Vector::xAxis);
}

TEST_CASE("crossIsRightHandedForVectorsAndNormalsAlike") {
    CHECK(cross(Vector::xAxis, Vector::yAxis) == Vector::zAxis);
    CHECK(cross(Normal::xAxis, Vector::yAxis) == Vector::zAxis);
    CHECK(cross(Vector::xAxis, Normal::yAxis) == Vector::zAxis);
    CHECK(cross(Normal::xAxis, Normal::yAxis) == Vector::zAxis);
    CHECK(cross(Vector2(1.0, 0.0), Vector2(0.0, 1.0)) == 1.0);
}

TEST_CASE("combineAddsInOrderWithWeights") {
    Point const p(1.0, 2.0, 3.0);
    Point const q(5.0, 6.0, 7.0);
    CHECK(combine(2.0, p, -1.0, q) == Point(-3.0, -2.0, -1.0));
    CHECK(combine(p, q) == Point(3.0, 4.0, 5.0));
    CHECK(combine(0.5f, PointFlt(2.0f, 4.0f, 6.0f), 0.5f, PointFlt()) ==
          PointFlt(1.0f, 2.0f, 3.0f));
    CHECK(combine(3.0, Normal::xAxis, 4.0, Normal::zAxis) == Vector(3.0, 0.0, 4.0));
    Vector const some[3] = {{1.0, 0.0, 0.0}, {0.0, 2.0, 0.0}, {0.0, 0.0, 4.0}};
    double const weights[3] = {1.0, 0.5, -0.25};
    CHECK(combine(3, some) == Vector(1.0, 2.0, 4.0));
    CHECK(combine(3, weights, some) == Vector(1.0, 1.0, -1.0));
    CHECK(combine(0, some) == Vector::zero);
}

TEST_CASE("rotateTurnsCounterclockwiseAboutTheAxisAndKeepsLengths") {
    checkSame(rotate(Vector::xAxis, Normal::zAxis, pi / 2.0), Vector::yAxis, 1e-15);
    support::Random random(5);
    for (int i = 0; i < 200; ++i) {
        Vector const v = randomVector(random, 10.0);
        Normal const axis(randomVector(random, 1.0));
        double const turn = random.real(-10.0, 10.0);
        Vector const w = rotate(v, axis, turn);
        CHECK(std::abs(w.length() - v.length()) < 1e-13);
        CHECK(std::abs(dot(w, axis) - dot(v, axis)) < 1e-13);
        checkSame(rotate(w, axis, -turn), v, 1e-13);
    }
    CHECK(rotate(Vector(1.0, 2.0, 3.0), Normal(), 1.0) == Vector(1.0, 2.0, 3.0));
}

TEST_CASE("angleIsSymmetricClampedAndNeverNaN") {
    support::Random random(3);
    for (int i = 0; i < 1000; ++i) {
        Normal const n(randomVector(random, 1.0));
        Normal const m(randomVector(random, 1.0));
        CHECK(angle(n, m) == angle(m, n));
        double const sine = cross(n, m).length();
        CHECK(std::abs(angle(n, m) - std::atan2(sine, dot(n, m))) < 1e-7);
        CHECK(angle(n, n) >= 0.0);  // the cosine of equal normals can be a little above 1
        CHECK(angle(n, -n) <= pi);
    }
    CHECK(angle(Normal::xAxis, Normal::yAxis) == doctest::Approx(pi / 2.0));
    CHECK_FALSE(std::isnan(angle(Normal(), Normal::xAxis)));
    Normal broken = Normal::xAxis;
    broken.y = notANumber;
    CHECK_FALSE(std::isnan(angle(broken, Normal::yAxis)));
}

TEST_CASE("projectDropsThePartAlongTheNormal") {
    CHECK(project(Vector(1.0, 2.0, 3.0), Normal::zAxis) == Vector(1.0, 2.0, 0.0));
    CHECK(project(Vector(1.0, 2.0, 3.0), Normal()) == Vector(1.0, 2.0, 3.0));
}

TEST_CASE("distancesOfFloatPointsAreTakenInDoubles") {
    PointFlt const far(16777216.0f, 1.0f, 0.0f);
    PointFlt const near(0.0f, 0.0f, 0.0f);
    CHECK(distance2(far, near) == 16777216.0 * 16777216.0 + 1.0);
    CHECK(distance(Point2(0.0, 3.0), Point2(4.0, 0.0)) == 5.0);
    CHECK(distance(Point(1.0, 1.0, 1.0), Point(1.0, 1.0, 3.0)) == 2.0);
}

TEST_CASE("equivalentComparesEachComponentWithTheToleranceIncluded") {
    CHECK(equivalent(Point(0.0, 0.0, 0.0), Point(0.5, -0.5, 0.5), 0.5));
    CHECK_FALSE(equivalent(Point(0.0, 0.0, 0.0), Point(0.0, 0.0, 0.5000001), 0.5));
    CHECK(equivalent(PointFlt(1.0f, 1.0f, 1.0f), PointFlt(1.0f, 1.25f, 1.0f), 0.25f));
    CHECK_FALSE(equivalent(Point2(notANumber, 0.0), Point2(notANumber, 0.0), 1.0));
    CHECK_FALSE(equivalent(Normal::xAxis, Normal::yAxis, 0.5));
    CHECK(equivalent(Vector2(1.0, 2.0), Vector2(1.0, 2.0), 0.0));
}

TEST_CASE("isParallelTakesACosine") {
    Normal const tilted(Vector(1.0, 1e-3, 0.0));
    CHECK(isParallel(Normal::xAxis, Normal::xAxis, parallelTol));
    CHECK(isParallel(Normal::xAxis, -Normal::xAxis, parallelTol));
    CHECK_FALSE(isParallel(Normal::xAxis, tilted, parallelTol));
    CHECK(isParallel(Normal::xAxis, tilted, 1.0 - 1e-5));
    CHECK_FALSE(isParallel(Normal::xAxis, Normal::yAxis, 1e-6));
    CHECK_FALSE(isParallel(Normal(), Normal(), parallelTol));
}

TEST_CASE("insideViewKnowsTheSidesAndWhenAskedTheDepth") {
    CHECK(HPoint(Point(1.0, -1.0, 1.0)).insideView(true));
    CHECK_FALSE(HPoint(1.0, 0.0, 0.0, 0.5).insideView(false));
    CHECK(HPoint(0.0, 0.0, 2.0, 1.0).insideView(false));
    CHECK_FALSE(HPoint(0.0, 0.0, 2.0, 1.0).insideView(true));
    CHECK_FALSE(HPoint(0.0, 0.0, 0.0, -1.0).insideView(false));
    CHECK_FALSE(HPoint(notANumber, 0.0, 0.0, 1.0).insideView(false));
}

TEST_CASE("randomHelpersAreThoseOfTheRuntime") {
    for (int i = 0; i < 100; ++i) {
        double const value = koLinear::drand48();
        CHECK(value >= 0.0);
        CHECK(value < 1.0);
    }
    CHECK(koLinear::nextafterf(1.0f, 2.0f) == 1.0f + std::numeric_limits<float>::epsilon());
}

namespace {

[[gnu::noinline]] Point throughFloats(Point const& p) {
    return Point(PointFlt(p));
}

}  // namespace

// g++ 12 took the two conversions for none when it vectorised x and y.
TEST_CASE("narrowedPointsAreNarrowWhenWidenedAtOnce") {
    double const volatile x = 0.1, y = 0.2, z = 0.3;  // unknown to the compiler
    Point const narrowed = throughFloats(Point(x, y, z));
    CHECK(narrowed.x == 0x1.99999ap-4);
    CHECK(narrowed.y == 0x1.99999ap-3);
    CHECK(narrowed.z == 0x1.333334p-2);
}
