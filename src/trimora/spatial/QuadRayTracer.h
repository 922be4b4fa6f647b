#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/OctreeTables.h"
#include "trimora/export.h"
#include "trimora/spatial/OctreeStackWalk.h"
#include "trimora/spatial/QuadRay.h"
#include "trimora/spatial/VisitStamps.h"

namespace koGeom {

/// The leaves of an octree that any lane of a packet enters, as its hits stand when a node is met.
///
/// Use and threads as for the other walks, see octreeIterators.h. The packet changes while the walk goes on; a node that was met before a
/// lane's hit came nearer is visited all the same.
class TRIMORA_API OctreeQuadRayIntersectIt {
public:
    explicit OctreeQuadRayIntersectIt(Octree const& octree);
    /// In the children's own order.
    OctreeQuadRayIntersectIt(Octree const& octree, QuadRay& ray);
    ~OctreeQuadRayIntersectIt();

    /// ray           kept by pointer: it must outlive the walk
    /// frontToBack   octant by octant along the mean direction; else in the children's own order
    void reset(QuadRay& ray, bool frontToBack);
    void next();
    bool valid() const { return !stack_.empty(); }
    /// The leaf in hand; without a node when there is none.
    OctreeIterator get() const {
        return valid() ? OctreeIterator(stack_.back()) : OctreeIterator();
    }
    /// Adds a node, to be visited next, if a lane enters its box; a leaf, or next() is to be called. Nothing happens before the first
    /// reset.
    void push(OctreeIterator const& place);

private:
    bool isAtLeaf() const { return stack_.back().node->isLeaf != 0; }

    int order_[8] = {0, 1, 2, 3, 4, 5, 6, 7};
    Octree const* octree_;
    QuadRay* ray_ = nullptr;
    ko::vector<OctreeCell> stack_;
};

/// Shoots packets of four rays at a mesh through its octree. Built once, used for any number of packets.
///
/// lifetime   mesh, octree and table outlive the tracer and do not change
/// threads    one tracer a thread
/// cost       4 bytes a triangle; a packet allocates nothing. Voxels are visited in the tree's own order, not front to back
class TRIMORA_API QuadRayTracer {
public:
    /// A null mesh counts as one without triangles. The table has to be that of this octree and mesh.
    QuadRayTracer(Octree const& octree, OctreeTris const& octreeTris, CompactMesh const* mesh);
    QuadRayTracer(QuadRayTracer const&) = delete;
    QuadRayTracer& operator=(QuadRayTracer const&) = delete;
    ~QuadRayTracer();

    /// Shoots the packet; its hits are those of all triangles met, and those that it had.
    void intersect(QuadRay& ray);
    /// Tests the triangles of one voxel that the packet in hand has not met yet, in the voxel's order; stops when all rays are terminated.
    ///
    /// Called by itself it leaves its marks until intersect() has been called.
    void intersectVoxel(QuadRay& ray, int voxel);

private:
    OctreeQuadRayIntersectIt walk_;
    VisitStamps visited_;
    OctreeTris const* octreeTris_;
    MeshVertex const* vertices_;
    MeshTriangle const* triangles_;
};

}  // namespace koGeom
