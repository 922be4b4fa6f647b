#include "support/builders.h"

#include "trimora/planar/isPointInTriangle.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <doctest/doctest.h>
#include <limits>

using namespace koGeom;

namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

std::uint32_t bitsOf(float value) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

struct Answer {
    bool isInside = false;
    float u = -7.0f;
    float v = -7.0f;

    bool operator==(Answer const&) const = default;
};

Answer inclusive(Point2Flt p, Point2Flt a, Point2Flt b, Point2Flt c) {
    Answer answer;
    answer.isInside = isPointInTriangleInclusive(p, a, b, c, answer.u, answer.v);
    return answer;
}

Answer definitive(Point2Flt p, Point2Flt a, Point2Flt b, Point2Flt c) {
    Answer answer;
    answer.isInside = isPointInTriangleDefinitive(p, a, b, c, answer.u, answer.v);
    return answer;
}

/// Both equations in floats, step by step, with v eliminated first.
Answer plain(Point2Flt p, Point2Flt a, Point2Flt b, Point2Flt c, float smallest) {
    float const ux = b.x - a.x, uy = b.y - a.y;
    float const vx = c.x - a.x, vy = c.y - a.y;
    float const x = p.x - a.x, y = p.y - a.y;
    auto const isZero = [&](float f) {
        return smallest == 0.0f ? f == 0.0f : std::fabs(f) < smallest;
    };
    Answer answer;
    if (isZero(vx)) {
        if (isZero(ux) || isZero(vy))
            return answer;
        answer.u = x / ux;
        answer.v = (y - answer.u * uy) / vy;
    } else {
        float const determinant = ux * vy - vx * uy;
        if (isZero(determinant))
            return answer;
        answer.u = (x * vy - vx * y) / determinant;
        answer.v = (x - answer.u * ux) / vx;
    }
    answer.isInside =
        answer.u >= 0.0f && answer.u <= 1.0f && answer.v >= 0.0f && answer.u + answer.v <= 1.0f;
    return answer;
}

double areaOf(Point const& a, Point const& b, Point const& c) {
    return 0.5 * cross(b - a, c - a).length();
}

}  // namespace

//   c (0,4)
//   | \           u counts along a-b, v along a-c
//   a - b (4,0)
TEST_CASE("trianglesOfThePlaneHoldTheirEdgesAndGiveWeights") {
    Point2Flt const a(0, 0), b(4, 0), c(0, 4);
    CHECK(inclusive({1, 1}, a, b, c) == Answer{true, 0.25f, 0.25f});
    CHECK(inclusive({1, 1}, a, c, b) == Answer{true, 0.25f, 0.25f});
    CHECK(inclusive({4, 0}, a, b, c) == Answer{true, 1.0f, 0.0f});
    CHECK(inclusive({2, 2}, a, b, c) == Answer{true, 0.5f, 0.5f});
    CHECK(inclusive({0, 0}, b, c, a) == Answer{true, 0.0f, 1.0f});
    CHECK(inclusive({3, 2}, a, b, c) == Answer{false, 0.75f, 0.5f});
    CHECK(inclusive({-1, 1}, a, b, c) == Answer{false, -0.25f, 0.25f});
    CHECK(definitive({1, 2}, a, b, c) == Answer{true, 0.25f, 0.5f});
    CHECK(definitive({5, 0}, a, b, c) == Answer{false, 1.25f, 0.0f});
}

TEST_CASE("degenerateTrianglesOfThePlaneHoldNothing") {
    Point2Flt const a(1, 1), b(2, 3), onLine(3, 5);
    CHECK(inclusive({1, 1}, a, b, onLine) == Answer{});
    CHECK(inclusive({1, 1}, a, a, a) == Answer{});
    CHECK(inclusive({1, 1}, a, {1, 2}, {1, 3}) == Answer{});
    for (Point2Flt const corner : {onLine, Point2Flt(1, 3), Point2Flt(1, 1)}) {
        Answer const answer = definitive({1, 1}, a, corner.x == 3 ? b : Point2Flt(1, 2), corner);
        CHECK_FALSE(answer.isInside);
        CHECK(bitsOf(answer.u) == 0x3EAAAAABu);
        CHECK(bitsOf(answer.v) == 0x3EAAAAABu);
    }
    // Twice the area is 9e-7: there for the one test, gone for the other.
    CHECK(inclusive({0.1f, 0.0f}, {0, 0}, {1, 0}, {1, 9e-7f}).isInside);
    CHECK(definitive({0.1f, 0.0f}, {0, 0}, {1, 0}, {1, 9e-7f}) ==
          Answer{false, 1.0f / 3.0f, 1.0f / 3.0f});
    CHECK_FALSE(inclusive({notANumber, 0}, {0, 0}, {1, 0}, {0, 1}).isInside);
    CHECK_FALSE(definitive({0, 0}, {0, 0}, {notANumber, 0}, {0, 1}).isInside);
}

TEST_CASE("triangleTestsOfThePlaneTakeTheirStepsInFloats") {
    support::Random random(1);
    int numInside = 0;
    for (int round = 0; round < 20000; ++round) {
        bool const onLattice = round % 2 == 0;
        auto const draw = [&] {
            return onLattice ? Point2Flt(static_cast<float>(random.index(5)),
                                         static_cast<float>(random.index(5)))
                             : Point2Flt(static_cast<float>(random.real(-1, 1)),
                                         static_cast<float>(random.real(-1, 1)));
        };
        Point2Flt const p = draw(), a = draw(), b = draw(), c = draw();
        Answer const expected = plain(p, a, b, c, 0.0f);
        CHECK(inclusive(p, a, b, c) == expected);
        numInside += expected.isInside;

        Answer sliver = plain(p, a, b, c, epsilonTolFlt);
        if (sliver == Answer{})
            sliver.u = sliver.v = 1.0f / 3.0f;
        CHECK(definitive(p, a, b, c) == sliver);
    }
    CHECK(numInside > 2000);
}

TEST_CASE("trianglesOfSpaceGiveWayByAHundredThousandth") {
    Point const a(1, 0, 5), b(3, 0, 5), c(1, 2, 5);
    CHECK(isPointInTriangleInclusive(Point(1.5, 0.5, 5), a, b, c));
    CHECK(isPointInTriangleInclusive(a, a, b, c));
    CHECK(isPointInTriangleInclusive(Point(2, 1, 5), a, b, c));
    CHECK_FALSE(isPointInTriangleInclusive(Point(2.1, 1, 5), a, b, c));
    // The corner c weighs y / 2.
    CHECK(isPointInTriangleInclusive(Point(2, -1.99e-5, 5), a, b, c));
    CHECK_FALSE(isPointInTriangleInclusive(Point(2, -2.01e-5, 5), a, b, c));
    // Seen from the other side nothing changes as long as the normal goes with the corners.
    CHECK(isPointInTriangleInclusive(Point(1.5, 0.5, 5), a, c, b));
    CHECK_FALSE(isPointInTriangleInclusive(Point(1.5, 0.5, 5), a, b, c, Vector(0, 0, -2)));
    // A normal that carries more area makes the weights smaller, and the band wider.
    CHECK(isPointInTriangleInclusive(Point(2, -2.01e-5, 5), a, b, c, Vector(0, 0, 4)));
}

TEST_CASE("trianglesOfSpaceAgreeWithTheSumOfTheirParts") {
    support::Random random(2);
    auto const draw = [&] {
        return Point(random.real(-1, 1), random.real(-1, 1), random.real(-1, 1));
    };
    int numInside = 0;
    for (int round = 0; round < 5000; ++round) {
        Point const a = draw(), b = draw(), c = draw();
        Point const p = a + random.real(-0.5, 1.5) * (b - a) + random.real(-0.5, 1.5) * (c - a);
        double const whole = areaOf(a, b, c);
        double const parts = areaOf(p, a, b) + areaOf(p, b, c) + areaOf(p, c, a);
        if (parts < whole * (1.0 + 1e-9))
            CHECK(isPointInTriangleInclusive(p, a, b, c));
        else if (parts > whole * (1.0 + 1e-4))
            CHECK_FALSE(isPointInTriangleInclusive(p, a, b, c));
        numInside += parts < whole * (1.0 + 1e-9);
    }
    CHECK(numInside > 500);
}

TEST_CASE("trianglesOfSpaceWithoutANormalHoldNothing") {
    Point const a(0, 0, 0), b(1, 0, 0);
    double const nan = std::numeric_limits<double>::quiet_NaN();
    CHECK_FALSE(isPointInTriangleInclusive(a, a, b, Point(2, 0, 0)));
    CHECK_FALSE(isPointInTriangleInclusive(a, a, a, a));
    CHECK_FALSE(isPointInTriangleInclusive(a, a, b, Point(0, 1, 0), Vector(0, 0, 0)));
    CHECK_FALSE(isPointInTriangleInclusive(a, a, b, Point(0, nan, 0)));
}
