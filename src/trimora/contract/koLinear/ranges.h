#pragma once

#include "trimora/contract/koLinear/vectors.h"

#include <algorithm>
#include <limits>

/// Intervals and axis-parallel boxes in doubles, bounds included.
///
/// The empty range has its lower bound at the largest double and its upper one at the negative of
/// it, so that including anything makes the range that. It is what the default constructors give.
namespace koLinear {

struct Range1d {
    double lower = std::numeric_limits<double>::max();
    double upper = -std::numeric_limits<double>::max();

    constexpr Range1d() = default;
    constexpr Range1d(double low, double high) : lower(low), upper(high) {}
    constexpr void set(double value) { lower = value, upper = value; }
    constexpr void set(double low, double high) { lower = low, upper = high; }
    /// Leaves the empty range, from which `include` grows.
    constexpr void setUnbounded() { *this = Range1d(); }
    constexpr void include(double value) {
        lower = std::min(lower, value), upper = std::max(upper, value);
    }
    constexpr void include(Range1d const& range) {
        lower = std::min(lower, range.lower), upper = std::max(upper, range.upper);
    }
    constexpr bool isEmpty() const { return lower > upper; }
    /// upper - lower: below 0 when the bounds are the wrong way round.
    constexpr double size() const { return upper - lower; }
    constexpr double mid() const { return (lower + upper) * 0.5; }
    constexpr bool contains(double value, double tolerance) const {
        return value >= lower - tolerance && value <= upper + tolerance;
    }
    constexpr bool intersects(Range1d const& range, double tolerance) const {
        return lower <= range.upper + tolerance && range.lower <= upper + tolerance;
    }
    constexpr bool operator==(Range1d const&) const = default;
};

/// What the two ranges share. Its size is exactly 0 when they are disjoint or overlap by no more
/// than the tolerance, when one is empty, when a bound is NaN, and when both lie at one infinity.
constexpr Range1d intersect(Range1d const& a, Range1d const& b, double tolerance) {
    bool const comparable = a.lower <= a.upper && b.lower <= b.upper;
    double const lower = std::max(a.lower, b.lower);
    double const upper = std::min(a.upper, b.upper);
    if (comparable && upper > lower && upper - lower > tolerance)
        return {lower, upper};
    bool const hasPlace = comparable && lower - lower == 0.0;  // neither NaN nor infinite
    return hasPlace ? Range1d(lower, lower) : Range1d(0.0, 0.0);
}

/// The gap between two ranges; 0 when they meet.
constexpr double distance(Range1d const& a, Range1d const& b) {
    return std::max({0.0, a.lower - b.upper, b.lower - a.upper});
}

struct Range2d {
    Point2 lower{std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
    Point2 upper{-std::numeric_limits<double>::max(), -std::numeric_limits<double>::max()};

    constexpr Range2d() = default;
    constexpr Range2d(Point2 const& low, Point2 const& high) : lower(low), upper(high) {}
    constexpr Range2d(double lowX, double lowY, double highX, double highY)
        : lower(lowX, lowY), upper(highX, highY) {}
    /// The extents along x and y: below 0 where the bounds are the wrong way round.
    constexpr Point2 size() const { return {upper.x - lower.x, upper.y - lower.y}; }
    /// 0 when an extent is not above 0.
    constexpr double area() const {
        Point2 const extent = size();
        return extent.x > 0.0 && extent.y > 0.0 ? extent.x * extent.y : 0.0;
    }
    constexpr void include(Point2 const& p) {
        lower = {std::min(lower.x, p.x), std::min(lower.y, p.y)};
        upper = {std::max(upper.x, p.x), std::max(upper.y, p.y)};
    }
    /// Including the empty range changes nothing.
    constexpr void include(Range2d const& range) {
        lower = {std::min(lower.x, range.lower.x), std::min(lower.y, range.lower.y)};
        upper = {std::max(upper.x, range.upper.x), std::max(upper.y, range.upper.y)};
    }
    constexpr bool contains(Point2 const& p, double tolerance) const {
        return p.x >= lower.x - tolerance && p.x <= upper.x + tolerance &&
               p.y >= lower.y - tolerance && p.y <= upper.y + tolerance;
    }
    constexpr bool intersects(Range2d const& range, double tolerance) const {
        return lower.x <= range.upper.x + tolerance && range.lower.x <= upper.x + tolerance &&
               lower.y <= range.upper.y + tolerance && range.lower.y <= upper.y + tolerance;
    }
    constexpr bool operator==(Range2d const&) const = default;

    /// 0 to 1 in x and y.
    static Range2d const unitSquare;
};

inline constexpr Range2d Range2d::unitSquare{0.0, 0.0, 1.0, 1.0};

struct Range3d {
    Point lower{std::numeric_limits<double>::max(), std::numeric_limits<double>::max(),
                std::numeric_limits<double>::max()};
    Point upper{-std::numeric_limits<double>::max(), -std::numeric_limits<double>::max(),
                -std::numeric_limits<double>::max()};

    constexpr Range3d() = default;
    constexpr Range3d(Point const& low, Point const& high) : lower(low), upper(high) {}
    /// Becomes the box of one point, given as x, y, z.
    constexpr void set(double const* const xyz) {
        lower = {xyz[0], xyz[1], xyz[2]};
        upper = lower;
    }
    constexpr void set(Point const& p) { lower = p, upper = p; }
    /// Grows to hold one more point, given as x, y, z.
    constexpr void include(double const* const xyz) { include(Point(xyz[0], xyz[1], xyz[2])); }
    constexpr void include(Point const& p) {
        lower = {std::min(lower.x, p.x), std::min(lower.y, p.y), std::min(lower.z, p.z)};
        upper = {std::max(upper.x, p.x), std::max(upper.y, p.y), std::max(upper.z, p.z)};
    }
    constexpr void include(Range3d const& range) {
        lower = {std::min(lower.x, range.lower.x), std::min(lower.y, range.lower.y),
                 std::min(lower.z, range.lower.z)};
        upper = {std::max(upper.x, range.upper.x), std::max(upper.y, range.upper.y),
                 std::max(upper.z, range.upper.z)};
    }
    constexpr Point mid() const { return combine(lower, upper); }
    constexpr Vector size() const { return upper - lower; }
    constexpr bool contains(Point const& p, double tolerance) const {
        return p.x >= lower.x - tolerance && p.x <= upper.x + tolerance &&
               p.y >= lower.y - tolerance && p.y <= upper.y + tolerance &&
               p.z >= lower.z - tolerance && p.z <= upper.z + tolerance;
    }
    constexpr bool intersects(Range3d const& range, double tolerance) const {
        return lower.x <= range.upper.x + tolerance && range.lower.x <= upper.x + tolerance &&
               lower.y <= range.upper.y + tolerance && range.lower.y <= upper.y + tolerance &&
               lower.z <= range.upper.z + tolerance && range.lower.z <= upper.z + tolerance;
    }
    constexpr bool operator==(Range3d const&) const = default;
};

}  // namespace koLinear
