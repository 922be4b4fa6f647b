#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/Octree.h"
#include "trimora/contract/koLinear/vectors.h"
#include "trimora/export.h"
#include "trimora/spatial/OctreeStackWalk.h"

#include <cstddef>
#include <cstdint>
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

    void reset(Octree const& octree, Point const& point) { reset(octree, point, nullptr); }
    /// As above, without the leaves that are empty for the caller; the others come in the order in which they come with
    /// those.
    ///
    /// occupied   for each block of 8 children, in the order of the nodes, the set of those to be delivered or opened, bit
    ///            c for child c; all inner nodes belong to it. Null for all; else it outlives the walk
    void reset(Octree const& octree, Point const& point, std::uint8_t const* occupied);
    bool valid() const { return current_.node != nullptr; }
    OctreeIterator get() const { return current_; }
    /// Squared distance from the point, narrowed to floats, to the box of the leaf in hand.
    double getDistance2() const { return distance2_; }
    /// What will probably come after the node in hand, to fetch ahead what belongs to it; an inner node, or null, where
    /// that is not known.
    OctreeNode const* upcoming() const;
    void next() { next(std::numeric_limits<double>::infinity()); }
    /// As next, for a caller who wants nothing at a squared distance of `limit2` or more: what is
    /// that far may be left out from here on, which saves most of the heap's work.
    void next(double limit2);

private:
    /// A child of a node that was opened, and waits. Nodes at equal distances come in the order of their discovery, so that
    /// it makes no difference what a limit has kept out.
    struct Entry {
        double distance2;
        int rank;  ///< in the order of discovery
        int child;  ///< 8 times the place of the parent, and the number of the child; -1 for an empty leaf
    };

    void open(double limit2);
    void completeHeap(double limit2);
    void takeNearest();
    static bool isFarther(Entry const& a, Entry const& b);

    PointFlt point_;
    OctreeNode const* root_ = nullptr;
    std::uint8_t const* occupied_ = nullptr;
    OctreeCell current_{OctreeIterator()};  ///< the leaf in hand; it does not wait
    double distance2_ = 0.0;
    int numFound_ = 0;
    double leastWaiting_ = 0.0;
    ko::vector<Entry> waiting_;  ///< a binary heap, the nearest first, then what has come since
    std::size_t numInHeap_ = 0;
    std::size_t numWaiting_ = 0;     ///< of both; what stands beyond is room
    ko::vector<OctreeCell> opened_;  ///< parents of what waits and has waited
};

}  // namespace koGeom
