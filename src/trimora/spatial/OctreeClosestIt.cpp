#include "trimora/spatial/OctreeClosestIt.h"

#include "trimora/spatial/OctreeStackWalk.h"

#include <algorithm>
#include <cstddef>

// A best-first walk: the nearest of all nodes met so far is opened until it is a leaf. The nearest
// child of the node in hand is often the nearest of all; it is then gone on with at once and never
// waits. What comes to wait is put into the heap only when the next is taken from it: on the first
// way down nothing is known of what the caller wants, and few are wanted when it is.
//
// Leaves that the caller does not want wait like the others, as the order of equally near nodes
// depends on what has waited; but they are passed over when their turn comes.

namespace koGeom {

namespace {

constexpr int emptyLeaf = -1;

}  // namespace

/// Order of the heap, whose top is the greatest: farther is less, and of equals the later one.
bool OctreeClosestIt::isFarther(Entry const& a, Entry const& b) {
    return a.distance2 > b.distance2 || (a.distance2 == b.distance2 && a.rank > b.rank);
}

void OctreeClosestIt::reset(Octree const& octree, Point const& point,
                            std::uint8_t const* occupied) {
    point_ = PointFlt(point);
    occupied_ = occupied;
    opened_.clear();
    numWaiting_ = 0;
    numInHeap_ = 0;
    numFound_ = 0;
    leastWaiting_ = std::numeric_limits<double>::infinity();
    OctreeIterator const root = octree.getRoot();
    root_ = root.node;
    current_ = OctreeCell(root);
    distance2_ = root.box.distance2(point_);
    while (valid() && current_.node->isLeaf == 0)
        open(std::numeric_limits<double>::infinity());
}

void OctreeClosestIt::next(double limit2) {
    if (!valid())
        return;
    completeHeap(limit2);
    takeNearest();
    while (valid() && current_.node->isLeaf == 0)
        open(limit2);
}

/// Replaces the inner node in hand by the nearest of its children and of what waits.
void OctreeClosestIt::open(double limit2) {
    OctreeSplit const split(current_);
    int const parent = 8 * static_cast<int>(opened_.size());
    opened_.push_back(current_);
    unsigned const wanted =
        occupied_ != nullptr ? occupied_[(split.children - root_ - 1) / 8] : 0xFFu;
    auto const nameOf = [=](int child) {
        return (wanted >> child & 1) != 0 ? parent + child : emptyLeaf;
    };
    _mm_prefetch(reinterpret_cast<char const*>(split.children), _MM_HINT_T0);
    _mm_prefetch(reinterpret_cast<char const*>(split.children + 4), _MM_HINT_T0);
    double distance2[8];
    split.distances2(point_, distance2);
    int nearest = 0;
    for (int child = 1; child < 8; ++child)
        nearest = distance2[child] < distance2[nearest] ? child : nearest;

    // Written without branches, for which of the children wait is not to be foreseen.
    std::size_t const before = numWaiting_;
    if (waiting_.size() < before + 9)
        waiting_.resize(2 * before + 64);
    for (int child = 0; child < 8; ++child) {
        waiting_[numWaiting_] = {distance2[child], numFound_, nameOf(child)};
        bool const waits = (child != nearest) & (distance2[child] <= limit2);
        leastWaiting_ = waits ? std::min(leastWaiting_, distance2[child]) : leastWaiting_;
        numWaiting_ += waits;
        numFound_ += waits;
    }
    current_ = split.child(nearest);
    distance2_ = distance2[nearest];
    bool const comesFirst = !(leastWaiting_ < distance2_);
    if (comesFirst && nameOf(nearest) != emptyLeaf)
        return;
    if (!comesFirst)
        waiting_[numWaiting_++] = {distance2_, numFound_++, nameOf(nearest)};
    completeHeap(limit2);
    takeNearest();
}

OctreeNode const* OctreeClosestIt::upcoming() const {
    if (numInHeap_ == 0 || waiting_.front().child == emptyLeaf)
        return nullptr;
    int const child = waiting_.front().child;
    return opened_[static_cast<std::size_t>(child / 8)].node->children() + child % 8;
}

/// Brings what has come since the last time into the heap; the first time all that may still be wanted.
void OctreeClosestIt::completeHeap(double limit2) {
    auto const begin = waiting_.begin();
    auto end = begin + static_cast<std::ptrdiff_t>(numWaiting_);
    if (numInHeap_ == 0) {
        end = std::remove_if(begin, end,
                             [limit2](Entry const& entry) { return entry.distance2 > limit2; });
        std::make_heap(begin, end, isFarther);
        numWaiting_ = static_cast<std::size_t>(end - begin);
    } else {
        for (auto last = begin + static_cast<std::ptrdiff_t>(numInHeap_); last != end;)
            std::push_heap(begin, ++last, isFarther);
    }
    numInHeap_ = numWaiting_;
}

/// Takes what waits nearest in hand, but for empty leaves; nothing when nothing waits.
void OctreeClosestIt::takeNearest() {
    current_.node = nullptr;
    while (numWaiting_ > 0 && !valid()) {
        Entry const nearest = waiting_.front();
        std::pop_heap(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(numWaiting_),
                      isFarther);
        --numWaiting_;
        distance2_ = nearest.distance2;
        if (nearest.child != emptyLeaf)
            current_ = OctreeSplit(opened_[static_cast<std::size_t>(nearest.child / 8)])
                           .child(nearest.child % 8);
    }
    numInHeap_ = numWaiting_;
    leastWaiting_ =
        numWaiting_ > 0 ? waiting_.front().distance2 : std::numeric_limits<double>::infinity();
}

}  // namespace koGeom
