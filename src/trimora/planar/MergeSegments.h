#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/Polyline.h"
#include "trimora/export.h"

#include <deque>

namespace koGeom {

/// A straight line between two points.
struct Segment {
    float start[3];  // x, y, z
    float end[3];

    /// Leaves the values unset.
    Segment() {}
    Segment(float const* const from, float const* const to)
        : start{from[0], from[1], from[2]}, end{to[0], to[1], to[2]} {}
    /// Narrows.
    Segment(double const* from, double const* to)
        : start{static_cast<float>(from[0]), static_cast<float>(from[1]),
                static_cast<float>(from[2])},
          end{static_cast<float>(to[0]), static_cast<float>(to[1]), static_cast<float>(to[2])} {}
};

/// Chains loose segments, in any direction and any order, into polylines.
///
/// result      out: replaced. Every segment is in one polyline or repeats one that is; the parameter
///             of a vertex is its place in the polyline, from 0. A closed loop repeats its first
///             point at the end.
/// segments    what has a NaN coordinate joins nothing at that end
/// tolerance   half the width of the box round an end in which the next point is looked for; in
///             addition the square of the distance must be below twice the tolerance, so a tolerance
///             above 2/3 reaches less far than its box. 0 joins nothing; below 0, or NaN, neither.
/// chains      begin with the first segment that is left and grow at its start until nothing goes on
///             there, then at its end. The nearest of the free points is next, and the segment's
///             other end goes into the chain; the near one is dropped. Among equally near ones the
///             segment that comes first is taken.
/// duplicates  a free segment that leads from the chain's end back to the vertex before it, within a
///             hundredth of the shorter of the two, is left out
/// cost        O(n log n) for n segments, coincident ones and stars included; 130 bytes a segment
class TRIMORA_API MergeSegments {
public:
    void operator()(ko::vector<ko::Reference<Polyline>>& result,
                    std::deque<Segment> const& segments, float tolerance) const;
};

}  // namespace koGeom
