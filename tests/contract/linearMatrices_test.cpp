#include "support/builders.h"

#include "trimora/contract/koLinear/matrices.h"

#include <cmath>
#include <doctest/doctest.h>
#include <limits>

using namespace koLinear;

namespace {

AffineMatrix randomAffine(support::Random& random, double scale) {
    AffineMatrix result;
    for (double& element : result.m)
        element = random.real(-scale, scale);
    return result;
}
Point randomPoint(support::Random& random) {
    return {random.real(-5.0, 5.0), random.real(-5.0, 5.0), random.real(-5.0, 5.0)};
}

}  // namespace

TEST_CASE("pointsAreRowsMultipliedFromTheLeft") {
    AffineMatrix a;
    for (int i = 0; i < 12; ++i)
        a.m[i] = i + 1.0;
    //  (1 10 100) times the rows (1 2 3) (4 5 6) (7 8 9), then plus (10 11 12)
    CHECK(Vector(1.0, 10.0, 100.0) * a == Vector(741.0, 852.0, 963.0));
    CHECK(Point(1.0, 10.0, 100.0) * a == Point(751.0, 863.0, 975.0));
    CHECK(PointFlt(1.0f, 10.0f, 100.0f) * AffineMatrixFlt(a) == PointFlt(751.0f, 863.0f, 975.0f));
}

TEST_CASE("aProductMapsByItsLeftFactorFirst") {
    support::Random random(7);
    for (int i = 0; i < 100; ++i) {
        AffineMatrix const a = randomAffine(random, 2.0);
        AffineMatrix const b = randomAffine(random, 2.0);
        Point const p = randomPoint(random);
        CHECK(equivalent(p * (a * b), (p * a) * b, 1e-12));
        AffineMatrix after = b;
        after.preMult(a);
        CHECK(after == a * b);
        ProjMatrix const c = ProjMatrix(a) * ProjMatrix(b);
        CHECK(equivalent((HPoint(p) * c).asPoint(), (p * a) * b, 1e-12));
    }
}

TEST_CASE("frameTakesTheAxesToItsVectors") {
    AffineMatrix frame(7.0);
    frame.setFrame({1.0, 2.0, 3.0}, {4.0, 0.0, 0.0}, {0.0, 5.0, 0.0}, {0.0, 0.0, 6.0});
    CHECK(Point::origin * frame == Point(1.0, 2.0, 3.0));
    CHECK(Vector::yAxis * frame == Vector(0.0, 5.0, 0.0));
    CHECK(frame.det3x3() == 120.0);
    CHECK(AffineMatrix(2.0).det3x3() == 8.0);
    CHECK(Point(1.0, 1.0, 1.0) * AffineMatrix(2.0) == Point(2.0, 2.0, 2.0));
}

TEST_CASE("inverseUndoesTheMapAtEveryScale") {
    support::Random random(9);
    for (int i = 0; i < 200; ++i) {
        double const scale = std::pow(10.0, random.index(200) - 100);
        AffineMatrix a = randomAffine(random, scale);
        Point const p = randomPoint(random);
        AffineMatrix const back = a.inverse();
        CHECK(equivalent((p * a) * back, p, 1e-8));
        CHECK(a.invert());
        CHECK(a == back);
    }
}

TEST_CASE("matrixWithoutInverseIsLeftAlone") {
    AffineMatrix flat;
    flat.setFrame({1.0, 1.0, 1.0}, {1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}, {7.0, 8.0, 9.0});
    AffineMatrix const before = flat;
    CHECK_FALSE(flat.invert());
    CHECK(flat == before);
    CHECK(flat.inverse() == before);
    CHECK_FALSE(AffineMatrix(0.0).invert());
    AffineMatrix broken;
    broken.m[4] = std::numeric_limits<double>::quiet_NaN();
    CHECK_FALSE(broken.invert());
    // Rank 2 in exact arithmetic; 0.1 + 0.2 leaves a determinant of rounding errors only.
    AffineMatrix nearly;
    nearly.setFrame(Point(), {0.1, 0.7, 0.3}, {0.2, 0.1, 0.9}, {0.1 + 0.2, 0.7 + 0.1, 0.3 + 0.9});
    CHECK_FALSE(nearly.invert());
}

TEST_CASE("normalMatrixKeepsNormalsAtRightAnglesToTheSurface") {
    support::Random random(13);
    for (int i = 0; i < 200; ++i) {
        AffineMatrix const a = randomAffine(random, 3.0);
        Vector const u = randomPoint(random).asVector();
        Vector const v = randomPoint(random).asVector();
        bool exists = false;
        AffineMatrix const forNormals = a.normalMatrix(exists);
        REQUIRE(exists);
        Normal const n(cross(u, v) * forNormals);
        CHECK(std::abs(dot(n, Normal(u * a))) < 1e-8);
        CHECK(std::abs(dot(n, Normal(v * a))) < 1e-8);
        CHECK(Point::origin * forNormals == Point::origin);
        CHECK(forNormals == a.normalMatrix());
    }
    AffineMatrix flatten;  // everything onto z = 0: the only normal left is that of the plane
    flatten.m[8] = 0.0;
    bool exists = true;
    AffineMatrix const forNormals = flatten.normalMatrix(exists);
    CHECK_FALSE(exists);
    CHECK(Vector(0.3, 0.4, 0.5) * forNormals == Vector(0.0, 0.0, 0.5));
}

TEST_CASE("rotateFollowsTheMapByTheShortestTurn") {
    support::Random random(19);
    for (int i = 0; i < 200; ++i) {
        Normal const a(randomPoint(random).asVector());
        Normal const b(randomPoint(random).asVector());
        AffineMatrix turn;
        turn.rotate(a, b);
        CHECK(equivalent(Vector(a) * turn, Vector(b), 1e-12));
        CHECK(std::abs(turn.det3x3() - 1.0) < 1e-12);
        Vector const axis = cross(a, b);
        CHECK(equivalent(axis * turn, axis, 1e-12));  // shortest: about what is square to both

        AffineMatrix const before = randomAffine(random, 2.0);
        AffineMatrix after = before;
        after.rotate(a, b);
        CHECK(equivalent(after, before * turn, 1e-12));
    }
    for (int i = 0; i < 3000; ++i) {  // nearly opposite, from rounding to a millionth
        Normal const a(randomPoint(random).asVector());
        double const apart = std::pow(10.0, random.index(12) - 17.0);
        Normal const b(-random.real(0.5, 2.0) * Vector(a) + apart * randomPoint(random).asVector());
        AffineMatrix turn;
        turn.rotate(a, b);
        REQUIRE(equivalent(Vector(a) * turn, Vector(b), 1e-14));
        REQUIRE(std::abs(turn.det3x3() - 1.0) < 1e-12);
    }
    AffineMatrix half;
    half.rotate(Normal::zAxis, -Normal::zAxis);
    CHECK(equivalent(Vector::zAxis * half, -Vector::zAxis, 1e-15));
    CHECK(equivalent(Vector::xAxis * half, Vector::xAxis, 1e-15));
    AffineMatrix none;
    none.rotate(Normal::xAxis, Normal::xAxis);
    none.rotate(Normal(), Normal::xAxis);
    CHECK(none == AffineMatrix::Identity);
}

TEST_CASE("equivalentMatricesDifferByNoMoreThanTheToleranceAnywhere") {
    AffineMatrixFlt a;
    CHECK(equivalent(a, AffineMatrixFlt::Identity, 0.0f));
    a.m[11] = 0.5f;
    CHECK(equivalent(a, AffineMatrixFlt::Identity, 0.5f));
    CHECK_FALSE(equivalent(a, AffineMatrixFlt::Identity, 0.49f));
    a.m[0] = std::numeric_limits<float>::quiet_NaN();
    CHECK_FALSE(equivalent(a, a, 1.0f));
    a.identity();
    CHECK(a == AffineMatrixFlt::Identity);
}

TEST_CASE("planeFrameAndItsInverseUndoEachOther") {
    AffineMatrix2 frame;
    frame.setFrame({1.0, 2.0}, {3.0, 0.5}, {-1.0, 4.0});
    CHECK(Point2(0.0, 0.0) * frame == Point2(1.0, 2.0));
    CHECK(Point2(1.0, 1.0) * frame == Point2(3.0, 6.5));
    CHECK(equivalent(Point2(0.25, -7.0) * frame * frame.inverse(), Point2(0.25, -7.0), 1e-14));
    AffineMatrix2 flat;
    flat.setFrame({0.0, 0.0}, {1.0, 2.0}, {2.0, 4.0});
    CHECK(flat.inverse() == flat);
}

TEST_CASE("projectiveInverseUndoesTheMap") {
    support::Random random(29);
    for (int i = 0; i < 200; ++i) {
        double elements[16];
        double const scale = std::pow(10.0, random.index(100) - 50);
        for (double& element : elements)
            element = random.real(-scale, scale);
        ProjMatrix const a(elements);
        ProjMatrix back = a;
        REQUIRE(back.invertFast());
        ProjMatrix const product = a * back;
        ProjMatrix const identity;
        for (int k = 0; k < 16; ++k)
            CHECK(std::abs(product.m[k] - identity.m[k]) < 1e-8);
    }
    ProjMatrix sum(0.0);
    for (double const element : sum.m)
        CHECK(element == 0.0);
    CHECK_FALSE(sum.invertFast());
    sum += ProjMatrix(2.0);
    CHECK(sum.invertFast());
    CHECK(sum == ProjMatrix(0.5));
    double rankThree[16] = {1, 2, 3, 4, 5, 6, 7, 8, 6, 8, 10, 12, 1, 0, 1, 0};
    ProjMatrix singular(rankThree);
    CHECK_FALSE(singular.invertFast());
    CHECK(singular == ProjMatrix(rankThree));
}

TEST_CASE("perspectiveDividesByDepth") {
    double const elements[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0};
    ProjMatrix const perspective(elements);
    HPoint const seen = HPoint(Point(2.0, 4.0, 4.0)) * perspective;
    CHECK(seen.w == 4.0);
    CHECK(seen.asPoint() == Point(0.5, 1.0, 1.0));
    CHECK((Tuple4(1.0, 2.0, 3.0, 4.0) * perspective) == Tuple4(1.0, 2.0, 3.0, 3.0));
    ProjMatrixFlt const narrow(perspective);
    CHECK(narrow.m[11] == 1.0f);
}
