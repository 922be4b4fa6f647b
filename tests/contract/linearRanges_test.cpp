#include "trimora/contract/koLinear/ranges.h"

#include <cstddef>
#include <doctest/doctest.h>
#include <limits>

using namespace koLinear;

namespace {

double const infinity = std::numeric_limits<double>::infinity();
double const notANumber = std::numeric_limits<double>::quiet_NaN();

}  // namespace

TEST_CASE("emptyRangeGrowsToWhatItIsGiven") {
    Range1d range(3.0, 4.0);
    range.setUnbounded();
    CHECK(range.lower > range.upper);
    CHECK(range.isEmpty());
    CHECK(range == Range1d());
    range.include(-2.0);
    CHECK(range == Range1d(-2.0, -2.0));
    range.include(5.0);
    CHECK(range == Range1d(-2.0, 5.0));
    CHECK(range.size() == 7.0);
    range.set(1.0);
    CHECK(range == Range1d(1.0, 1.0));
}

TEST_CASE("intersectionNoLongerThanTheToleranceHasSizeExactlyZero") {
    Range1d const unit(0.0, 1.0);
    CHECK(intersect(unit, {0.25, 3.0}, 0.1) == Range1d(0.25, 1.0));
    for (Range1d const& other :
         {Range1d(1.0, 2.0), Range1d(0.95, 2.0), Range1d(7.0, 8.0), Range1d(-3.0, 0.05), Range1d(),
          Range1d(notANumber, 0.5), Range1d(0.2, notANumber), Range1d(notANumber, notANumber)}) {
        CHECK(intersect(unit, other, 0.1).size() == 0.0);
        CHECK(intersect(other, unit, 0.1).size() == 0.0);
    }
    CHECK(intersect(unit, {0.9, 2.0}, 1.0 - 0.9).size() == 0.0);
    CHECK(intersect(unit, {-infinity, infinity}, 0.1) == unit);
    CHECK(intersect(Range1d(infinity, infinity), {0.0, infinity}, 0.1).size() == 0.0);
}

TEST_CASE("rangesMeetWithinTheTolerance") {
    Range1d const unit(0.0, 1.0);
    CHECK(unit.contains(1.5, 0.5));
    CHECK_FALSE(unit.contains(1.51, 0.5));
    CHECK(unit.intersects({1.5, 2.0}, 0.5));
    CHECK_FALSE(unit.intersects({1.6, 2.0}, 0.5));
    CHECK(distance(unit, Range1d(3.0, 4.0)) == 2.0);
    CHECK(distance(Range1d(3.0, 4.0), unit) == 2.0);
    CHECK(distance(unit, Range1d(0.5, 4.0)) == 0.0);
}

TEST_CASE("planeRangeHoldsItsCornersInOrder") {
    Range2d range(1.0, 2.0, 4.0, 8.0);
    CHECK(offsetof(Range2d, upper) == 16);
    CHECK(range.lower == Point2(1.0, 2.0));
    CHECK(range.size() == Point2(3.0, 6.0));
    CHECK(range.area() == 18.0);
    range.include(Range2d(0.0, 3.0, 2.0, 9.0));
    range.include(Range2d());
    CHECK(range == Range2d(0.0, 2.0, 4.0, 9.0));
    CHECK(range.contains({4.5, 9.5}, 0.5));
    CHECK_FALSE(range.contains({4.6, 9.0}, 0.5));
    CHECK(range.intersects(Range2d(4.5, 9.5, 5.0, 10.0), 0.5));
    CHECK_FALSE(range.intersects(Range2d(4.0, 9.6, 5.0, 10.0), 0.5));
    CHECK(Range2d::unitSquare.area() == 1.0);
    CHECK(Range2d().area() == 0.0);
}

TEST_CASE("spaceRangeGrowsFromOnePoint") {
    double const first[3] = {1.0, 5.0, -1.0};
    double const second[3] = {-1.0, 7.0, 0.0};
    Range3d range;
    range.set(first);
    CHECK(range.lower == range.upper);
    range.include(second);
    CHECK(range == Range3d({-1.0, 5.0, -1.0}, {1.0, 7.0, 0.0}));
    CHECK(range.mid() == Point(0.0, 6.0, -0.5));
    CHECK(range.intersects(Range3d({1.5, 5.0, 0.0}, {2.0, 5.0, 0.0}), 0.5));
    CHECK_FALSE(range.intersects(Range3d({1.0, 5.0, 0.6}, {2.0, 5.0, 1.0}), 0.5));
    CHECK_FALSE(range.intersects(Range3d(), 0.5));
    CHECK(range.contains({0.0, 6.0, -0.5}, 0.0));
}
