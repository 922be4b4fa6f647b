#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"

#include <deque>
#include <limits>
#include <span>

namespace koGeom {

struct Segment;

namespace detail {

/// The ends of loose segments in a tree that gives the next one to a chain's tip, and forgets segments as they are used.
///
/// End 2 i is the start of segment i, end 2 i + 1 is where it ends. Each entry of the tree holds an end together with its
/// partner, and where ends coincide the tree goes on by the partners: so in a star of a million spokes a repeated one is found
/// at once. The tree is built once, balanced; a part of it without unused segments is not entered any more.
class SegmentEnds {
public:
    explicit SegmentEnds(std::deque<Segment> const& segments);
    ~SegmentEnds();

    bool isUsed(int segment) const { return used_[static_cast<std::size_t>(segment)] != 0; }
    void use(int segment);
    PointFlt const& position(int end) const { return positions_[static_cast<std::size_t>(end)]; }
    static int partner(int end) { return end ^ 1; }

    /// The end at which a chain goes on that comes from `before` to `tip`, or -1.
    ///
    /// Looks at the unused segments with an end in the box of half the width `tolerance` round the tip. Those that repeat the way
    /// back are used up. Of the others it takes the one whose nearer end is nearest, if the square of that distance is below
    /// twice the tolerance; the lowest number among equals. O(log n) as a rule, however many ends coincide.
    int next(PointFlt const& tip, PointFlt const& before, float tolerance);

private:
    static constexpr int noSegment = std::numeric_limits<int>::max();

    struct Box;
    struct Node;
    struct Search;
    struct Entry {
        PointFlt at;
        PointFlt other;
        int end;
    };

    bool isLeaf(int node) const;
    std::span<Entry const> entriesOf(int leaf) const;
    void build(int node, Entry* begin, Entry* end);
    int lowestOfLeaf(int leaf) const;
    void setLowest(int node, int lowest);
    void visit(Search& search, int node);
    void offer(Search& search, Entry const& entry);

    ko::vector<PointFlt> positions_;
    ko::vector<char> used_;
    ko::vector<Entry> entries_;   ///< in the order of the leaves
    ko::vector<Node> nodes_;      ///< root first; the children of i are 2 i + 1 and 2 i + 2
    ko::vector<int> leafStarts_;  ///< first entry of each leaf, and behind the last
    ko::vector<int> leafOfEnd_;   ///< node number; -1 for an end that is in no box
};

}  // namespace detail
}  // namespace koGeom
