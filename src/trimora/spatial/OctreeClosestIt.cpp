#include "trimora/spatial/OctreeClosestIt.h"

#include "trimora/spatial/OctreeStackWalk.h"

#include <algorithm>

// A best-first walk: the nearest of all nodes met so far is opened until it is a leaf. The nearest
// child of the node in hand is often the nearest of all; it is then gone on with at once and never
// enters the heap.

namespace koGeom {

namespace {

/// Order of the heap, whose top is the greatest: farther is less, and of equals the later one. So
/// the order of leaves at equal distances does not depend on what a limit has kept off the heap.
constexpr auto isFarther = [](auto const& a, auto const& b) {
    return a.distance2 > b.distance2 || (a.distance2 == b.distance2 && a.slot > b.slot);
};

}  // namespace

void OctreeClosestIt::reset(Octree const& octree, Point const& point) {
    point_ = PointFlt(point);
    heap_.clear();
    cells_.clear();
    current_ = OctreeCell(octree.getRoot());
    distance2_ = octree.getRoot().box.distance2(point_);
    while (valid() && current_.node->isLeaf == 0)
        open(std::numeric_limits<double>::infinity());
}

void OctreeClosestIt::next(double limit2) {
    if (!valid())
        return;
    takeNearest();
    while (valid() && current_.node->isLeaf == 0)
        open(limit2);
}

/// Replaces the inner node in hand by the nearest of its children and of what waits.
void OctreeClosestIt::open(double limit2) {
    OctreeSplit const split(current_);
    double distance2[8];
    split.distances2(point_, distance2);
    int const nearest = static_cast<int>(std::min_element(distance2, distance2 + 8) - distance2);
    for (int child = 0; child < 8; ++child)
        if (child != nearest && distance2[child] <= limit2)
            push(distance2[child], split.child(child));
    current_ = split.child(nearest);
    distance2_ = distance2[nearest];
    if (!heap_.empty() && heap_.front().distance2 < distance2_) {
        push(distance2_, current_);
        takeNearest();
    }
}

void OctreeClosestIt::push(double distance2, OctreeCell const& cell) {
    heap_.push_back({distance2, static_cast<int>(cells_.size())});
    cells_.push_back(cell);
    std::push_heap(heap_.begin(), heap_.end(), isFarther);
}

/// Takes what waits nearest in hand; nothing when nothing waits.
void OctreeClosestIt::takeNearest() {
    current_.node = nullptr;
    if (heap_.empty())
        return;
    distance2_ = heap_.front().distance2;
    current_ = cells_[static_cast<std::size_t>(heap_.front().slot)];
    std::pop_heap(heap_.begin(), heap_.end(), isFarther);
    heap_.pop_back();
}

}  // namespace koGeom
