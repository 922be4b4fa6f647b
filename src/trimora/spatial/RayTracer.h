#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/export.h"
#include "trimora/spatial/OctreeStackWalk.h"
#include "trimora/spatial/Ray.h"
#include "trimora/spatial/VisitStamps.h"

namespace koGeom {

/// Shoots rays at a mesh through its octree. Built once, used for any number of rays.
///
/// lifetime    mesh, octree and table outlive the tracer and do not change; only pointers are kept
/// threads     one tracer a thread; any number of tracers may share the mesh, the tree and the
///             table
/// cost        construction reads the vertices once and keeps 4 bytes a triangle; a ray allocates
///             nothing. Nearest hits are several times faster where the tree's box holds the mesh,
///             as that of meshBoundingBox does; the answers are the same
class TRIMORA_API RayTracer {
public:
    /// A null mesh counts as one without triangles. The table has to be that of this octree and
    /// mesh.
    RayTracer(Octree const& octree, OctreeTris const& octreeTris, CompactMesh const* mesh);
    RayTracer(RayTracer const&) = delete;
    RayTracer& operator=(RayTracer const&) = delete;

    /// Shoots one ray: is there a hit at a parameter greater than epsilonTolFlt? Back facing hits
    /// count from the backface cull distance on, see setBackfaceCullDistance.
    ///
    /// origin      of the ray; outside or inside the mesh
    /// dir         need not be of unit length: intersectionDist() is in units of its length
    bool intersect(PointFlt const& origin, Vector const& dir);

    /// Tests the triangles of one voxel that this ray has not met yet. In any-hit mode true at the
    /// first hit; in nearest-hit mode all are tested and true tells that intersectionDist() has
    /// become less.
    ///
    /// Called by itself it belongs to the ray in hand: it marks triangles as met and leaves the
    /// marks, so that a second call passes them over until intersect has been called.
    bool intersectVoxel(Ray const& ray, int voxel);

    /// True: intersect looks for the hit with the least parameter. False, as at the start: any hit
    /// will do.
    ///
    /// The first call with true reads the triangles once, for their longest edge.
    void setFindNearestHit(bool findNearestHit);

    /// Parameter of the nearest hit of the last ray. Means something in nearest-hit mode only; the
    /// largest finite float without a hit and in the other mode.
    double intersectionDist() const { return nearestDist_; }

private:
    bool walkNearest(Ray const& ray, double largest);
    bool walkAny(Ray const& ray, double largest);
    template <class Filter>
    bool testVoxel(Ray const& ray, int voxel, Filter const& filter);
    bool testTriangle(Ray const& ray, int triangle) const;
    float const* positionOf(int vertex) const {
        return vertices_ + 3 * static_cast<std::ptrdiff_t>(vertex);
    }

    OctreeStackWalk walk_;
    VisitStamps visited_;  // triangles that the ray in hand has met
    OctreeTris const* octreeTris_;
    CompactMesh const* mesh_;
    float const* vertices_;
    int const* triangles_;
    double largest_;  // coordinate of the tree; infinite: the tree does not hold the mesh
    double longestEdge_ = -1.0;  // of the mesh; below 0 until it is needed
    double nearestDist_;
    bool findNearestHit_ = false;
};

}  // namespace koGeom
