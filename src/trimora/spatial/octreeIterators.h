#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koGeom/Sphere.h"
#include "trimora/export.h"
#include "trimora/spatial/OctreeStackWalk.h"

namespace koGeom {

class Frustum;
class Ray;

// Walks over the leaves of an octree. They share one use:
//
//     OctreeBBoxIntersectIt voxels(octree);  // one allocation, kept for any number of queries
//     for (voxels.reset(box); voxels.valid(); voxels.next())
//         visit(voxels.get().node->voxelIndex);
//
// query       kept by reference: it must outlive the walk. Not valid before the first reset
// order       front to back along a direction, octant by octant: an order of visit, no sort by
//             distance
// next        nothing happens on a walk that is not valid
// threads     a walk belongs to one thread; any number of walks may share a tree

/// The leaves whose boxes meet a frustum, in the order of its viewing direction.
class TRIMORA_API OctreeIntersectIt {
public:
    explicit OctreeIntersectIt(Octree const& octree) : walk_(octree) {}
    OctreeIntersectIt(Octree const& octree, Frustum const& query) : walk_(octree) { reset(query); }

    void reset(Frustum const& query);
    bool valid() const { return walk_.valid(); }
    OctreeIterator get() const { return walk_.top(); }
    void next();

private:
    OctreeStackWalk walk_;
    Frustum const* query_ = nullptr;
};

/// The leaves whose boxes overlap or touch a box, in ascending order of their numbers.
class TRIMORA_API OctreeBBoxIntersectIt {
public:
    explicit OctreeBBoxIntersectIt(Octree const& octree) : walk_(octree) {}
    OctreeBBoxIntersectIt(Octree const& octree, BoundingBox const& query) : walk_(octree) {
        reset(query);
    }

    void reset(BoundingBox const& query);
    bool valid() const { return walk_.valid(); }
    OctreeIterator get() const { return walk_.top(); }
    void next();

private:
    OctreeStackWalk walk_;
    BoundingBox const* query_ = nullptr;
};

/// The leaves whose boxes the forward half-line of a ray meets, in the order of its direction.
class TRIMORA_API OctreeRayIntersectIt {
public:
    explicit OctreeRayIntersectIt(Octree const& octree) : walk_(octree) {}
    OctreeRayIntersectIt(Octree const& octree, Ray const& query) : walk_(octree) { reset(query); }

    void reset(Ray const& query);
    bool valid() const { return walk_.valid(); }
    OctreeIterator get() const { return walk_.top(); }
    void next();

private:
    OctreeStackWalk walk_;
    Ray const* query_ = nullptr;
};

/// The leaves whose boxes a ball overlaps or touches, in ascending order of their numbers.
class TRIMORA_API OctreeSphereIntersectIt {
public:
    explicit OctreeSphereIntersectIt(Octree const& octree) : walk_(octree) {}
    OctreeSphereIntersectIt(Octree const& octree, Sphere const& query) : walk_(octree) {
        reset(query);
    }

    void reset(Sphere const& query);
    bool valid() const { return walk_.valid(); }
    OctreeIterator get() const { return walk_.top(); }
    void next();

private:
    OctreeStackWalk walk_;
    Sphere const* query_ = nullptr;
};

/// All leaves, in descending order of their numbers. A copy goes on by itself.
class TRIMORA_API OctreeLeafIterator {
public:
    explicit OctreeLeafIterator(Octree const& octree) { reset(octree); }

    void reset(Octree const& octree);
    bool valid() const { return !stack_.empty(); }
    OctreeIterator get() const { return stack_.back(); }
    void next();

private:
    void expandToLeaf();

    ko::vector<OctreeIterator> stack_;
};

}  // namespace koGeom
