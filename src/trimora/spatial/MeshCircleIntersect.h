#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/lines.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class IntersectImpl;
class Octree;
class OctreeTris;

/// Finds where a circle cuts a mesh.
///
/// lifetime    mesh, octree and table outlive the object and do not change. A copy shares the
///             working memory of its source and must not outlive it
/// threads     one call at a time
class TRIMORA_API MeshCircleIntersect {
public:
    /// tolerance   by which a point found on a triangle's plane may differ, in each coordinate,
    ///             from the nearest point of the triangle
    MeshCircleIntersect(CompactMesh const& mesh, Octree const& octree, OctreeTris const& octreeTris,
                        double tolerance);
    MeshCircleIntersect(MeshCircleIntersect const& other);
    MeshCircleIntersect& operator=(MeshCircleIntersect const&) = delete;
    ~MeshCircleIntersect();

    /// Appends the points where the circle meets triangles; a point on a common edge comes once for
    /// each of its triangles.
    ///
    /// circle      its origin is the center, its normal the axis
    /// radius      not above 0: nothing is found
    /// order       by arcs of 30 degrees, then voxels, then triangles
    void operator()(Plane const& circle, double radius, ko::vector<Point>& result);

private:
    IntersectImpl* impl_;
    bool ownsImpl_;
};

/// Where a circle meets a plane.
///
/// circle      its origin is the center, its normal the axis
/// points      out: room for two; both are written unless the result is 0
/// returns     0, 1 (tangent: both points are equal within epsilonTol) or 2; 0 for parallel planes,
///             the circle's own among them
TRIMORA_API int circlePlaneIntersect(Plane const& circle, double radius, Plane const& other,
                                     Point* points);

}  // namespace koGeom
