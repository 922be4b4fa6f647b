#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/lines.h"

namespace koGeom::detail {

/// A segment of the first polyline, made ready for many of the second one.
struct SegmentOfA {
    double length;
    ParamLine line;  // parameter 0 to 1
    ParamLine rule;  // from the same point, with a length as its parameter

    SegmentOfA(Point const& start, Point const& end)
        : length(distance(start, end)),
          line(start, end),
          rule(start, Normal(end - start).asVector()) {}
};

/// The common stretch of two segments, in fractions of both: t0 to t1 on the first, u0 to u1 on the second.
struct SegmentOverlap {
    double t0 = 0.0, t1 = 0.0;
    double u0 = 0.0, u1 = 0.0;
    double area = 0.0;
    double maxDistance = 0.0;
};

/// Finds where a segment runs within a distance of the segment q0-q1: inside of a cylinder round it, and beside it.
///
/// radius         of the cylinder
/// mayExtendEnds  closes a small gap where one segment ends shortly before the other one does
/// overlap        out: written only when the result is true
/// returns        false when they share no length, or drift apart by 1.1 times the radius
bool overlapSegments(SegmentOfA const& a, Point const& q0, Point const& q1, double radius,
                     bool mayExtendEnds, SegmentOverlap& overlap);

}  // namespace koGeom::detail
