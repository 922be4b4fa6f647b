#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

namespace koGeom {

class Polyline;
class Polyline2d;

/// A rectangle of the plane in any position. The way round it is p0, p1, p3, p2.
///
///        p2 ------ p3
///        |          |
///        p0 ------ p1
struct Rect2 {
    Point2 p0, p1, p2, p3;

    constexpr bool operator==(Rect2 const&) const = default;
};

/// Finds the rectangle of least area round polylines, seen along z.
///
/// polylines   not owned; null is left out; coordinates finite
/// margin      the rectangle grows by it on all sides, in mesh units; negative shrinks it, 0 leaves it
/// rect        out: one side lies on an edge of the convex hull. p0 to p1 is the side that leads most nearly along x, p0 to
///             p2 the one a quarter turn counterclockwise. Two corners of the hull give a rectangle
///             without width (p0 = p2 and p1 = p3), one a point. Left alone without points, when all of three or
///             more lie in one place, and when no side of the hull has a direction in doubles.
/// anisotropy  out: the largest area that a rectangle on an edge of the hull has, over the least: 1 for one point, the
///             largest float for two corners and where it is passed, 0 where rect is left alone
/// square      a result whose sides differ from their mean by at most 1e-6 is moved as it is told in
///             the source: it does not bound the points any more
/// cost        that of the hull, and O(h) for its h corners
/// source      rotating calipers, Toussaint 1983 [toussaint1983]; a side lies on an edge, Freeman and Shapira 1975 [freeman1975]
TRIMORA_API void minAreaBound(ko::vector<Polyline const*> const& polylines, double margin,
                              Rect2& rect, float& anisotropy);
TRIMORA_API void minAreaBound(ko::vector<Polyline2d const*> const& polylines, double margin,
                              Rect2& rect, float& anisotropy);

}  // namespace koGeom
