#include "trimora/planar/pack.h"

#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koLinear/random.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/contract/koUtil/Ordering.h"

#include <algorithm>
#include <cmath>
#include <limits>

// A guillotine tree. A leaf is a region, free or occupied; a region that takes a rectangle smaller than itself is cut
// straight through twice:
//
//     +-----------+-------+       more room along x: cut along x first,
//     | upper     |       |       then the first part along y;
//     +-----------+  rest |       the rectangle goes into the first part's first part
//     | rectangle |       |
//     +-----------+-------+
//
// First fit over the leaves from left to right. Every node knows the most that a free leaf below it has of width, of
// height and of its shorter side, so that the search passes over what cannot hold the rectangle; rounding is monotone,
// so no leaf that passes the test is passed over.

namespace koGeom {

namespace {

/// Upper bounds for what the free leaves below a node can hold; of a free leaf its own sides.
struct Room {
    double width = -std::numeric_limits<double>::infinity();
    double height = width;
    double shorter = width;

    Room() = default;
    explicit Room(Point2 const& size)
        : width(size.x), height(size.y), shorter(std::min(size.x, size.y)) {}

    bool operator==(Room const&) const = default;
    void include(Room const& room) {
        width = std::max(width, room.width);
        height = std::max(height, room.height);
        shorter = std::max(shorter, room.shorter);
    }
    bool holds(Room const& wanted) const {
        return !(width - wanted.width < -epsilonTol) && !(height - wanted.height < -epsilonTol) &&
               !(shorter - wanted.shorter < -epsilonTol);
    }
};

struct PackNode {
    Range2d bounds;  // meaningless once the node is split
    Room room;
    int parent = none;
    int first = none;  // the second child follows the first
    bool occupied = false;

    static constexpr int none = -1;

    bool isSplit() const { return first != none; }
};

class PackTree {
public:
    explicit PackTree(std::size_t numRects) {
        nodes_.reserve(4 * numRects + 1);
        nodes_.push_back({Range2d::unitSquare, Room(Range2d::unitSquare.size())});
    }

    /// The region that takes a rectangle of this size; null when none does.
    Range2d const* insert(Point2 const& size) {
        Room const wanted(size);
        for (int node = root; node != PackNode::none;) {
            bool const mayHold = at(node).room.holds(wanted);
            if (mayHold && at(node).isSplit()) {
                node = at(node).first;
                continue;
            }
            int const placed = mayHold ? place(node, size) : PackNode::none;
            if (placed != PackNode::none)
                return &at(placed).bounds;
            node = nextSubtree(node);
        }
        return nullptr;
    }

private:
    static constexpr int root = 0;

    PackNode& at(int node) { return nodes_[static_cast<std::size_t>(node)]; }
    PackNode const& at(int node) const { return nodes_[static_cast<std::size_t>(node)]; }

    /// The next one from left to right that does not lie below the node.
    int nextSubtree(int node) const {
        while (node != root) {
            int const parent = at(node).parent;
            if (at(parent).first == node)
                return node + 1;
            node = parent;
        }
        return PackNode::none;
    }

    /// Cuts a free leaf down to the size. None when rounding makes a part too small for it: then the cuts stay.
    int place(int leaf, Point2 const& size) {
        int node = leaf;
        int placed = PackNode::none;
        for (;;) {
            Point2 const region = at(node).bounds.size();
            Vector2 const left = region - size;
            if (left.x < -epsilonTol || left.y < -epsilonTol)
                break;
            // A cut that takes nothing away would be made for ever.
            if (equivalent(left, Vector2::zero, epsilonTol) || !split(node, left, size)) {
                at(node).occupied = true;
                at(node).room = Room();
                placed = node;
                break;
            }
            node = at(node).first;
        }
        updateRooms(node);
        return placed;
    }

    /// False, with nothing done, when the first part would be the whole.
    bool split(int node, Vector2 const& left, Point2 const& size) {
        PackNode lower{at(node).bounds, {}, node};
        PackNode upper = lower;
        if (left.x > left.y) {
            double const cut = lower.bounds.lower.x + size.x;
            lower.bounds.upper.x = upper.bounds.lower.x = cut;
        } else {
            double const cut = lower.bounds.lower.y + size.y;
            lower.bounds.upper.y = upper.bounds.lower.y = cut;
        }
        if (lower.bounds == at(node).bounds)
            return false;
        lower.room = Room(lower.bounds.size());
        upper.room = Room(upper.bounds.size());
        at(node).first = static_cast<int>(nodes_.size());
        nodes_.push_back(lower);
        nodes_.push_back(upper);
        return true;
    }

    void updateRooms(int node) {
        for (int parent = at(node).parent; parent != PackNode::none; parent = at(parent).parent) {
            Room room = at(at(parent).first).room;
            room.include(at(at(parent).first + 1).room);
            at(parent).room = room;
        }
    }

    ko::vector<PackNode> nodes_;
};

double largerSide(Range2d const& rect) {
    Point2 const size = rect.size();
    return std::max(size.x, size.y);
}

bool isLarger(Range2d const& a, Range2d const& b) {
    return largerSide(a) > largerSide(b);
}

bool isFinite(Point2 const& size) {
    return std::isfinite(size.x) && std::isfinite(size.y);
}

void scale(ko::vector<Range2d>& rects, double factor) {
    for (Range2d& rect : rects) {
        Point2 const size = rect.size();
        rect = Range2d(0.0, 0.0, size.x * factor, size.y * factor);
    }
}

void printMove(Range2d const& from, Range2d const& to) {
    debugChannel().print("Packed (%.4f,%.4f)-(%.4f,%.4f) to", from.lower.x, from.lower.y,
                         from.upper.x, from.upper.y);
    debugChannel().print(" (%.4f,%.4f)-(%.4f,%.4f)\n", to.lower.x, to.lower.y, to.upper.x,
                         to.upper.y);
}

/// Puts the sorted list back in the caller's order, and tells of the first few.
void deliver(ko::vector<Range2d> const& placed, koUtil::Ordering const& order,
             ko::vector<Range2d>& rects) {
    constexpr std::size_t numTold = 6;
    for (std::size_t i = 0; i < placed.size(); ++i) {
        Range2d& rect = rects[static_cast<std::size_t>(order[static_cast<long long>(i)])];
        if (i < numTold)
            printMove(rect, placed[i]);
        rect = placed[i];
    }
}

/// Enlarges a layout that leaves room, about the origin.
void fillSquare(ko::vector<Range2d>& rects) {
    constexpr double leastGrowth = 1.01;
    Range2d all;
    for (Range2d const& rect : rects)
        all.include(rect);
    double const growth = 1.0 / largerSide(all);
    if (!(growth > leastGrowth) || !std::isfinite(growth))  // infinite: rectangles without size
        return;
    debugChannel().print("Scaling packing by %.2f\n", growth);
    for (Range2d& rect : rects)
        rect = Range2d(rect.lower.x * growth, rect.lower.y * growth, rect.upper.x * growth,
                       rect.upper.y * growth);
}

}  // namespace

bool pack(ko::vector<Range2d>& rects) {
    if (rects.empty())
        return true;
    if (largerSide(rects.back()) > 1.0)
        return false;

    PackTree tree(rects.size());
    for (Range2d& rect : rects) {
        Point2 const size = rect.size();
        Range2d const* const region = isFinite(size) ? tree.insert(size) : nullptr;
        if (region == nullptr)
            return false;
        rect = *region;
    }
    return true;
}

void pack(ko::vector<Range2d>& rects, int steps) {
    bool const canFit = std::all_of(rects.begin(), rects.end(),
                                    [](Range2d const& rect) { return isFinite(rect.size()); });
    if (rects.empty() || !canFit || steps < 1)
        return;

    koOS::StopWatch watch;
    watch.start();

    koUtil::Ordering order;
    order.sort(rects.data(), rects.data() + rects.size(), &isLarger);
    ko::vector<Range2d> sorted;
    sorted.reserve(rects.size());
    for (int const index : order)
        sorted.push_back(rects[static_cast<std::size_t>(index)]);

    // Beyond some ten million steps the factor rounds to 1, which would never end.
    float const factor =
        std::min(powf(0.499f, 1.0f / static_cast<float>(steps)), nextafterf(1.0f, 0.0f));
    float coverage = 1.0f;
    int iterations = 1;
    while (!pack(sorted)) {
        ++iterations;
        coverage *= factor;
        scale(sorted, static_cast<double>(factor));
    }

    deliver(sorted, order, rects);
    fillSquare(rects);
    debugChannel().print("Packed %d items with %.2f coverage in %d iterations in %.2f seconds.\n",
                         static_cast<int>(rects.size()), static_cast<double>(coverage), iterations,
                         watch.clear());
}

}  // namespace koGeom
