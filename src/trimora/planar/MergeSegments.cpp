#include "trimora/planar/MergeSegments.h"

#include "trimora/planar/detail/SegmentEnds.h"

#include <algorithm>

// A chain starts as one segment and takes in the segments that go on from its ends, one request to the tree of loose ends a
// step. Used segments leave the tree, which keeps stars and heaps of coincident segments from costing their square.

namespace koGeom {

namespace {

/// Follows the segments on from a chain's tip as far as they go, and lists the points that they add.
void grow(detail::SegmentEnds& ends, PointFlt tip, PointFlt before, float tolerance,
          ko::vector<PointFlt>& added) {
    added.clear();
    for (int end = ends.next(tip, before, tolerance); end >= 0;
         end = ends.next(tip, before, tolerance)) {
        ends.use(end / 2);
        before = tip;
        tip = ends.position(detail::SegmentEnds::partner(end));
        added.push_back(tip);
    }
}

ko::Reference<Polyline> makePolyline(ko::vector<PointFlt> const& chain) {
    ko::vector<Polyline::vertex> vertices;
    vertices.reserve(chain.size());
    for (PointFlt const& point : chain)
        vertices.emplace_back(Point(point), static_cast<double>(vertices.size()));
    return new Polyline(static_cast<int>(vertices.size()), vertices.data());
}

}  // namespace

void MergeSegments::operator()(ko::vector<ko::Reference<Polyline>>& result,
                               std::deque<Segment> const& segments, float tolerance) const {
    result.clear();
    detail::SegmentEnds ends(segments);

    ko::vector<PointFlt> chain;
    ko::vector<PointFlt> added;
    int const numSegments = static_cast<int>(segments.size());
    for (int i = 0; i < numSegments; ++i) {
        if (ends.isUsed(i))
            continue;
        ends.use(i);
        PointFlt const start = ends.position(2 * i);
        PointFlt const end = ends.position(2 * i + 1);

        grow(ends, start, end, tolerance, added);
        chain.assign(added.rbegin(), added.rend());
        chain.push_back(start);
        chain.push_back(end);
        grow(ends, end, start, tolerance, added);
        chain.insert(chain.end(), added.begin(), added.end());
        result.push_back(makePolyline(chain));
    }
}

}  // namespace koGeom
