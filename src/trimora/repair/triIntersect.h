#pragma once

#include "trimora/connectivity/triNormal.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

namespace koGeom {

/// Where two triangles cut each other, in double precision.
///
/// start, end   out, only when they cut: the common segment, along cross(normal of p, normal of q)
/// returns      false for no common segment: apart, touching in a point (an interval no longer than
///              `epsilonTol`), in planes that are parallel (so coplanar triangles never cut), or
///              with numbers that are not finite
/// source       the interval test of [moller1997b], the lone corner found by signs in a fixed order
///
/// Where a corner lies exactly on the other plane the order of the corners matters: with distances
/// (0, +, -) the first corner is taken as the lone one, the interval is a point and no cut is
/// reported; with (+, 0, -) the cut is found. A degenerate triangle takes part with the normal
/// (0, 0, 1).
TRIMORA_API bool intersect(Point const& p0, Point const& p1, Point const& p2, Point const& q0,
                           Point const& q1, Point const& q2, Point& start, Point& end);

/// Where a plane cuts a triangle.
///
/// plane       A, B, C, D of A x + B y + C z + D = 0
/// tolerance   corners with |A x + B y + C z + D| below it lie on the plane
/// a, b        out: points of the cut, as many as are counted
/// aParam ...  out: the point is param * v[edge[0]] + (1 - param) * v[edge[1]]; a corner has the
///             param 1 and its number twice
/// returns     0 no point, 1 a corner touches, 2 a segment, 3 the triangle lies in the plane; what
///             is not counted is not written, and nothing at all for 0 and 3
TRIMORA_API int intersect(double const* const plane, Point const& v0, Point const& v1,
                          Point const& v2, double tolerance, Point& a, double& aParam,
                          int (&aEdge)[2], Point& b, double& bParam, int (&bEdge)[2]);

/// The same without parameters and edges.
TRIMORA_API int intersect(double const* const plane, Point const& v0, Point const& v1,
                          Point const& v2, double tolerance, Point& a, Point& b);

}  // namespace koGeom
