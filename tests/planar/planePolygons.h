#pragma once

#include "support/builders.h"

#include "trimora/contract/koGeom/Polyline2d.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

/// Polygons of the plane and plain answers about them, for the tests of their relations. All are closed by a repeat of the first point.
namespace planar {

using namespace koGeom;
using Points = ko::vector<Point2>;

inline Points closed(Points points) {
    points.push_back(Point2(points.front()));
    return points;
}

inline Points reversed(Points points) {
    std::reverse(points.begin(), points.end());
    return points;
}

inline Points rectangle(double x0, double y0, double x1, double y1) {
    return closed({{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}});
}

/// With the parameters 0, 1, 2, ...
inline Polyline2d polylineOf(Points const& points) {
    Polyline2d polyline;
    for (Point2 const& point : points)
        polyline.appendVertex(point);
    return polyline;
}

inline Points pointsOf(Polyline2d const& polyline) {
    Points points;
    for (int i = 0; i < polyline.getNumVertices(); ++i)
        points.push_back(polyline.getVertex(i));
    return points;
}

/// Rising angles, which leave no gap of a half-turn.
inline std::vector<double> anglesAround(support::Random& random, int count) {
    std::vector<double> angles;
    double const turn = random.real(0.0, 2.0 * std::numbers::pi);
    for (int i = 0; i < count; ++i)
        angles.push_back(turn + 2.0 * std::numbers::pi * (i + random.real(0.05, 0.95)) / count);
    return angles;
}

/// Simple and counterclockwise, jagged, round the middle.
inline Points star(support::Random& random, int count, Point2 const& middle, double radius) {
    Points points;
    for (double const angle : anglesAround(random, count)) {
        double const r = radius * random.real(0.3, 1.0);
        points.emplace_back(middle.x + r * std::cos(angle), middle.y + r * std::sin(angle));
    }
    return closed(points);
}

/// Convex and counterclockwise, with corners on a circle.
inline Points convex(support::Random& random, int count, Point2 const& middle, double radius) {
    Points points;
    for (double const angle : anglesAround(random, count))
        points.emplace_back(middle.x + radius * std::cos(angle),
                            middle.y + radius * std::sin(angle));
    return closed(points);
}

inline double areaOf(Points const& points) {
    double twice = 0.0;
    for (std::size_t i = 0; i + 1 < points.size(); ++i)
        twice += cross(points[i] - points[0], points[i + 1] - points[0]);
    return 0.5 * twice;
}

/// What of a polygon lies to the left of the line from a to b.
inline Points leftPart(Points const& polygon, Point2 const& a, Point2 const& b) {
    Points kept;
    for (std::size_t i = 0; i + 1 < polygon.size(); ++i) {
        double const start = cross(b - a, polygon[i] - a);
        double const end = cross(b - a, polygon[i + 1] - a);
        if (start >= 0.0)
            kept.push_back(polygon[i]);
        if ((start >= 0.0) != (end >= 0.0))
            kept.push_back(polygon[i] + start / (start - end) * (polygon[i + 1] - polygon[i]));
    }
    return kept.empty() ? kept : closed(kept);
}

/// The part of a polygon in a convex, counterclockwise one.
inline Points clipped(Points polygon, Points const& window) {
    for (std::size_t i = 0; i + 1 < window.size(); ++i)
        polygon = leftPart(polygon, window[i], window[i + 1]);
    return polygon;
}

inline double distanceToEdge(Point2 const& p, Point2 const& a, Point2 const& b) {
    double const length2 = (b - a).length2();
    double const t = length2 > 0.0 ? std::clamp(dot(p - a, b - a) / length2, 0.0, 1.0) : 0.0;
    return distance(p, a + t * (b - a));
}

inline double distanceToBoundary(Point2 const& p, Points const& polygon) {
    double nearest = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i + 1 < polygon.size(); ++i)
        nearest = std::min(nearest, distanceToEdge(p, polygon[i], polygon[i + 1]));
    return nearest;
}

/// How often the polygon runs round the point, by the angles.
inline int windingNumber(Point2 const& p, Points const& polygon) {
    double turn = 0.0;
    for (std::size_t i = 0; i + 1 < polygon.size(); ++i) {
        Vector2 const v = polygon[i] - p;
        Vector2 const w = polygon[i + 1] - p;
        turn += std::atan2(cross(v, w), dot(v, w));
    }
    return static_cast<int>(std::lround(turn / (2.0 * std::numbers::pi)));
}

/// Coordinates that hostile input is made of.
inline double hostileNumber(support::Random& random) {
    double const numbers[] = {0.0,
                              1.0,
                              -1.0,
                              0.5,
                              1e300,
                              -1e300,
                              1e-300,
                              std::numeric_limits<double>::infinity(),
                              -std::numeric_limits<double>::infinity(),
                              std::numeric_limits<double>::quiet_NaN()};
    return numbers[random.index(10)];
}

inline Points hostilePolygon(support::Random& random, int maxCount) {
    Points points;
    bool const isWild = random.index(2) == 0;
    for (int i = random.index(maxCount); i >= 0; --i)
        points.emplace_back(isWild ? hostileNumber(random) : random.index(4),
                            isWild ? hostileNumber(random) : random.index(4));
    return random.index(4) == 0 ? points : closed(points);
}

}  // namespace planar
