#include "support/builders.h"

#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/Frustum.h"
#include "trimora/contract/koGeom/Sphere.h"
#include "trimora/spatial/intersects.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <vector>

using namespace koGeom;

namespace {

using Float3 = std::array<float, 3>;
using Int3 = std::array<long long, 3>;

float const infinity = std::numeric_limits<float>::infinity();
float const notANumber = std::numeric_limits<float>::quiet_NaN();

BoundingBox boxOf(Float3 const& low, Float3 const& high) {
    return {PointFlt(low[0], low[1], low[2]), PointFlt(high[0], high[1], high[2])};
}
BoundingBox const unitBox = boxOf({0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f});

Float3 randomFloats(support::Random& random, double scale) {
    Float3 result;
    for (float& value : result)
        value = static_cast<float>(random.real(-scale, scale));
    return result;
}
Float3 randomLattice(support::Random& random) {
    Float3 result;
    for (float& value : result)
        value = static_cast<float>(random.index(9) - 4);
    return result;
}
BoundingBox randomBox(Float3 a, Float3 b) {
    for (int axis = 0; axis < 3; ++axis)
        if (a[axis] > b[axis])
            std::swap(a[axis], b[axis]);
    return boxOf(a, b);
}

bool overlaps(BoundingBox const& box, Float3 const& a, Float3 const& b, Float3 const& c) {
    return intersects(box, a.data(), b.data(), c.data());
}
bool overlaps(BoundingBox const& box, Float3 const& a, Float3 const& b) {
    return intersects(box, a.data(), b.data());
}

// Separating axes in whole numbers, without rounding: projections of all corners on all axes.
Int3 cross(Int3 const& a, Int3 const& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
long long dot(Int3 const& a, Int3 const& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
bool separates(Int3 const& axis, std::vector<Int3> const& first, std::vector<Int3> const& second) {
    auto const less = [&](Int3 const& p, Int3 const& q) { return dot(axis, p) < dot(axis, q); };
    auto const [lowA, highA] = std::minmax_element(first.begin(), first.end(), less);
    auto const [lowB, highB] = std::minmax_element(second.begin(), second.end(), less);
    return dot(axis, *lowA) > dot(axis, *highB) || dot(axis, *lowB) > dot(axis, *highA);
}
bool overlapOracle(BoundingBox const& box, std::vector<Float3> const& corners) {
    std::vector<Int3> shape, boxCorners;
    for (Float3 const& c : corners)
        shape.push_back({std::lround(c[0]), std::lround(c[1]), std::lround(c[2])});
    for (int i = 0; i < 8; ++i)
        boxCorners.push_back({std::lround(box.bounds[(i & 1) != 0 ? 3 : 0]),
                              std::lround(box.bounds[(i & 2) != 0 ? 4 : 1]),
                              std::lround(box.bounds[(i & 4) != 0 ? 5 : 2])});
    std::vector<Int3> axes = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    for (std::size_t i = 0; i < shape.size(); ++i)
        for (std::size_t j = 0; j < i; ++j) {
            Int3 const edge = {shape[i][0] - shape[j][0], shape[i][1] - shape[j][1],
                               shape[i][2] - shape[j][2]};
            for (int unit = 0; unit < 3; ++unit)
                axes.push_back(cross(edge, axes[static_cast<std::size_t>(unit)]));
            if (j > 0) {
                Int3 const base = {shape[0][0] - shape[j][0], shape[0][1] - shape[j][1],
                                   shape[0][2] - shape[j][2]};
                axes.push_back(cross(edge, base));
            }
        }
    return std::none_of(axes.begin(), axes.end(),
                        [&](Int3 const& axis) { return separates(axis, shape, boxCorners); });
}

// The test for one box and one triangle as plain scalar code, axis after axis.
bool scalarTwin(BoundingBox const& box, Float3 const& v0, Float3 const& v1, Float3 const& v2) {
    Float3 lo, hi, a, b, c;
    for (int k = 0; k < 3; ++k) {
        lo[k] = box.bounds[k] - v0[k];
        hi[k] = box.bounds[k + 3] - v0[k];
        a[k] = v1[k] - v0[k];
        b[k] = v2[k] - v0[k];
        c[k] = v2[k] - v1[k];
    }
    for (Float3 const& e : {a, b, c})
        for (auto const& [i, j] : {std::pair(2, 1), std::pair(0, 2), std::pair(1, 0)}) {
            float const pa = e[i] * a[j] - e[j] * a[i];
            float const pb = e[i] * b[j] - e[j] * b[i];
            float const low =
                std::min(e[i] * lo[j], e[i] * hi[j]) - std::max(e[j] * lo[i], e[j] * hi[i]);
            float const high =
                std::max(e[i] * lo[j], e[i] * hi[j]) - std::min(e[j] * lo[i], e[j] * hi[i]);
            if (low > std::max({0.0f, pa, pb}) || high < std::min({0.0f, pa, pb}))
                return false;
        }
    for (int k = 0; k < 3; ++k)
        if (lo[k] > std::max({0.0f, a[k], b[k]}) || hi[k] < std::min({0.0f, a[k], b[k]}))
            return false;
    VectorFlt const normal(a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2],
                           a[0] * b[1] - a[1] * b[0]);
    float low = 0.0f;
    float high = 0.0f;
    project(boxOf(lo, hi), normal, low, high);
    return low <= 0.0f && high >= 0.0f;
}

// A view from the origin along +x, opening 45 degrees to each side, from x = 1 to x = 3.
Frustum camera() {
    Point const corners[8] = {{1, -1, -1}, {1, 1, -1}, {1, 1, 1}, {1, -1, 1},
                              {3, -3, -3}, {3, 3, -3}, {3, 3, 3}, {3, -3, 3}};
    return Frustum(corners);
}

Frustum randomFrustum(support::Random& random) {
    Point const eye(random.real(-3, 3), random.real(-3, 3), random.real(-3, 3));
    Normal const way(Vector(random.real(-1, 1), random.real(-1, 1), random.real(-1, 1)));
    Vector const right = random.real(0.1, 1.0) * Vector(way).orthogonalVector();
    Vector const up =
        random.real(0.1, 1.0) * koLinear::cross(Vector(way), Vector(way).orthogonalVector());
    Point corners[8];
    for (int i = 0; i < 8; ++i) {
        double const depth = i < 4 ? 0.5 : 4.0;
        double const side = i % 4 == 1 || i % 4 == 2 ? 1.0 : -1.0;
        double const height = i % 4 >= 2 ? 1.0 : -1.0;
        corners[i] = eye + depth * (Vector(way) + side * right + height * up);
    }
    return Frustum(corners);
}

// The frustum test with all eight corners of the box looked at.
bool frustumTwin(BoundingBox const& box, Frustum const& frustum) {
    int beyond[6] = {};
    for (Point const& p : frustum.corners) {
        double const position[3] = {p.x, p.y, p.z};
        for (int axis = 0; axis < 3; ++axis) {
            beyond[axis] += position[axis] < box.bounds[axis];
            beyond[axis + 3] += position[axis] > box.bounds[axis + 3];
        }
    }
    if (*std::max_element(beyond, beyond + 6) == 8)
        return false;
    for (Plane const& plane : frustum.planes) {
        bool below = false;
        for (int i = 0; i < 8; ++i) {
            Point const corner(box.bounds[(i & 1) != 0 ? 3 : 0], box.bounds[(i & 2) != 0 ? 4 : 1],
                               box.bounds[(i & 4) != 0 ? 5 : 2]);
            below = below || koLinear::dot(corner - plane.origin, plane.normal) <= 0.0;
        }
        if (!below)
            return false;
    }
    return true;
}

Sphere ball(double x, double y, double z, double radius) {
    return {Point(x, y, z), radius};
}

}  // namespace

TEST_CASE("triangleThatTouchesABoxOverlapsIt") {
    CHECK(overlaps(unitBox, {1.0f, 1.0f, 1.0f}, {2.0f, 1.0f, 1.0f}, {1.0f, 2.0f, 2.0f}));
    CHECK(overlaps(unitBox, {1.0f, 0.2f, 0.2f}, {2.0f, 0.2f, 0.2f}, {2.0f, 0.8f, 0.2f}));
    CHECK_FALSE(overlaps(unitBox, {1.001f, 0.2f, 0.2f}, {2.0f, 0.2f, 0.2f}, {2.0f, 0.8f, 0.2f}));
    // The plane x + y + z = 3 touches the corner, slightly farther out it does not.
    CHECK(overlaps(unitBox, {3.0f, 0.0f, 0.0f}, {0.0f, 3.0f, 0.0f}, {0.0f, 0.0f, 3.0f}));
    CHECK_FALSE(overlaps(unitBox, {3.01f, 0.0f, 0.0f}, {0.0f, 3.01f, 0.0f}, {0.0f, 0.0f, 3.01f}));
    // Boxes of both overlap and the plane cuts, yet an edge passes by: only an edge axis tells.
    CHECK_FALSE(overlaps(unitBox, {2.5f, 0.0f, 0.5f}, {0.0f, 2.5f, 0.5f}, {2.5f, 2.5f, 0.6f}));
}

TEST_CASE("triangleWithoutAreaIsTheSegmentOrPointItIs") {
    Float3 const inside = {0.5f, 0.5f, 0.5f};
    Float3 const outside = {0.5f, 0.5f, 1.5f};
    CHECK(overlaps(unitBox, inside, inside, inside));
    CHECK_FALSE(overlaps(unitBox, outside, outside, outside));
    CHECK(overlaps(unitBox, outside, outside, {0.5f, 0.5f, -3.0f}));
    CHECK_FALSE(overlaps(unitBox, {2.5f, 0.0f, 0.5f}, {0.0f, 2.5f, 0.5f}, {0.0f, 2.5f, 0.5f}));
}

TEST_CASE("boxTestsAgreeWithWholeNumberSeparatingAxes") {
    support::Random random(101);
    int numOverlaps = 0;
    for (int i = 0; i < 20000; ++i) {
        BoundingBox const box = randomBox(randomLattice(random), randomLattice(random));
        Float3 const a = randomLattice(random);
        Float3 const b = randomLattice(random);
        Float3 const c = randomLattice(random);
        bool const expected = overlapOracle(box, {a, b, c});
        numOverlaps += expected;
        CHECK(overlaps(box, a, b, c) == expected);
        CHECK(overlaps(box, a, b) == overlapOracle(box, {a, b}));
    }
    CHECK(numOverlaps > 5000);
    CHECK(numOverlaps < 19000);
}

TEST_CASE("packetsGiveTheBitsOfScalarCode") {
    support::Random random(103);
    for (int i = 0; i < 20000; ++i) {
        double const scale = std::pow(10.0, random.index(40) - 20);
        BoundingBox const box = randomBox(randomFloats(random, scale), randomFloats(random, scale));
        Float3 const a = randomFloats(random, scale);
        Float3 const b = randomFloats(random, scale);
        Float3 const c = randomFloats(random, scale);
        CHECK(overlaps(box, a, b, c) == scalarTwin(box, a, b, c));
    }
}

TEST_CASE("boxThatHoldsAPointOfAShapeOverlapsIt") {
    support::Random random(107);
    for (int i = 0; i < 5000; ++i) {
        Float3 const a = randomFloats(random, 1.0);
        Float3 const b = randomFloats(random, 1.0);
        Float3 const c = randomFloats(random, 1.0);
        double const u = random.real(0.0, 1.0);
        double const v = random.real(0.0, 1.0 - u);
        Float3 p, q;
        for (int k = 0; k < 3; ++k) {
            p[k] = static_cast<float>(a[k] + u * (b[k] - a[k]) + v * (c[k] - a[k]));
            q[k] = static_cast<float>(a[k] + u * (b[k] - a[k]));
        }
        float const half = static_cast<float>(random.real(1e-5, 0.1));
        CHECK(overlaps(BoundingBox(p.data(), half), a, b, c));
        CHECK(overlaps(BoundingBox(q.data(), half), a, b));
    }
}

TEST_CASE("boxTestsEndOnAnyFloats") {
    float const odd[] = {0.0f, 1.0f, -1.0f, infinity, -infinity, notANumber, 3e38f, 1e-45f};
    support::Random random(109);
    for (int i = 0; i < 5000; ++i) {
        auto const any = [&] { return odd[random.index(8)]; };
        Float3 const a = {any(), any(), any()};
        Float3 const b = {any(), any(), any()};
        Float3 const c = {any(), any(), any()};
        BoundingBox const box = boxOf({any(), any(), any()}, {any(), any(), any()});
        (void)overlaps(box, a, b, c);
        (void)overlaps(box, a, b);
        CHECK(intersects(box, camera()) == frustumTwin(box, camera()));
    }
    CHECK_FALSE(overlaps(BoundingBox(), {0.0f, 0.0f, 0.0f}, {1.0f, 0.0f, 0.0f}));
}

TEST_CASE("segmentTouchesABoxByItsEndOrInPassing") {
    CHECK(overlaps(unitBox, {1.0f, 1.0f, 1.0f}, {2.0f, 2.0f, 2.0f}));
    CHECK(overlaps(unitBox, {2.0f, 0.0f, 0.5f}, {0.0f, 2.0f, 0.5f}));  // grazes the edge x = y = 1
    CHECK_FALSE(overlaps(unitBox, {2.1f, 0.0f, 0.5f}, {0.0f, 2.1f, 0.5f}));
    CHECK(overlaps(unitBox, {0.5f, 0.5f, 0.5f}, {0.5f, 0.5f, 0.5f}));
    CHECK_FALSE(overlaps(unitBox, {-1.0f, 0.5f, 0.5f}, {-0.5f, 0.5f, 0.5f}));
}

TEST_CASE("projectSumsTheLesserAndTheGreaterProducts") {
    float low = 0.0f;
    float high = 0.0f;
    BoundingBox const box = boxOf({1.0f, -2.0f, 3.0f}, {2.0f, 5.0f, 4.0f});
    project(box, VectorFlt(2.0f, -1.0f, 0.5f), low, high);
    CHECK(low == 2.0f - 5.0f + 1.5f);
    CHECK(high == 4.0f + 2.0f + 2.0f);
}

TEST_CASE("frustumSeesBoxesInsideAroundAndAcross") {
    Frustum const view = camera();
    CHECK(intersects(boxOf({1.9f, -0.1f, -0.1f}, {2.1f, 0.1f, 0.1f}), view));
    CHECK(intersects(boxOf({-9.0f, -9.0f, -9.0f}, {9.0f, 9.0f, 9.0f}), view));
    CHECK(intersects(boxOf({2.0f, 1.9f, 0.0f}, {2.5f, 9.0f, 0.1f}), view));
    CHECK(intersects(boxOf({3.0f, 0.0f, 0.0f}, {4.0f, 1.0f, 1.0f}), view));  // touches the far quad
    CHECK_FALSE(intersects(boxOf({3.1f, 0.0f, 0.0f}, {4.0f, 1.0f, 1.0f}), view));
    CHECK_FALSE(
        intersects(boxOf({0.0f, 0.0f, 0.0f}, {0.9f, 1.0f, 1.0f}), view));  // before the near quad
    CHECK_FALSE(
        intersects(boxOf({1.0f, 1.5f, 0.0f}, {1.2f, 2.0f, 0.1f}), view));  // beside the body
}

TEST_CASE("frustumTestLosesNoBoxAndAgreesWithTheLongWay") {
    support::Random random(113);
    int numSeen = 0;
    for (int i = 0; i < 3000; ++i) {
        Frustum const frustum = randomFrustum(random);
        Float3 const center = randomFloats(random, 4.0);
        BoundingBox const box(center.data(), static_cast<float>(random.real(0.01, 2.0)));
        bool const seen = intersects(box, frustum);
        CHECK(seen == frustumTwin(box, frustum));
        numSeen += seen;
        for (int k = 0; k < 20 && !seen; ++k) {
            Point const p(random.real(box.bounds[0], box.bounds[3]),
                          random.real(box.bounds[1], box.bounds[4]),
                          random.real(box.bounds[2], box.bounds[5]));
            CHECK_FALSE(contains(frustum, p));
        }
    }
    CHECK(numSeen > 200);
    CHECK(numSeen < 2800);
}

TEST_CASE("frustumHoldsItsSurfaceAndWithATolerancesWidthMore") {
    Frustum const view = camera();
    CHECK(contains(view, Point(2.0, 0.0, 0.0)));
    CHECK(contains(view, Point(3.0, 0.0, 0.0)));
    CHECK_FALSE(contains(view, Point(3.0 + 1e-13, 0.0, 0.0)));
    CHECK(pointFrustumIntersect(Point(3.0 + 1e-13, 0.0, 0.0), view));
    CHECK_FALSE(pointFrustumIntersect(Point(3.0 + 1e-11, 0.0, 0.0), view));
    CHECK_FALSE(contains(view, Point(0.0, 0.0, 0.0)));
}

TEST_CASE("boxHoldsItsFaces") {
    CHECK(contains(unitBox, PointFlt(1.0f, 0.0f, 0.5f)));
    CHECK_FALSE(contains(unitBox, PointFlt(1.0f, -1e-7f, 0.5f)));
    CHECK_FALSE(contains(unitBox, PointFlt(0.5f, 0.5f, 1.0000001f)));
    CHECK_FALSE(contains(BoundingBox(), PointFlt(0.0f, 0.0f, 0.0f)));
    CHECK(contains(unitBox, PointFlt(0.5f, notANumber, 0.5f)));  // NaN lies beyond nothing
}

TEST_CASE("ballTouchesABoxAtItsRadius") {
    CHECK(intersects(unitBox, ball(3.0, 0.5, 0.5, 2.0)));
    CHECK_FALSE(intersects(unitBox, ball(3.0, 0.5, 0.5, 1.999)));
    CHECK(intersects(unitBox, ball(0.5, 0.5, 0.5, 0.0)));
    CHECK_FALSE(intersects(unitBox, ball(2.0, 2.0, 2.0, 1.7)));
    CHECK(intersects(unitBox, ball(2.0, 2.0, 2.0, 1.74)));
}

TEST_CASE("boxLiesAboveBelowOrAcrossAPlane") {
    Plane const floor(Point(0.0, 0.0, 1.0), Normal::zAxis);
    CHECK(intersects(boxOf({0.0f, 0.0f, 1.5f}, {1.0f, 1.0f, 2.0f}), floor) == 1);
    CHECK(intersects(boxOf({0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 0.5f}), floor) == -1);
    CHECK(intersects(boxOf({0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 2.0f}), floor) == 0);
    CHECK(intersects(boxOf({0.0f, 0.0f, 1.0f}, {1.0f, 1.0f, 2.0f}), floor) == 0);  // touches
    CHECK(intersects(boxOf({0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}), floor) == 0);
    Plane const slanted(Point(0.0, 0.0, 0.0), Normal(Vector(-1.0, -1.0, -1.0)));
    CHECK(intersects(boxOf({0.1f, 0.1f, 0.1f}, {1.0f, 1.0f, 1.0f}), slanted) == -1);
    CHECK(intersects(boxOf({-1.0f, -1.0f, -1.0f}, {-0.1f, -0.1f, -0.1f}), slanted) == 1);
}

//  y
//  4 c          the triangle a b c, in z = 0
//    | .
//  0 a----b     x: 0 4
TEST_CASE("ballMeetsTheInsideTheEdgesAndTheCornersOfATriangle") {
    Point const a(0.0, 0.0, 0.0);
    Point const b(4.0, 0.0, 0.0);
    Point const c(0.0, 4.0, 0.0);
    auto const meets = [&](Sphere const& sphere) {
        bool const one = sphereTriIntersect(sphere, a, b, c);
        CHECK(sphereTriIntersect(sphere, b, c, a) == one);
        CHECK(sphereTriIntersect(sphere, a, c, b) == one);  // either side up
        return one;
    };
    CHECK(meets(ball(4.5, 0.0, 0.0, 1.0)));  // holds a corner
    CHECK(meets(ball(1.0, 1.0, 2.0, 2.5)));  // over the inside
    CHECK(meets(ball(1.0, 1.0, 2.0, 2.0)));  // tangent to the inside
    CHECK_FALSE(meets(ball(1.0, 1.0, 2.0, 1.9)));
    CHECK(meets(ball(2.0, -1.0, 0.0, 1.1)));  // beside an edge
    CHECK_FALSE(meets(ball(2.0, -1.0, 0.0, 1.0)));
    CHECK_FALSE(meets(ball(2.0, -1.0, 1.0, 1.2)));  // near in the plane, too far in space
    CHECK(meets(ball(2.0, -1.0, 1.0, 1.5)));
}

TEST_CASE("ballTestIsApproximateInThreeKnownWays") {
    Point const a(0.0, 0.0, 0.0);
    Point const b(4.0, 0.0, 0.0);
    Point const c(0.0, 4.0, 0.0);
    // Beyond the end of an edge its line still counts: 1.41 from b, but 1 from the line y = 0.
    CHECK(sphereTriIntersect(ball(5.0, -1.0, 0.0, 1.2), {-6.0, 0.0, 0.0}, b, c));
    // Farther from each corner than the edge that follows is long: dropped though it reaches.
    CHECK_FALSE(sphereTriIntersect(ball(0.0, 0.0, 7.0, 6.99), {-4.0, -1.0, 0.0}, {3.0, -1.0, 0.0},
                                   {0.0, 4.0, 0.0}));
    CHECK_FALSE(sphereTriIntersect(ball(0.0, 0.0, 9.0, 9.0), {-4.0, -1.0, 0.0}, {3.0, -1.0, 0.0},
                                   {0.0, 4.0, 0.0}));
    // Beyond the corner at a, both its edges face the center: the line across is measured.
    CHECK_FALSE(sphereTriIntersect(ball(-0.5, -0.5, 0.0, 0.7), a, b, c));
}

TEST_CASE("ballTestTreatsTrianglesWithoutAreaAsLines") {
    Point const a(0.0, 0.0, 0.0);
    Point const b(4.0, 0.0, 0.0);
    Sphere const near = ball(2.0, 1.0, 0.0, 1.5);
    Sphere const far = ball(2.0, 1.0, 0.0, 0.5);
    CHECK(sphereTriIntersect(near, a, a, b));
    CHECK(sphereTriIntersect(near, a, b, b));
    CHECK(sphereTriIntersect(near, a, b, a));
    CHECK(sphereTriIntersect(near, a, b, Point(3.0, 0.0, 0.0)));  // three corners on one line
    CHECK_FALSE(sphereTriIntersect(far, a, a, b));
    CHECK_FALSE(sphereTriIntersect(far, a, b, b));
    CHECK_FALSE(sphereTriIntersect(far, a, b, a));
    CHECK_FALSE(sphereTriIntersect(far, a, b, Point(3.0, 0.0, 0.0)));
    CHECK_FALSE(sphereTriIntersect(ball(1.0, 0.0, 0.0, 0.5), a, a, a));
    CHECK(
        sphereTriIntersect(ball(0.1, 0.0, 0.0, 0.5), a, a, a));  // but a corner inside counts first
}

TEST_CASE("ballTestOverTheInsideAgreesWithTheHeight") {
    support::Random random(127);
    int numCompared = 0;
    for (int i = 0; i < 5000; ++i) {
        Point corner[3];
        for (Point& p : corner)
            p.set(random.real(-1, 1), random.real(-1, 1), random.real(-1, 1));
        double const u = random.real(0.0, 1.0);
        double const v = random.real(0.0, 1.0 - u);
        Point const foot = corner[0] + u * (corner[1] - corner[0]) + v * (corner[2] - corner[0]);
        Normal const n(koLinear::cross(corner[1] - corner[0], corner[2] - corner[0]));
        double const height = random.real(-0.3, 0.3);
        Sphere const sphere{foot + height * Vector(n), random.real(0.0, 0.3)};
        bool rejected = true;
        for (int k = 0; k < 3; ++k)
            rejected = rejected && distance2(sphere.center, corner[k]) >
                                       distance2(corner[k], corner[(k + 1) % 3]);
        if (rejected || std::abs(std::abs(height) - sphere.radius) < 1e-9)
            continue;
        ++numCompared;
        CHECK(sphereTriIntersect(sphere, corner[0], corner[1], corner[2]) ==
              (sphere.radius > std::abs(height)));
    }
    CHECK(numCompared > 3000);
}
