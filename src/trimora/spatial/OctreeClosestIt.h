#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"
#include "trimora/spatial/OctreeStackWalk.h"

#include <limits>

namespace koGeom {

/// The leaves of an octree by increasing squared distance from a point to their boxes; leaves at
/// equal distances come in no defined order, but in the same one every time.
///
/// use         construct or reset; while valid: get, getDistance2, next. A caller stops when the
///             distance reaches what it has found: nothing in a later voxel is nearer
/// state       a reset keeps the memory of earlier walks and may change the tree; not valid before
///             the first reset. One thread a walk, any number of walks a tree
/// cost        O(log n) for each node that is opened
/// source      best-first search [hjaltason1999]
class TRIMORA_API OctreeClosestIt {
public:
    OctreeClosestIt() = default;
    OctreeClosestIt(Octree const& octree, Point const& point) { reset(octree, point); }
    OctreeClosestIt(OctreeClosestIt const&) = delete;
    OctreeClosestIt& operator=(OctreeClosestIt const&) = delete;

    void reset(Octree const& octree, Point const& point);
    bool valid() const { return current_.node != nullptr; }
    OctreeIterator get() const { return current_; }
    /// Squared distance from the point, narrowed to floats, to the box of the leaf in hand.
    double getDistance2() const { return distance2_; }
    void next() { next(std::numeric_limits<double>::infinity()); }
    /// As next, for a caller who wants nothing at a squared distance of `limit2` or more: what is
    /// that far may be left out from here on, which saves most of the heap's work.
    void next(double limit2);

private:
    struct Entry {
        double distance2;
        int slot;
    };

    void open(double limit2);
    void push(double distance2, OctreeCell const& cell);
    void takeNearest();

    PointFlt point_;
    OctreeCell current_{OctreeIterator()};  ///< the leaf in hand; it is not in the heap
    double distance2_ = 0.0;
    ko::vector<Entry> heap_;        ///< binary heap of what waits, the nearest first
    ko::vector<OctreeCell> cells_;  ///< what waits and what has waited, by slot
};

}  // namespace koGeom
