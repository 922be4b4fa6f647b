#pragma once

#include "trimora/contract/koLinear/ranges.h"
#include "trimora/planar/polygonRelations.h"

/// What the relations of polygons share.
namespace koGeom::detail {

/// Tolerance of the steps that have no tolerance of their own.
constexpr double stepTolerance = 1e-6;

/// A polygon with its closing vertex, whether it came with one or not.
struct Outline {
    explicit Outline(Polyline2d const& polygon);

    ko::vector<Point2> points;  // the last one repeats the first
    Range2d box;

    std::size_t numEdges() const { return points.empty() ? 0 : points.size() - 1; }
    /// Above 0 when it is wound counterclockwise.
    double area() const;
};

pointPolygonRelation relationTo(Outline const& outline, Point2 const& point, double tolerance);

/// As intersectLineSegmentWithPolygon tells.
void meetSegment(Point2 const& a, Point2 const& b, Outline const& outline,
                 ELineSegmentPolygonIntersection& status, ko::vector<Point2>& points,
                 ko::vector<double>& parameters, double tolerance);

/// True when both ends lie beyond the box on one same side of it; false when that cannot be told for NaN.
inline bool areBeyond(Range2d const& box, Point2 const& p, Point2 const& q) {
    return (p.x < box.lower.x && q.x < box.lower.x) || (p.x > box.upper.x && q.x > box.upper.x) ||
           (p.y < box.lower.y && q.y < box.lower.y) || (p.y > box.upper.y && q.y > box.upper.y);
}

}  // namespace koGeom::detail
