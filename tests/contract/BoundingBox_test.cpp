#include "support/builders.h"

#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koLinear/matrices.h"

#include <algorithm>
#include <cmath>
#include <doctest/doctest.h>
#include <limits>
#include <type_traits>
#include <vector>

using namespace koGeom;

namespace {

constexpr float largest = std::numeric_limits<float>::max();
constexpr float infinity = std::numeric_limits<float>::infinity();

BoundingBox boxOf(float x0, float y0, float z0, float x1, float y1, float z1) {
    return {PointFlt(x0, y0, z0), PointFlt(x1, y1, z1)};
}

BoundingBox const unit = boxOf(0, 0, 0, 1, 1, 1);

}  // namespace

TEST_CASE("boxIsSixFloatsMinimumFirst") {
    static_assert(sizeof(BoundingBox) == 24 && std::is_trivially_copyable_v<BoundingBox> &&
                  std::is_standard_layout_v<BoundingBox>);
    BoundingBox const box = boxOf(1, 2, 3, 4, 5, 6);
    for (int i = 0; i < 6; ++i)
        CHECK(box.bounds[i] == static_cast<float>(i + 1));
    CHECK(box.minPt() == PointFlt(1, 2, 3));
    CHECK(box.maxPt() == PointFlt(4, 5, 6));
    CHECK(box.center() == PointFlt(2.5f, 3.5f, 4.5f));
    CHECK(box.halfDiagonal() == VectorFlt(1.5f, 1.5f, 1.5f));
    CHECK(box.diagonalLength() == std::sqrt(27.0f));

    double const place[3] = {0.1, 2.0, -3.0};
    BoundingBox const point(place);
    CHECK(point.minPt() == PointFlt(0.1f, 2.0f, -3.0f));
    CHECK(point.maxPt() == point.minPt());
    CHECK(point.isValid());

    float const center[3] = {1.0f, 2.0f, 3.0f};
    CHECK(BoundingBox(center, 0.5f) == boxOf(0.5f, 1.5f, 2.5f, 1.5f, 2.5f, 3.5f));
    BoundingBox zeroed = box;
    zeroed.zero();
    CHECK(zeroed == boxOf(0, 0, 0, 0, 0, 0));
}

TEST_CASE("freshBoxHoldsNothingAndBecomesWhatItIsExtendedWith") {
    BoundingBox fresh;
    CHECK_FALSE(fresh.isValid());
    CHECK(fresh.bounds[0] == largest);
    CHECK(fresh.bounds[3] == -largest);
    CHECK_FALSE(fresh.intersects(fresh));
    CHECK_FALSE(fresh.intersects(boxOf(-3e38f, -3e38f, -3e38f, 3e38f, 3e38f, 3e38f)));

    BoundingBox halfBroken = unit;
    halfBroken.bounds[3] = -1.0f;
    for (BoundingBox const& invalid : {fresh, halfBroken, boxOf(NAN, 0, 0, 1, 1, 1)}) {
        BoundingBox box = invalid;
        box.extend(PointFlt(1, -infinity, 3));
        CHECK(box == boxOf(1, -infinity, 3, 1, -infinity, 3));
        box = invalid;
        box.extend(unit);
        CHECK(box == unit);
        box = unit;
        box.extend(invalid);
        CHECK(box == unit);

        box = invalid;
        box.extend(1.0f);
        box.extendToCube();
        box.transform(AffineMatrix(2.0));
        CHECK(std::equal(box.bounds + 1, box.bounds + 6, invalid.bounds + 1));
        CHECK_FALSE(box.isValid());
    }
}

TEST_CASE("extendingGrowsToHoldPointsBoxesAndMargins") {
    BoundingBox box = unit;
    box.extend(PointFlt(2, 0.5f, -1));
    CHECK(box == boxOf(0, 0, -1, 2, 1, 1));
    box.extend(boxOf(0, -3, 0, 1, 0, 5));
    CHECK(box == boxOf(0, -3, -1, 2, 1, 5));
    box.extend(0.5f);
    CHECK(box == boxOf(-0.5f, -3.5f, -1.5f, 2.5f, 1.5f, 5.5f));
    box = unit;
    box.extend(PointFlt(std::nanf(""), 2, 0));
    CHECK(box == boxOf(0, 0, 0, 1, 2, 1));
}

TEST_CASE("cubeKeepsTheCenterAndHoldsTheBox") {
    BoundingBox box = boxOf(0, 0, 0, 4, 2, 1);
    box.extendToCube();
    CHECK(box == boxOf(0, -1, -1.5f, 4, 3, 2.5f));

    support::Random random(5);
    for (int run = 0; run < 1000; ++run) {
        float bounds[6];
        for (float& bound : bounds)
            bound = static_cast<float>(random.real(-1, 1) * std::pow(10.0, random.index(60) - 30));
        BoundingBox before;
        before.extend(PointFlt(bounds[0], bounds[1], bounds[2]));
        before.extend(PointFlt(bounds[3], bounds[4], bounds[5]));
        BoundingBox cube = before;
        cube.extendToCube();
        BoundingBox both = cube;
        both.extend(before);
        CHECK(both == cube);
        VectorFlt const half = cube.halfDiagonal();
        float const size = std::max({half.x, half.y, half.z});
        CHECK(std::min({half.x, half.y, half.z}) >= size * 0.9999f);
    }
}

TEST_CASE("touchingBoxesOverlap") {
    CHECK(unit.intersects(boxOf(1, 0, 0, 2, 1, 1)));     // a face
    CHECK(unit.intersects(boxOf(1, 1, 0, 2, 2, 1)));     // an edge
    CHECK(unit.intersects(boxOf(1, 1, 1, 2, 2, 2)));     // a corner
    CHECK(unit.intersects(boxOf(1, 1, 1, 1, 1, 1)));     // a point on the surface
    CHECK(unit.intersects(boxOf(-1, -1, -1, 2, 2, 2)));  // around it
    CHECK_FALSE(unit.intersects(boxOf(std::nextafter(1.0f, 2.0f), 0, 0, 2, 1, 1)));
    CHECK_FALSE(unit.intersects(boxOf(NAN, 0, 0, 2, 1, 1)));
    CHECK(unit.intersects2D(boxOf(1, 1, 5, 2, 2, 6)));
    CHECK_FALSE(unit.intersects2D(boxOf(2, 0, 0, 3, 1, 1)));

    CHECK(boxOf(0.25f, 0.25f, 0.25f, 0.75f, 0.75f, 0.75f).isStrictlyInside(unit));
    for (int bound = 0; bound < 6; ++bound) {
        BoundingBox inner = boxOf(0.25f, 0.25f, 0.25f, 0.75f, 0.75f, 0.75f);
        inner.bounds[bound] = unit.bounds[bound];
        CHECK_FALSE(inner.isStrictlyInside(unit));
    }
}

// All boxes over a lattice of 4 values an axis: an interval is where a value lies in both.
TEST_CASE("overlapAgreesWithSharedValuesOnALattice") {
    support::Random random(9);
    auto draw = [&random] {
        BoundingBox box;
        for (int end = 0; end < 2; ++end)
            box.extend(PointFlt(static_cast<float>(random.index(4)),
                                static_cast<float>(random.index(4)),
                                static_cast<float>(random.index(4))));
        return box;
    };
    for (int run = 0; run < 2000; ++run) {
        BoundingBox const a = draw();
        BoundingBox const b = draw();
        bool shared[3] = {};
        for (int axis = 0; axis < 3; ++axis)
            for (float value = 0; value < 4; ++value)
                shared[axis] |= a.min(axis) <= value && value <= a.max(axis) &&
                                b.min(axis) <= value && value <= b.max(axis);
        CHECK(a.intersects(b) == (shared[0] && shared[1] && shared[2]));
        CHECK(a.intersects2D(b) == (shared[0] && shared[1]));
    }
}

TEST_CASE("distanceIsMeasuredInDoubleAndNeverNaN") {
    CHECK(unit.distance(PointFlt(0.5f, 1, 0)) == 0.0);
    CHECK(unit.distance(PointFlt(4, 5, 1)) == 5.0);
    CHECK(unit.distance2(PointFlt(-2, 3, 2)) == 9.0);
    CHECK(boxOf(0, 0, 0, 1, 1, 1e30f).distance2(PointFlt(0, 0, -1e30f)) ==
          static_cast<double>(1e30f) * static_cast<double>(1e30f));

    std::vector<float> const values = {0,        -1,        1,   largest, -largest,
                                       infinity, -infinity, NAN, 1e-45f};
    for (float const low : values)
        for (float const high : values)
            for (float const x : values) {
                double const distance2 = boxOf(low, 0, 0, high, 0, 0).distance2(PointFlt(x, 0, 0));
                CHECK_FALSE(std::isnan(distance2));
                CHECK(distance2 >= 0.0);
                if (low <= x && x <= high)
                    CHECK(distance2 == 0.0);
            }
}

TEST_CASE("transformBoundsTheImage") {
    support::Random random(3);
    for (int run = 0; run < 500; ++run) {
        AffineMatrix matrix;
        for (double& element : matrix.m)
            element = random.index(4) == 0 ? 0.0 : random.real(-2, 2);
        BoundingBox const box = boxOf(0, 1, -2, static_cast<float>(random.real(0, 3)), 1.5f, 1e6f);
        BoundingBox image = box;
        image.transform(matrix);
        for (int corner = 0; corner < 8; ++corner) {
            Point const p = Point(static_cast<double>(box.bounds[(corner & 1) != 0 ? 3 : 0]),
                                  static_cast<double>(box.bounds[(corner & 2) != 0 ? 4 : 1]),
                                  static_cast<double>(box.bounds[(corner & 4) != 0 ? 5 : 2])) *
                            matrix;
            double const slack = 1e-9;  // the order of the three products is free
            double const place[3] = {p.x, p.y, p.z};
            for (int axis = 0; axis < 3; ++axis) {
                CHECK(static_cast<double>(image.min(axis)) <= place[axis] + slack);
                CHECK(static_cast<double>(image.max(axis)) >= place[axis] - slack);
            }
        }
    }
    BoundingBox same = boxOf(0.1f, -0.3f, 1e-30f, 7.7f, 1e30f, 1);
    BoundingBox const before = same;
    same.transform(AffineMatrix::Identity);
    CHECK(same == before);
    same.transform(AffineMatrixFlt::Identity);
    CHECK(same == before);

    BoundingBox halfSpace = boxOf(0, 0, 0, infinity, 1, 1);
    halfSpace.transform(AffineMatrix(2.0));
    CHECK(halfSpace == boxOf(0, 0, 0, infinity, 2, 2));
}

TEST_CASE("equivalentComparesEachBound") {
    BoundingBox other = unit;
    CHECK(equivalent(unit, other, 0.0f));
    for (float& bound : other.bounds)
        bound += 0.25f;
    CHECK(equivalent(unit, other, 0.25f));
    CHECK_FALSE(equivalent(unit, other, 0.24f));
    CHECK(equivalent(BoundingBox(), BoundingBox(), 1e-6f));
    BoundingBox const endless = boxOf(0, 0, 0, infinity, 1, 1);
    CHECK(equivalent(endless, endless, 1e-6f));
    CHECK_FALSE(equivalent(boxOf(NAN, 0, 0, 1, 1, 1), boxOf(NAN, 0, 0, 1, 1, 1), 1.0f));
}
