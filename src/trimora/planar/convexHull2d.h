#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

namespace koGeom {

class Polyline;
class Polyline2d;

/// Finds the corners of the convex hull of points of the plane.
///
/// points    at most 2^31 - 1, in any unit. Coordinates must be finite: with others the result is some of the
///           points.
/// hull      out: the numbers of the corners, counterclockwise, from the lowest point (the rightmost
///           of the lowest ones) on. Points on an edge are no corners; of points in one place
///           the last one is taken, but for the lowest place, which gives its first one. Of points
///           on one line these are the two ends. Fewer than three points are taken as they are.
/// returns   false when all of three or more points lie in one place, which is then the only entry
/// rounding  a turn is the sign of a cross product in doubles: exact for whole numbers up to 2^25, else points nearer
///           to an edge than rounding may come or go
/// cost      O(n) and one pass over the points in the order of their angles; O(n log n) when they are seen from the lowest
///           one under nearly one angle. 18 bytes of scratch a point.
/// source    Graham 1972 [graham1972]
TRIMORA_API bool convexHull2d(ko::vector<Point2> const& points, ko::vector<int>& hull);
/// hull      out: the corners; left alone when the result is false; may be `points` itself
TRIMORA_API bool convexHull2d(ko::vector<Point2> const& points, ko::vector<Point2>& hull);
/// The hull of all vertices seen along z.
///
/// polylines  not owned; null is left out
/// hull       out: the corners with z = 0; left alone when the result is false
TRIMORA_API bool convexHull2d(ko::vector<Polyline const*> const& polylines,
                              ko::vector<Point>& hull);
TRIMORA_API bool convexHull2d(ko::vector<Polyline2d const*> const& polylines,
                              ko::vector<Point>& hull);

}  // namespace koGeom
