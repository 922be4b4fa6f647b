#include "trimora/planar/detail/SegmentEnds.h"

#include "trimora/planar/MergeSegments.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

// A k-d tree over (end, partner), split at the median of the longest side of the ends' box, or of the partners' box where the
// ends are one point. Bounds are taken with the same operations as the distances that they bound, and rounding is monotone: so
// a bound is never above a distance below it, and the outcome is that of looking at every end, bit for bit.

namespace koGeom::detail {

namespace {

constexpr int leafCapacity = 8;
constexpr double repeatReach = 0.01;  // of the shorter of the two segments

bool hasNaN(PointFlt const& p) {
    return std::isnan(p.x) || std::isnan(p.y) || std::isnan(p.z);
}

bool isFinite(PointFlt const& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

float component(PointFlt const& p, int axis) {
    return axis == 0 ? p.x : axis == 1 ? p.y : p.z;
}

/// How far a value lies outside of an interval.
double gap(float lower, float upper, float value) {
    return std::max({static_cast<double>(lower) - value, static_cast<double>(value) - upper, 0.0});
}

}  // namespace

struct SegmentEnds::Box {
    PointFlt lower{infinity, infinity, infinity};
    PointFlt upper{-infinity, -infinity, -infinity};

    static constexpr float infinity = std::numeric_limits<float>::infinity();

    void include(PointFlt const& p) {
        lower = {std::min(lower.x, p.x), std::min(lower.y, p.y), std::min(lower.z, p.z)};
        upper = {std::max(upper.x, p.x), std::max(upper.y, p.y), std::max(upper.z, p.z)};
    }
    bool contains(PointFlt const& p) const {
        return p.x >= lower.x && p.x <= upper.x && p.y >= lower.y && p.y <= upper.y &&
               p.z >= lower.z && p.z <= upper.z;
    }
    Vector gapTo(PointFlt const& p) const {
        return {gap(lower.x, upper.x, p.x), gap(lower.y, upper.y, p.y), gap(lower.z, upper.z, p.z)};
    }
    /// Whether some place of the box differs from p by no more than `reach` on each axis.
    bool isWithin(double reach, PointFlt const& p) const {
        Vector const apart = gapTo(p);
        return apart.x <= reach && apart.y <= reach && apart.z <= reach;
    }
    /// -1 when the box is a point, or empty.
    int longestAxis() const {
        int longest = -1;
        double extent = 0.0;
        for (int axis = 0; axis < 3; ++axis) {
            double const side =
                static_cast<double>(component(upper, axis)) - component(lower, axis);
            if (side > extent) {
                extent = side;
                longest = axis;
            }
        }
        return longest;
    }
};

struct SegmentEnds::Node {
    Box at;      ///< of the ends below
    Box other;   ///< of their partners, NaN left out
    int lowest;  ///< unused segment below; the largest int when there is none
};

/// One request, and the best answer so far.
struct SegmentEnds::Search {
    PointFlt tip;
    PointFlt before;
    Normal arrival;  ///< from `before` to the tip
    double span;     ///< between the two
    Box box;
    double nearest2;  ///< what an answer must be below, or at with a lower number
    int segment = -1;
    int end = -1;

    Search(PointFlt const& chainTip, PointFlt const& vertexBefore, float tolerance)
        : tip(chainTip),
          before(vertexBefore),
          arrival(Point(tip) - Point(before)),
          span(distance(tip, before)) {
        box.lower = {tip.x - tolerance, tip.y - tolerance, tip.z - tolerance};
        box.upper = {tip.x + tolerance, tip.y + tolerance, tip.z + tolerance};
        // The limit of an answer is a length compared with squares; beyond the corners of the box there is none either.
        double const corner2 = std::max(distance2(tip, box.lower), distance2(tip, box.upper));
        nearest2 = std::min(2.0 * static_cast<double>(tolerance),
                            std::nextafter(corner2, std::numeric_limits<double>::infinity()));
    }

    bool isNearer(double distance2ToTip, int number) const {
        return distance2ToTip < nearest2 || (distance2ToTip == nearest2 && number < segment);
    }
    bool mayRepeat(Node const& node) const {
        double const reach = repeatReach * span;
        return arrival.valid && node.at.isWithin(reach, tip) && node.other.isWithin(reach, before);
    }
    bool repeats(Entry const& entry) const;
    bool isNearEnd(Entry const& entry, double distance2ToTip) const;
};

/// Whether the segment leads back the way that the chain came.
bool SegmentEnds::Search::repeats(Entry const& entry) const {
    Normal const onward(Point(entry.other) - Point(entry.at));
    if (!(dot(onward, arrival) < 0.0))
        return false;
    double const reach = repeatReach * std::min(span, distance(entry.other, entry.at));
    return equivalent(Point(tip), Point(entry.at), reach) &&
           equivalent(Point(before), Point(entry.other), reach);
}

/// Whether the entry stands for its segment here: it is the nearer end, and one of the two lies in the box. Of equally near ones
/// it is the first that lies in the box.
bool SegmentEnds::Search::isNearEnd(Entry const& entry, double distance2ToTip) const {
    double const other2 = distance2(tip, entry.other);
    if (other2 < distance2ToTip)
        return false;
    bool const isInside = box.contains(entry.at);
    bool const isOtherInside = box.contains(entry.other);
    if (other2 == distance2ToTip)
        return isInside && !(isOtherInside && entry.end % 2 == 1);
    return isInside || isOtherInside;
}

SegmentEnds::SegmentEnds(std::deque<Segment> const& segments) {
    positions_.reserve(2 * segments.size());
    for (Segment const& segment : segments) {
        positions_.emplace_back(segment.start[0], segment.start[1], segment.start[2]);
        positions_.emplace_back(segment.end[0], segment.end[1], segment.end[2]);
    }
    used_.resize(segments.size(), 0);
    leafOfEnd_.resize(positions_.size(), -1);

    int const numEnds = static_cast<int>(positions_.size());
    entries_.reserve(positions_.size());
    for (int end = 0; end < numEnds; ++end)
        if (!hasNaN(position(end)))
            entries_.push_back({position(end), position(partner(end)), end});

    std::size_t numLeaves = 1;
    while (numLeaves * leafCapacity < entries_.size())
        numLeaves *= 2;
    nodes_.resize(2 * numLeaves - 1);
    leafStarts_.reserve(numLeaves + 1);
    build(0, entries_.data(), entries_.data() + entries_.size());
    leafStarts_.push_back(static_cast<int>(entries_.size()));
}

SegmentEnds::~SegmentEnds() = default;

bool SegmentEnds::isLeaf(int node) const {
    return static_cast<std::size_t>(node) >= nodes_.size() / 2;
}

std::span<SegmentEnds::Entry const> SegmentEnds::entriesOf(int leaf) const {
    std::size_t const rank = static_cast<std::size_t>(leaf) - nodes_.size() / 2;
    auto const begin = static_cast<std::size_t>(leafStarts_[rank]);
    return {entries_.data() + begin, static_cast<std::size_t>(leafStarts_[rank + 1]) - begin};
}

/// Orders the entries of a part of the tree and describes its nodes, leaves from left to right.
void SegmentEnds::build(int number, Entry* begin, Entry* end) {
    Node& node = nodes_[static_cast<std::size_t>(number)];
    node.lowest = noSegment;
    for (Entry const* entry = begin; entry < end; ++entry) {
        node.at.include(entry->at);
        node.other.include(entry->other);
        node.lowest = std::min(node.lowest, entry->end / 2);
    }
    if (isLeaf(number)) {
        leafStarts_.push_back(static_cast<int>(begin - entries_.data()));
        for (Entry const* entry = begin; entry < end; ++entry)
            leafOfEnd_[static_cast<std::size_t>(entry->end)] = number;
        return;
    }

    Entry* const middle = begin + (end - begin) / 2;
    int const atAxis = node.at.longestAxis();
    int const otherAxis = node.other.longestAxis();
    if (atAxis >= 0)
        std::nth_element(begin, middle, end, [atAxis](Entry const& a, Entry const& b) {
            return component(a.at, atAxis) < component(b.at, atAxis);
        });
    else if (otherAxis >= 0)
        std::nth_element(begin, middle, end, [otherAxis](Entry const& a, Entry const& b) {
            float const x = component(a.other, otherAxis);
            float const y = component(b.other, otherAxis);
            return std::isnan(x) ? !std::isnan(y) : x < y;  // NaN comes first
        });
    build(2 * number + 1, begin, middle);
    build(2 * number + 2, middle, end);
}

void SegmentEnds::use(int segment) {
    used_[static_cast<std::size_t>(segment)] = 1;
    for (int const end : {2 * segment, 2 * segment + 1}) {
        int const leaf = leafOfEnd_[static_cast<std::size_t>(end)];
        if (leaf >= 0)
            setLowest(leaf, lowestOfLeaf(leaf));
    }
}

int SegmentEnds::lowestOfLeaf(int leaf) const {
    int lowest = noSegment;
    for (Entry const& entry : entriesOf(leaf))
        if (!isUsed(entry.end / 2))
            lowest = std::min(lowest, entry.end / 2);
    return lowest;
}

/// Sets a node's lowest number, and what follows from it further up.
void SegmentEnds::setLowest(int number, int lowest) {
    while (nodes_[static_cast<std::size_t>(number)].lowest != lowest) {
        nodes_[static_cast<std::size_t>(number)].lowest = lowest;
        if (number == 0)
            return;
        number = (number - 1) / 2;
        lowest = std::min(nodes_[static_cast<std::size_t>(2 * number + 1)].lowest,
                          nodes_[static_cast<std::size_t>(2 * number + 2)].lowest);
    }
}

int SegmentEnds::next(PointFlt const& tip, PointFlt const& before, float tolerance) {
    if (!(tolerance >= 0.0f) || !isFinite(tip))
        return -1;
    Search search(tip, before, tolerance);
    visit(search, 0);
    return search.end;
}

void SegmentEnds::visit(Search& search, int number) {
    Node const& node = nodes_[static_cast<std::size_t>(number)];
    if (node.lowest == noSegment)
        return;
    if (!search.isNearer(node.at.gapTo(search.tip).length2(), node.lowest) &&
        !search.mayRepeat(node))
        return;

    if (isLeaf(number)) {
        for (Entry const& entry : entriesOf(number))
            if (!isUsed(entry.end / 2))
                offer(search, entry);
        return;
    }
    auto const rank = [this, &search](int child) {
        Node const& below = nodes_[static_cast<std::size_t>(child)];
        return std::pair(below.at.gapTo(search.tip).length2(), below.lowest);
    };
    int const left = 2 * number + 1;
    int const right = left + 1;
    bool const leftFirst = rank(left) <= rank(right);
    visit(search, leftFirst ? left : right);
    visit(search, leftFirst ? right : left);
}

void SegmentEnds::offer(Search& search, Entry const& entry) {
    double const distance2ToTip = distance2(search.tip, entry.at);
    if (!search.isNearEnd(entry, distance2ToTip))
        return;
    int const segment = entry.end / 2;
    if (search.repeats(entry)) {
        use(segment);
    } else if (search.isNearer(distance2ToTip, segment)) {
        search.nearest2 = distance2ToTip;
        search.segment = segment;
        search.end = entry.end;
    }
}

}  // namespace koGeom::detail
