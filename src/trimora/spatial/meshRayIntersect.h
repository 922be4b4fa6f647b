#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/lines.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class Frustum;
class MeshAdjTris;
class Octree;

/// Where a line meets one triangle of a mesh, in front of its origin or behind it: a front facing
/// triangle is met at any parameter, see intersectRayTriangle.
///
/// tri         number of the triangle, in range
/// ray         its origin is narrowed to floats
/// hit         out: the point, narrowed to floats; untouched when the result is false
TRIMORA_API bool meshRayTriIntersect(CompactMesh const& mesh, int tri, Line const& ray,
                                     PointFlt& hit);
/// The same point widened.
TRIMORA_API bool meshRayTriIntersect(CompactMesh const& mesh, int tri, Line const& ray, Point& hit);

/// Casts a frustum's central ray and finds a triangle through the vertices in the voxels that the
/// frustum meets.
///
/// Finds the first triangle in the order of voxels, vertices and adjacency: not the nearest one in
/// general, and not a triangle whose vertices all lie in voxels outside the frustum. RayTracer is
/// the accurate way.
///
/// octree      over the mesh's vertices; adjTris is the table of the same mesh
/// hit         out: the point; untouched when nothing is met
/// tri         out: the triangle's number, where the pointer is not null
/// message     one timed line on the debug channel
TRIMORA_API bool meshRayIntersect(CompactMesh const& mesh, Octree const& octree,
                                  MeshAdjTris const& adjTris, Frustum const& frustum, PointFlt& hit,
                                  int* tri);

}  // namespace koGeom
