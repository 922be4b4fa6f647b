#pragma once

#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/Frustum.h"
#include "trimora/contract/koGeom/Sphere.h"
#include "trimora/export.h"

/// Yes-or-no questions between boxes, frustums, spheres, planes, segments and triangles. All are
/// pure and are called from many threads at once; none allocates.
namespace koGeom {

/// Box against frustum; touching counts.
///
/// returns     false when all eight corners of the frustum lie beyond one face of the box, or when
///             the whole box lies above one plane of the frustum; else true. Conservative: a box
///             beside an edge of the frustum can pass although the two are apart
TRIMORA_API bool intersects(BoundingBox const& box, Frustum const& frustum);

/// Box against ball: true when the radius is at least the distance from the center, narrowed to
/// floats, to the box.
TRIMORA_API bool intersects(BoundingBox const& box, Sphere const& sphere);

/// Box against triangle; touching counts.
///
/// v0, v1, v2  corners, x y z each; a triangle without area is tested as the segment or point it is
/// numbers     single precision relative to v0: near misses within rounding may count as touching
///             and the other way round
/// source      separating axes, Gottschalk et al. 1996 [gottschalk1996]; of boxes and triangles,
///             Akenine-Moeller 2001 [akenine2001]
TRIMORA_API bool intersects(BoundingBox const& box, float const* const v0, float const* const v1,
                            float const* const v2);

/// Box against segment; touching counts. Single precision relative to p0, as above.
TRIMORA_API bool intersects(BoundingBox const& box, float const* const p0, float const* const p1);

/// Where the box lies to the plane: 1 wholly above, -1 wholly below, 0 across or touching.
TRIMORA_API int intersects(BoundingBox const& box, Plane const& plane);

/// True when the point is above none of the six planes; the surface is inside.
TRIMORA_API bool contains(Frustum const& frustum, Point const& point);

/// True when no coordinate lies beyond a face of the box; faces are inside. A NaN coordinate lies
/// beyond nothing.
TRIMORA_API bool contains(BoundingBox const& box, PointFlt const& point);

/// The interval that the box takes up along an axis of any length: the least and the greatest of
/// the corners' dot products with it. Single precision.
TRIMORA_API void project(BoundingBox const& box, VectorFlt const& axis, float& low, float& high);

/// As `contains`, but a point may lie above a plane by `epsilonTol`.
TRIMORA_API bool pointFrustumIntersect(Point const& point, Frustum const& frustum);

/// Ball against triangle, approximately.
///
/// returns     true when a corner lies strictly inside the ball; false when each corner is farther
///             from the center than its following edge is long (this drops a ball that touches the
///             middle of a long edge); else whether the ball reaches the triangle's inside, or the
///             line of the edge that the center lies beyond
/// caution     that line has no ends: a ball beyond the end of an edge can count as touching. Good
///             for choosing candidates, not for a final answer
/// degenerate  corners within `epsilonTol` of each other leave a line; a single point gives false
TRIMORA_API bool sphereTriIntersect(Sphere const& sphere, Point const& p0, Point const& p1,
                                    Point const& p2);

}  // namespace koGeom
