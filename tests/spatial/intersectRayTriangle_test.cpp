#include "support/builders.h"

#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/spatial/Ray.h"
#include "trimora/spatial/intersectRayTriangle.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>

using namespace koGeom;

namespace {

// The triangle of most cases, seen from above (+z), its front:
//
//   y
//   4 c
//   | |\.
//   0 a--b      a = (0, 0, 0)   b = (4, 0, 0)   c = (0, 4, 0)
//     0  4 x
float const a[3] = {0.0f, 0.0f, 0.0f};
float const b[3] = {4.0f, 0.0f, 0.0f};
float const c[3] = {0.0f, 4.0f, 0.0f};

struct Hit {
    bool met = false;
    double t = -7.0, u = -7.0, v = -7.0;
};

Hit shoot(PointFlt const& origin, Vector const& dir, bool cull = false) {
    Hit hit;
    auto* const test =
        cull ? &intersectRayTriangleCull
             : static_cast<decltype(&intersectRayTriangleCull)>(&intersectRayTriangle);
    hit.met = test(&dir.x, &origin.x, a, b, c, hit.t, hit.u, hit.v);
    return hit;
}

Vector const down(0.0, 0.0, -1.0);
Vector const up(0.0, 0.0, 1.0);

struct BackfaceCullDistance {
    explicit BackfaceCullDistance(double distance) { setBackfaceCullDistance(distance); }
    ~BackfaceCullDistance() { setBackfaceCullDistance(1e-06); }
};

}  // namespace

TEST_CASE("frontFacingHitGivesParameterAndWeights") {
    for (bool const cull : {false, true}) {
        Hit const hit = shoot({1.0f, 2.0f, 3.0f}, down, cull);
        CHECK(hit.met);
        CHECK(hit.t == 3.0);
        CHECK(hit.u == 0.25);
        CHECK(hit.v == 0.5);
        CHECK(shoot({1.0f, 2.0f, 3.0f}, 2.0 * down, cull).t == 1.5);  // in units of the direction
    }
}

TEST_CASE("frontFacingHitCountsBehindTheOriginToo") {
    for (bool const cull : {false, true}) {
        Hit const hit = shoot({1.0f, 1.0f, -3.0f}, down, cull);
        CHECK(hit.met);
        CHECK(hit.t == -3.0);
    }
}

TEST_CASE("backFacingHitCountsFromTheCullDistanceOn") {
    CHECK(shoot({1.0f, 1.0f, -3.0f}, up).t == 3.0);
    CHECK(shoot({1.0f, 1.0f, -3.0f}, up).met);
    CHECK_FALSE(shoot({1.0f, 1.0f, -3.0f}, up, true).met);  // one-sided

    // too near, and behind: refused, with the outputs written
    Hit const behind = shoot({1.0f, 1.0f, 3.0f}, up);
    CHECK_FALSE(behind.met);
    CHECK(behind.t == -3.0);
    CHECK(behind.u == 0.25);
    CHECK_FALSE(shoot({1.0f, 1.0f, -1e-7f}, up).met);
    BackfaceCullDistance const allowed(-4.0);
    CHECK(shoot({1.0f, 1.0f, -1e-7f}, up).met);
    CHECK(shoot({1.0f, 1.0f, 3.0f}, up).met);
    CHECK_FALSE(shoot({1.0f, 1.0f, 5.0f}, up).met);
}

TEST_CASE("edgesAndCornersBelongToTheTriangle") {
    for (float const z : {1.0f, -1.0f}) {
        Vector const towards(0.0, 0.0, z > 0.0f ? -1.0 : 1.0);
        for (PointFlt const& p : {PointFlt(0, 0, z), PointFlt(4, 0, z), PointFlt(0, 4, z),
                                  PointFlt(2, 0, z), PointFlt(0, 1, z), PointFlt(2, 2, z)})
            CHECK(shoot(p, towards).met);
        for (PointFlt const& p : {PointFlt(-0.001f, 1, z), PointFlt(1, -0.001f, z),
                                  PointFlt(2.001f, 2, z), PointFlt(5, 0, z)}) {
            Hit const miss = shoot(p, towards);
            CHECK_FALSE(miss.met);
            CHECK(miss.t == -7.0);  // untouched
        }
    }
}

TEST_CASE("raysInThePlaneAndTrianglesWithoutAreaAreNoHit") {
    CHECK_FALSE(shoot({-1.0f, 1.0f, 0.0f}, Vector::xAxis).met);  // in the plane
    CHECK_FALSE(shoot({-1.0f, 0.0f, 0.0f}, Vector::xAxis).met);  // along an edge
    CHECK_FALSE(shoot({1.0f, 1.0f, 1.0f}, Vector::zero).met);
    double t, u, v;
    float const origin[3] = {1.0f, 0.0f, 1.0f};
    CHECK_FALSE(intersectRayTriangle(&down.x, origin, a, b, b, t, u, v));
    CHECK_FALSE(intersectRayTriangle(&down.x, origin, a, a, a, t, u, v));
}

// det is 16 times the direction's length here; powers of two keep it exact.
TEST_CASE("determinantHasToBeAboveTheToleranceButForTheOneSidedTestWhereItMayBeAtIt") {
    Vector const at = (1e-06 / 16.0) * down;
    REQUIRE(16.0 * -at.z == 1e-06);
    CHECK_FALSE(shoot({1.0f, 1.0f, 1.0f}, at).met);
    CHECK(shoot({1.0f, 1.0f, 1.0f}, at, true).met);
    CHECK_FALSE(shoot({1.0f, 1.0f, 1.0f}, 0.999 * at, true).met);
    CHECK(shoot({1.0f, 1.0f, 1.0f}, 1.001 * at).met);
    CHECK_FALSE(shoot({1.0f, 1.0f, -1.0f}, -at).met);
    CHECK(shoot({1.0f, 1.0f, -1.0f}, -1.001 * at).met);
}

TEST_CASE("fiveArgumentFormRefusesWhatIsNotInFront") {
    PointFlt const p0(a[0], a[1], a[2]), p1(b[0], b[1], b[2]), p2(c[0], c[1], c[2]);
    CHECK(intersectRayTriangle(down, {1, 1, 1}, p0, p1, p2));
    CHECK_FALSE(intersectRayTriangle(down, {1, 1, 0}, p0, p1, p2));
    CHECK_FALSE(intersectRayTriangle(down, {1, 1, -1}, p0, p1, p2));
    CHECK(intersectRayTriangle(up, {1, 1, -1}, p0, p1, p2));
}

// The differences are taken in floats: a far origin is rounded before anything is widened.
TEST_CASE("differencesOfCoordinatesAreRoundedToFloats") {
    float const v0[3] = {0.0f, 0.0f, 1.0f};
    float const v1[3] = {4.0f, 0.0f, 1.0f};
    float const v2[3] = {0.0f, 4.0f, 1.0f};
    float const origin[3] = {1.0f, 1.0f, 16777216.0f};
    double t, u, v;
    CHECK(intersectRayTriangle(&down.x, origin, v0, v1, v2, t, u, v));
    CHECK(t == static_cast<double>(16777216.0f - 1.0f));
}

// Weights and parameter give the same point, on both sides, whichever corner comes first.
TEST_CASE("hitLiesOnTheTriangleAndOnTheRay") {
    support::Random random(4);
    auto const draw = [&random] { return static_cast<float>(random.real(-1.0, 1.0)); };
    for (int run = 0; run < 2000; ++run) {
        PointFlt const corners[3] = {
            {draw(), draw(), draw()}, {draw(), draw(), draw()}, {draw(), draw(), draw()}};
        PointFlt const origin(draw(), draw(), draw());
        Vector const dir(random.real(-1, 1), random.real(-1, 1), random.real(-1, 1));
        double t, u, v;
        if (!intersectRayTriangle(&dir.x, &origin.x, &corners[0].x, &corners[1].x, &corners[2].x, t,
                                  u, v) ||
            std::abs(t) > 100.0)
            continue;
        Point const onRay = Point(origin) + t * dir;
        Vector const weighted = (1.0 - u - v) * Point(corners[0]).asVector() +
                                u * Point(corners[1]).asVector() + v * Point(corners[2]).asVector();
        CHECK(distance(onRay, weighted.asPoint()) < 1e-4);
        double t2, u2, v2;
        CHECK(intersectRayTriangle(&dir.x, &origin.x, &corners[1].x, &corners[2].x, &corners[0].x,
                                   t2, u2, v2));
        CHECK(t2 == doctest::Approx(t).epsilon(1e-3));
    }
}

TEST_CASE("rayPreparesWhatTheBoxTestNeeds") {
    Ray const ray({1.0f, 2.0f, 3.0f}, {0.5, -4.0, -0.0});
    CHECK(ray.invDir[0] == 2.0f);
    CHECK(ray.invDir[1] == -0.25f);
    CHECK(ray.invDir[2] == -std::numeric_limits<float>::infinity());
    int const expected[6] = {0, 3, 4, 1, 5, 2};
    for (int i = 0; i < 6; ++i)
        CHECK(ray.slabIndex[i] == expected[i]);
    CHECK(ray.triIntersectionRayParam() == 3.4028234663852886e38);
    CHECK(ray.triIntersectionBaryU() == 0.0);
    CHECK(ray.triIntersectionBaryV() == 0.0);
    CHECK(Ray({}, {1e-300, 0.0, 1.0}).invDir[0] == std::numeric_limits<float>::infinity());
}

TEST_CASE("rayKeepsItsNearestHitAndCopiesIt") {
    MeshVertex const vertices[6] = {{0, 0, 0}, {4, 0, 0}, {0, 4, 0},
                                    {0, 0, 2}, {4, 0, 2}, {0, 4, 2}};
    MeshTriangle const low{{0, 1, 2}}, high{{3, 4, 5}};
    Ray const ray({1.0f, 2.0f, 3.0f}, down);
    CHECK(ray.intersects(low, vertices));
    CHECK(ray.triIntersectionRayParam() == 3.0);
    CHECK(ray.intersects(high, vertices));
    CHECK(ray.triIntersectionRayParam() == 1.0);
    CHECK(ray.intersects(low, vertices));  // farther: still a hit, not kept
    Ray const copy(ray);
    CHECK(copy.triIntersectionRayParam() == 1.0);
    CHECK(copy.triIntersectionBaryU() == 0.25);
    CHECK(copy.triIntersectionBaryV() == 0.5);
}

TEST_CASE("rayLeavingASurfaceDoesNotMeetIt") {
    MeshVertex const vertices[3] = {{0, 0, 0}, {4, 0, 0}, {0, 4, 0}};
    MeshTriangle const triangle{{0, 1, 2}};
    double const least = static_cast<double>(epsilonTolFlt);
    CHECK_FALSE(Ray({1, 1, 0}, down).intersects(triangle, vertices));
    CHECK_FALSE(Ray({1, 1, 0}, up).intersects(triangle, vertices));
    CHECK_FALSE(Ray({1, 1, -1}, down).intersects(triangle, vertices));
    CHECK_FALSE(Ray({1, 1, 1}, (1.0 / least) * down).intersects(triangle, vertices));  // t is at it
    CHECK(Ray({1, 1, 1}, (0.99 / least) * down).intersects(triangle, vertices));
}

TEST_CASE("boxTestIsStrictAtBothEndsAndKeepsTouchingSlabs") {
    BoundingBox const box(PointFlt(0, 0, 0), PointFlt(1, 1, 1));
    Ray const ray({-1.0f, 0.5f, 0.5f}, Vector::xAxis);  // inside for 1 < t < 2
    CHECK(ray.intersects(box, 0.0f, 10.0f));
    CHECK(ray.intersects(box, 1.5f, 1.6f));
    CHECK_FALSE(ray.intersects(box, 0.0f, 1.0f));  // ends where the box begins
    CHECK_FALSE(ray.intersects(box, 2.0f, 10.0f));
    CHECK(Ray({-1.0f, 0.0f, 1.0f}, Vector::xAxis).intersects(box, 0.0f, 10.0f));  // along an edge
    CHECK(Ray({-1.0f, -1.0f, 0.5f}, {1, 1, 0}).intersects(box, 0.0f, 10.0f));
    CHECK(Ray({-1.0f, 0.0f, 0.5f}, {1, 1, 0}).intersects(box, 0.0f, 10.0f));  // touches an edge
    CHECK_FALSE(Ray({-1.0f, 0.1f, 0.5f}, {1, 1, 0}).intersects(box, 0.0f, 10.0f));
    CHECK_FALSE(Ray({2.0f, 0.5f, 0.5f}, Vector::xAxis).intersects(box, 0.0f, 10.0f));  // behind
    BoundingBox const flat(PointFlt(0, 0, 0), PointFlt(1, 1, 0));
    CHECK(Ray({0.5f, 0.5f, 1.0f}, down).intersects(flat, 0.0f, 10.0f));
    CHECK_FALSE(Ray({0.5f, 1.5f, 1.0f}, down).intersects(flat, 0.0f, 10.0f));
}

// The rows of the test written out, with greater and lesser as fmax and fmin.
TEST_CASE("boxTestIsTheWrittenOutOneForBrokenNumbersToo") {
    float const nan = std::nanf(""), infinity = std::numeric_limits<float>::infinity();
    float const values[] = {0.0f,   -0.0f, 1.0f,   -1.0f,    0.5f,      2.0f,
                            1e-40f, 3e38f, -3e38f, infinity, -infinity, nan};
    support::Random random(2);
    auto const draw = [&] { return values[random.index(random.index(3) == 0 ? 12 : 6)]; };
    int numHits = 0;
    for (int run = 0; run < 200000; ++run) {
        Ray const ray({draw(), draw(), draw()}, VectorFlt(draw(), draw(), draw()));
        BoundingBox box;
        for (float& bound : box.bounds)
            bound = draw();
        float const tMin = draw(), tMax = draw();
        float const origin[3] = {ray.origin.x, ray.origin.y, ray.origin.z};
        float near[3], far[3];
        for (int axis = 0; axis < 3; ++axis) {
            near[axis] = (box.bounds[ray.slabIndex[2 * axis]] - origin[axis]) * ray.invDir[axis];
            far[axis] = (box.bounds[ray.slabIndex[2 * axis + 1]] - origin[axis]) * ray.invDir[axis];
        }
        bool const apart = near[0] > far[1] || near[1] > far[0] ||
                           std::fmax(near[0], near[1]) > far[2] ||
                           near[2] > std::fmin(far[0], far[1]);
        bool const expected = !apart && tMax > std::fmax(std::fmax(near[0], near[1]), near[2]) &&
                              std::fmin(std::fmin(far[0], far[1]), far[2]) > tMin;
        numHits += expected;
        REQUIRE(ray.intersects(box, tMin, tMax) == expected);
    }
    CHECK(numHits > 1000);
}
