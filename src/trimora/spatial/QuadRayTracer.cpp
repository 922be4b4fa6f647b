#include "trimora/spatial/QuadRayTracer.h"

#include "trimora/detail/callerContract.h"

#include <cassert>
#include <cstddef>

namespace koGeom {

OctreeQuadRayIntersectIt::OctreeQuadRayIntersectIt(Octree const& octree) : octree_(&octree) {
    stack_.reserve(8 * static_cast<std::size_t>(octree.maxDepth));
}

OctreeQuadRayIntersectIt::OctreeQuadRayIntersectIt(Octree const& octree, QuadRay& ray)
    : OctreeQuadRayIntersectIt(octree) {
    reset(ray, false);
}

OctreeQuadRayIntersectIt::~OctreeQuadRayIntersectIt() = default;

void OctreeQuadRayIntersectIt::reset(QuadRay& ray, bool frontToBack) {
    ray_ = &ray;
    if (frontToBack) {
        VectorFlt const& d = ray.meanDirection();
        Octree::getNodeOrdering(Vector(double(d.x), double(d.y), double(d.z)), order_);
    } else {
        for (int k = 0; k < 8; ++k)
            order_[k] = k;
    }
    stack_.clear();
    if (octree_->numVoxels > 0)
        push(octree_->getRoot());
    if (valid() && !isAtLeaf())
        next();
}

void OctreeQuadRayIntersectIt::next() {
    if (valid() && isAtLeaf())
        stack_.pop_back();
    while (valid() && !isAtLeaf()) {
        OctreeSplit const split(stack_.back());
        stack_.pop_back();
        unsigned const entered = ray_->enteredChildren(split);
        for (int k = 7; k >= 0; --k)
            if ((entered >> order_[k] & 1u) != 0)
                stack_.push_back(split.child(order_[k]));
    }
}

void OctreeQuadRayIntersectIt::push(OctreeIterator const& place) {
    if (ray_ == nullptr || place.node == nullptr)
        return;
    koUtil::BitField32 lanes;
    ray_->intersect(place.box, lanes);
    if (lanes.any())
        stack_.push_back(OctreeCell(place));
}

QuadRayTracer::QuadRayTracer(Octree const& octree, OctreeTris const& octreeTris,
                             CompactMesh const* mesh)
    : walk_(octree),
      visited_(mesh != nullptr ? mesh->getNumTriangles() : 0),
      octreeTris_(&octreeTris),
      vertices_(mesh != nullptr ? mesh->getVertices() : nullptr),
      triangles_(mesh != nullptr ? mesh->getTriangles() : nullptr) {
    assert(mesh == nullptr || detail::isTableOf(octreeTris, octree, *mesh));
}

QuadRayTracer::~QuadRayTracer() = default;

void QuadRayTracer::intersect(QuadRay& ray) {
    if (visited_.size() == 0)
        return;
    for (walk_.reset(ray, false); walk_.valid(); walk_.next()) {
        intersectVoxel(ray, walk_.get().node->voxelIndex);
        if (ray.allRaysTerminated())
            break;
    }
    visited_.nextQuery();
}

void QuadRayTracer::intersectVoxel(QuadRay& ray, int voxel) {
    int const numTris = octreeTris_->numTris(voxel);
    int const* const tris = octreeTris_->firstTri(voxel);
    for (int i = 0; i < numTris; ++i) {
        if (!visited_.meet(tris[i]))
            continue;
        ray.intersect(triangles_[tris[i]], vertices_);
        if (ray.allRaysTerminated())
            return;
    }
}

}  // namespace koGeom
