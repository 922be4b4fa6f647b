#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

namespace koGeom {

/// Determinants at or below this size (edge, edge, direction) are no hit: the ray runs within the
/// triangle's plane, or the triangle has no area.
inline constexpr double rayDeterminantTolerance = 1e-06;

/// Where a line meets a triangle, both sides counting; edges and corners belong to the triangle.
///
/// dir         3 doubles, the direction; need not be of unit length, t is in units of its length
/// origin, v0, v1, v2   3 floats each; differences of coordinates are taken in floats, all else in
///                      doubles
/// t, u, v     out: parameter on the line and weights of v1 and v2. Written also when the last step
///             refuses, untouched when an earlier one does
/// returns     true for a front facing hit at any t, a NEGATIVE one included, and for a back facing
///             hit at t of at least the backface cull distance. Front is the side from which the
///             corners run counter-clockwise
/// source      Moeller, Trumbore 1997 [moller1997]
TRIMORA_API bool intersectRayTriangle(double const* dir, float const* origin, float const* v0,
                                      float const* v1, float const* v2, double& t, double& u,
                                      double& v);

/// As above for front facing hits only, at any t; a determinant of exactly the tolerance counts
/// here.
TRIMORA_API bool intersectRayTriangleCull(double const* dir, float const* origin, float const* v0,
                                          float const* v1, float const* v2, double& t, double& u,
                                          double& v);

/// As the first form, and t greater than epsilonTol.
TRIMORA_API bool intersectRayTriangle(Vector const& dir, PointFlt const& origin, PointFlt const& v0,
                                      PointFlt const& v1, PointFlt const& v2);

/// Least t of a back facing hit, for all later calls of the process; 1e-06 at the start. Not
/// synchronised: to be called while no ray is being traced.
TRIMORA_API void setBackfaceCullDistance(double distance);

}  // namespace koGeom
