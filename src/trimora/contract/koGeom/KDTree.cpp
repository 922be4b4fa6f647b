#include "trimora/contract/koGeom/KDTree.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>

// A k-d tree with small leaves and tight boxes. An insertion walks down to one leaf; the topmost part on its way that has
// doubled since it was built is built anew by medians [bentley1975] [galperin1993], which bounds the depth whatever the order
// of insertion. A search for the lowest number goes by branch and bound: a node whose lowest number is no better is
// left out, and a node whose box lies wholly inside answers by itself, so heaps of coincident points cost nothing.

namespace koGeom {

namespace {

constexpr int leafCapacity = 8;

bool overlaps(float const* first, float const* second) {
    return first[0] <= second[3] && second[0] <= first[3] && first[1] <= second[4] &&
           second[1] <= first[4] && first[2] <= second[5] && second[2] <= first[5];
}

bool holds(float const* outer, float const* inner) {
    return outer[0] <= inner[0] && inner[3] <= outer[3] && outer[1] <= inner[1] &&
           inner[4] <= outer[4] && outer[2] <= inner[2] && inner[5] <= outer[5];
}

float const* positionOf(float const* points, int index) {
    return points + 3 * static_cast<std::ptrdiff_t>(index);
}

bool holdsPoint(float const* box, float const* position) {
    return box[0] <= position[0] && position[0] <= box[3] && box[1] <= position[1] &&
           position[1] <= box[4] && box[2] <= position[2] && position[2] <= box[5];
}

void clear(float* box) {
    std::fill_n(box, 3, std::numeric_limits<float>::infinity());
    std::fill_n(box + 3, 3, -std::numeric_limits<float>::infinity());
}

void grow(float* box, float const* position) {
    for (int axis = 0; axis < 3; ++axis) {
        box[axis] = std::min(box[axis], position[axis]);
        box[axis + 3] = std::max(box[axis + 3], position[axis]);
    }
}

/// The axis on which the box is longest, -1 when it is a point.
signed char longestAxis(float const* box) {
    signed char longest = -1;
    double length = 0.0;
    for (signed char axis = 0; axis < 3; ++axis) {
        if (!(box[axis] < box[axis + 3]))
            continue;
        double const extent = static_cast<double>(box[axis + 3]) - box[axis];
        if (longest < 0 || extent > length) {
            longest = axis;
            length = extent;
        }
    }
    return longest;
}

}  // namespace

KDTree::KDTree(int capacity) {
    if (capacity > 0) {
        entries_.reserve(static_cast<std::size_t>(capacity));
        nodes_.reserve(static_cast<std::size_t>(capacity) / 3 + 1);
    }
    newNode();
}

void KDTree::insert(float const* points, int index) {
    float const* const position = positionOf(points, index);
    if (std::any_of(position, position + 3, [](float x) { return std::isnan(x); }))
        return;  // in no box, so never to be found

    int crowded = -1;
    for (int node = 0;;) {
        Node& record = nodes_[static_cast<std::size_t>(node)];
        grow(record.box, position);
        record.lowest = std::min(record.lowest, index);
        ++record.size;
        if (crowded < 0 && isCrowded(record))
            crowded = node;
        if (isLeaf(record)) {
            addEntry(record, index);
            break;
        }
        node = goesLeft(record, position) ? record.first : record.right;
    }
    if (crowded >= 0)
        rebuild(points, crowded);
}

int KDTree::search(float const* points, float const box[6]) const {
    int best = std::numeric_limits<int>::max();
    lowestIn(points, box, 0, best);
    return best < std::numeric_limits<int>::max() ? best : -1;
}

void KDTree::searchAll(float const* points, float const box[6], std::vector<int>& result) const {
    auto const numBefore = static_cast<std::ptrdiff_t>(result.size());
    allIn(points, box, 0, result);
    std::sort(result.begin() + numBefore, result.end());
}

bool KDTree::isCrowded(Node const& node) {
    return isLeaf(node) ? node.size > leafCapacity && longestAxis(node.box) >= 0
                        : node.size > 2 * static_cast<long long>(node.builtSize);
}

bool KDTree::goesLeft(Node const& node, float const* position) {
    return node.inclusive ? position[node.axis] <= node.split : position[node.axis] < node.split;
}

/// An empty leaf.
int KDTree::newNode() {
    int node = freeNode_;
    if (node >= 0) {
        freeNode_ = nodes_[static_cast<std::size_t>(node)].first;
    } else {
        node = static_cast<int>(nodes_.size());
        nodes_.emplace_back();
    }
    Node& record = nodes_[static_cast<std::size_t>(node)];
    record = {{}, std::numeric_limits<int>::max(), 0, 0, -1, -1, 0.0f, 0, false};
    clear(record.box);
    return node;
}

void KDTree::addEntry(Node& leaf, int point) {
    int entry = freeEntry_;
    if (entry >= 0) {
        freeEntry_ = entries_[static_cast<std::size_t>(entry)].next;
    } else {
        entry = static_cast<int>(entries_.size());
        entries_.emplace_back();
    }
    entries_[static_cast<std::size_t>(entry)] = {point, leaf.first};
    leaf.first = entry;
}

void KDTree::rebuild(float const* points, int node) {
    scratch_.clear();
    collect(node);
    build(points, node, scratch_.data(), scratch_.data() + scratch_.size());
}

/// Empties a part of the tree: its numbers to scratch_, its records but the topmost to the free
/// lists.
void KDTree::collect(int node) {
    Node const record = nodes_[static_cast<std::size_t>(node)];
    if (isLeaf(record)) {
        for (int entry = record.first; entry >= 0;) {
            Entry& taken = entries_[static_cast<std::size_t>(entry)];
            scratch_.push_back(taken.point);
            int const next = taken.next;
            taken.next = freeEntry_;
            freeEntry_ = entry;
            entry = next;
        }
        return;
    }
    for (int child : {record.first, record.right}) {
        collect(child);
        nodes_[static_cast<std::size_t>(child)].first = freeNode_;
        freeNode_ = child;
    }
}

/// Makes a node, whose old contents count no more, hold the given points.
void KDTree::build(float const* points, int node, int* begin, int* end) {
    Node record{};
    clear(record.box);
    record.size = record.builtSize = static_cast<int>(end - begin);
    record.lowest = *std::min_element(begin, end);
    record.first = record.right = -1;
    for (int const* index = begin; index < end; ++index)
        grow(record.box, positionOf(points, *index));

    record.axis = longestAxis(record.box);
    if (record.size <= leafCapacity || record.axis < 0) {
        for (int const* index = begin; index < end; ++index)
            addEntry(record, *index);
        nodes_[static_cast<std::size_t>(node)] = record;
        return;
    }

    int* const middle = begin + (end - begin) / 2;
    std::nth_element(begin, middle, end, [points, axis = record.axis](int i, int j) {
        return positionOf(points, i)[axis] < positionOf(points, j)[axis];
    });
    record.split = positionOf(points, *middle)[record.axis];
    record.inclusive = !(record.split > record.box[record.axis]);  // neither side may be empty
    int* const cut = std::partition(begin, end, [points, &record](int index) {
        return goesLeft(record, positionOf(points, index));
    });
    record.first = newNode();
    record.right = newNode();
    nodes_[static_cast<std::size_t>(node)] = record;
    build(points, record.first, begin, cut);
    build(points, record.right, cut, end);
}

void KDTree::lowestIn(float const* points, float const* box, int node, int& best) const {
    Node const& record = nodes_[static_cast<std::size_t>(node)];
    if (record.lowest >= best || !overlaps(box, record.box))
        return;
    if (holds(box, record.box)) {
        best = record.lowest;
        return;
    }
    if (isLeaf(record)) {
        for (int entry = record.first; entry >= 0;) {
            auto const [point, next] = entries_[static_cast<std::size_t>(entry)];
            if (point < best && holdsPoint(box, positionOf(points, point)))
                best = point;
            entry = next;
        }
        return;
    }
    bool const leftFirst = nodes_[static_cast<std::size_t>(record.first)].lowest <
                           nodes_[static_cast<std::size_t>(record.right)].lowest;
    lowestIn(points, box, leftFirst ? record.first : record.right, best);
    lowestIn(points, box, leftFirst ? record.right : record.first, best);
}

void KDTree::allIn(float const* points, float const* box, int node,
                   std::vector<int>& result) const {
    Node const& record = nodes_[static_cast<std::size_t>(node)];
    if (record.size == 0 || !overlaps(box, record.box))
        return;
    if (isLeaf(record)) {
        for (int entry = record.first; entry >= 0;) {
            auto const [point, next] = entries_[static_cast<std::size_t>(entry)];
            if (holdsPoint(box, positionOf(points, point)))
                result.push_back(point);
            entry = next;
        }
        return;
    }
    allIn(points, box, record.first, result);
    allIn(points, box, record.right, result);
}

}  // namespace koGeom
