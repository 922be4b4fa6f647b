#include "trimora/contract/koGeom/Polyline2d.h"
#include "trimora/contract/koLinear/lines.h"
#include "trimora/planar/detail/Outline.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>

// Segments against polygons: the points common with the edges, then a table by their number and where the ends lie.

namespace koGeom {

namespace {

// Edges beyond this box cannot meet the segment: it is wider than what the test allows for, and than rounding.
Range2d searchBox(Point2 const& a, Point2 const& b, Range2d const& polygon, double tolerance) {
    Range2d box(std::min(a.x, b.x), std::min(a.y, b.y), std::max(a.x, b.x), std::max(a.y, b.y));
    double const size =
        std::max({std::abs(polygon.lower.x), std::abs(polygon.lower.y), std::abs(polygon.upper.x),
                  std::abs(polygon.upper.y), std::abs(box.lower.x), std::abs(box.lower.y),
                  std::abs(box.upper.x), std::abs(box.upper.y)});
    double const reach = 4.0 * std::max(tolerance, 0.0) + 1e-12 * size;
    return {box.lower.x - reach, box.lower.y - reach, box.upper.x + reach, box.upper.y + reach};
}

void printTooMany(ko::vector<Point2> const& points) {
    std::cout << "Too many intersection points!\n"
              << "polygon:\n";
    for (std::size_t i = 0; i < points.size(); ++i) {
        char line[700];  // %f of the largest double takes 317 characters
        std::snprintf(line, sizeof line, "intersectionPoint[%d]: (%f, %f)\n", static_cast<int>(i),
                      points[i].x, points[i].y);
        std::cout << line;
    }
}

ELineSegmentPolygonIntersection statusOf(std::size_t numPoints, pointPolygonRelation a,
                                         pointPolygonRelation b) {
    bool const bothOutside = a == pointOutside && b == pointOutside;
    bool const bothInside = a == pointInside && b == pointInside;
    bool const oneInside = (a == pointInside) != (b == pointInside);
    bool const oneOutside = (a == pointOutside) != (b == pointOutside);
    switch (numPoints) {
    case 0:
        return bothOutside ? segmentOutside : bothInside ? segmentInside : segmentUndetermined;
    case 1:
        return oneInside                   ? segmentCrossing
               : bothOutside || oneOutside ? segmentTouching
                                           : segmentUndetermined;
    case 2:
        return segmentCrossing;
    default:
        return segmentUndetermined;
    }
}

}  // namespace

void intersectLineSegmentWithPolygon(Point2 const& a, Point2 const& b, Polyline2d const& polygon,
                                     ELineSegmentPolygonIntersection& status,
                                     ko::vector<Point2>& points, ko::vector<double>& parameters,
                                     double tolerance) {
    detail::meetSegment(a, b, detail::Outline(polygon), status, points, parameters, tolerance);
}

void detail::meetSegment(Point2 const& a, Point2 const& b, Outline const& outline,
                         ELineSegmentPolygonIntersection& status, ko::vector<Point2>& points,
                         ko::vector<double>& parameters, double tolerance) {
    points.clear();
    parameters.clear();
    Range2d const box = searchBox(a, b, outline.box, tolerance);
    for (std::size_t i = 0; i < outline.numEdges(); ++i) {
        Point2 const& start = outline.points[i];
        Point2 const& end = outline.points[i + 1];
        double t = 0.0;
        Point2 point;
        bool unique = true;
        if (areBeyond(box, start, end) ||
            !doLineSegmentsIntersect(start, end, a, b, t, point, unique, tolerance))
            continue;
        double const parameter = static_cast<double>(i) + t;
        if (!unique) {
            points.clear();
            parameters.assign(1, parameter);
            status = segmentAlongEdge;
            return;
        }
        bool const isKnown = std::any_of(points.begin(), points.end(), [&](Point2 const& known) {
            return equivalent(point, known, tolerance);
        });
        if (isKnown)
            continue;
        points.push_back(point);
        parameters.push_back(parameter);
        if (points.size() > 2)
            printTooMany(points);
    }
    status = statusOf(points.size(), relationTo(outline, a, tolerance),
                      relationTo(outline, b, tolerance));
}

}  // namespace koGeom
