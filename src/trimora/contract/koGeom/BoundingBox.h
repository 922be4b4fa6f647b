#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

#include <cmath>
#include <limits>

namespace koLinear {
struct AffineMatrix;
struct AffineMatrixFlt;
}  // namespace koLinear

namespace koGeom {

/// Axis-aligned box. A fresh box is invalid (it holds nothing) and becomes what it is first
/// extended with.
///
/// layout      six floats: minimum x, y, z, then maximum x, y, z; trivially copyable
/// validity    valid when no minimum is greater than its maximum and no bound is NaN
/// touching    boxes that share a face, an edge or a corner overlap; a box without volume is a box
/// numbers     bounds are floats; middles are computed in double and narrowed
struct BoundingBox {
    float bounds[6];

    /// Invalid: every minimum the largest finite float, every maximum its negative.
    BoundingBox() { setInvalid(); }
    /// The box without size at a point x, y, z, narrowed to floats.
    explicit BoundingBox(double const* point) {
        for (int axis = 0; axis < 3; ++axis)
            bounds[axis] = bounds[axis + 3] = static_cast<float>(point[axis]);
    }
    /// The cube of half-size `radius` about a point x, y, z.
    BoundingBox(float const* point, float radius) {
        for (int axis = 0; axis < 3; ++axis) {
            bounds[axis] = point[axis] - radius;
            bounds[axis + 3] = point[axis] + radius;
        }
    }
    BoundingBox(PointFlt const& lower, PointFlt const& upper)
        : bounds{lower.x, lower.y, lower.z, upper.x, upper.y, upper.z} {}

    float min(int axis) const { return bounds[axis]; }
    float max(int axis) const { return bounds[axis + 3]; }

    /// The box without size at the origin; valid, unlike a fresh one.
    void zero() {
        for (float& bound : bounds)
            bound = 0.0f;
    }
    void setInvalid() {
        for (int axis = 0; axis < 3; ++axis) {
            bounds[axis] = std::numeric_limits<float>::max();
            bounds[axis + 3] = std::numeric_limits<float>::lowest();
        }
    }
    bool isValid() const {
        return bounds[0] <= bounds[3] && bounds[1] <= bounds[4] && bounds[2] <= bounds[5];
    }

    /// Grows the box to hold the point; an invalid box becomes the point. A NaN coordinate leaves a
    /// valid box as it is on that axis.
    void extend(PointFlt const& point) {
        float const position[3] = {point.x, point.y, point.z};
        extendBy(position, position);
    }
    /// Grows the box to hold another; an invalid box becomes the other one, an invalid argument
    /// changes nothing.
    void extend(BoundingBox const& other) {
        if (other.isValid())
            extendBy(other.bounds, other.bounds + 3);
    }
    /// Moves every face outward by `margin` (inward when it is negative); an invalid box stays as
    /// it is.
    void extend(float margin) {
        if (!isValid())
            return;
        for (int axis = 0; axis < 3; ++axis) {
            bounds[axis] -= margin;
            bounds[axis + 3] += margin;
        }
    }
    /// Grows the box to a cube with the same center; the cube holds the box. An invalid box stays
    /// as it is.
    TRIMORA_API void extendToCube();

    PointFlt minPt() const { return {bounds[0], bounds[1], bounds[2]}; }
    PointFlt maxPt() const { return {bounds[3], bounds[4], bounds[5]}; }
    PointFlt center() const { return {middle(0), middle(1), middle(2)}; }
    /// Half of (maximum - minimum).
    VectorFlt halfDiagonal() const {
        return {static_cast<float>(0.5 * extent(0)), static_cast<float>(0.5 * extent(1)),
                static_cast<float>(0.5 * extent(2))};
    }
    float diagonalLength() const {
        return static_cast<float>(
            std::sqrt(extent(0) * extent(0) + extent(1) * extent(1) + extent(2) * extent(2)));
    }

    /// Distance from a point to the box; 0 for a point in it, never NaN.
    double distance(PointFlt const& point) const { return std::sqrt(distance2(point)); }
    /// Squared distance from a point to the box; 0 for a point in it, never NaN: an axis on which
    /// nothing can be said (NaN, or infinity less infinity) counts as 0.
    double distance2(PointFlt const& point) const {
        double const x = gap(bounds[0], bounds[3], point.x);
        double const y = gap(bounds[1], bounds[4], point.y);
        double const z = gap(bounds[2], bounds[5], point.z);
        return x * x + y * y + z * z;
    }

    bool intersects(BoundingBox const& other) const {
        return intersects2D(other) && bounds[2] <= other.bounds[5] && other.bounds[2] <= bounds[5];
    }
    /// True if the boxes overlap or touch in x and y, whatever their z.
    bool intersects2D(BoundingBox const& other) const {
        return bounds[0] <= other.bounds[3] && other.bounds[0] <= bounds[3] &&
               bounds[1] <= other.bounds[4] && other.bounds[1] <= bounds[4];
    }
    /// True if this box lies strictly inside the other one: no face touches.
    bool isStrictlyInside(BoundingBox const& other) const {
        return bounds[0] > other.bounds[0] && bounds[1] > other.bounds[1] &&
               bounds[2] > other.bounds[2] && other.bounds[3] > bounds[3] &&
               other.bounds[4] > bounds[4] && other.bounds[5] > bounds[5];
    }

    /// Replaces the box by one that bounds its image, rounded outward to floats; an invalid box
    /// stays as it is.
    TRIMORA_API void transform(koLinear::AffineMatrix const& matrix);
    TRIMORA_API void transform(koLinear::AffineMatrixFlt const& matrix);

    /// Distance on one axis from a position to an interval: 0 inside, and 0 where it would be NaN.
    static double gap(float lower, float upper, float position) {
        double const below = static_cast<double>(lower) - position;
        double const above = static_cast<double>(position) - upper;
        double const outside = below > above ? below : above;
        return outside > 0.0 ? outside : 0.0;
    }

    bool operator==(BoundingBox const&) const = default;

private:
    float middle(int axis) const {
        return static_cast<float>((static_cast<double>(bounds[axis]) + bounds[axis + 3]) * 0.5);
    }
    double extent(int axis) const { return static_cast<double>(bounds[axis + 3]) - bounds[axis]; }
    void extendBy(float const* lower, float const* upper) {
        bool const fresh = !isValid();
        for (int axis = 0; axis < 3; ++axis) {
            if (fresh || lower[axis] < bounds[axis])
                bounds[axis] = lower[axis];
            if (fresh || upper[axis] > bounds[axis + 3])
                bounds[axis + 3] = upper[axis];
        }
    }
};

/// True if no bound of one box differs from the other's by more than the tolerance; NaN is equal to
/// nothing.
TRIMORA_API bool equivalent(BoundingBox const& first, BoundingBox const& second, float tolerance);

}  // namespace koGeom
