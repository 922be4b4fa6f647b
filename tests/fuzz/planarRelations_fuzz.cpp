// Polygons of lattice points: where points lie to them by winding numbers, segments by the points along them, and what convex
// ones have in common by clipping. Of any others the walk ends.

#include "fuzzMesh.h"
#include "planar/planePolygons.h"

#include "trimora/planar/convexHull2d.h"
#include "trimora/planar/polygonRelations.h"

#include <iostream>

using namespace planar;

namespace {

constexpr double tolerance = 1e-6;

double coordinateFrom(fuzz::Bytes& bytes, bool isHard) {
    double const hard[] = {0.0,    1.0,
                           -1.0,   0.5,
                           1e300,  -1e300,
                           1e-300, std::numeric_limits<double>::infinity(),
                           2.0,    std::numeric_limits<double>::quiet_NaN()};
    int const place = bytes.next();
    return isHard ? hard[place % 10] : 0.5 * (place % 12);
}

Points pointsFrom(fuzz::Bytes& bytes, bool isHard) {
    Points points;
    for (int i = bytes.index(12); i >= 0; --i) {
        double const x = coordinateFrom(bytes, isHard);
        points.emplace_back(x, coordinateFrom(bytes, isHard));
    }
    return points;
}

void requirePointRelation(Point2 const& p, Points const& polygon) {
    pointPolygonRelation relation = pointOutside, ofPolyline = pointOutside;
    isPointInPolygon(p, polygon, relation, tolerance);
    intersectPointWithPolygon(p, polylineOf(polygon), ofPolyline, tolerance);
    fuzz::require(relation == ofPolyline, "points and polyline disagree");
    double const gap = distanceToBoundary(p, polygon);
    if (gap < 1e-9)
        fuzz::require(relation == pointOnBoundary, "a point of the boundary is not on it");
    if (gap > 1e-3)
        fuzz::require(relation == (windingNumber(p, polygon) % 2 != 0 ? pointInside : pointOutside),
                      "inside and outside are mixed up");
}

void requireSegmentRelation(Point2 const& a, Point2 const& b, Points const& polygon) {
    ELineSegmentPolygonIntersection status = segmentUndetermined;
    Points points;
    ko::vector<double> parameters;
    intersectLineSegmentWithPolygon(a, b, polylineOf(polygon), status, points, parameters,
                                    tolerance);
    for (Point2 const& p : points)
        fuzz::require(distanceToBoundary(p, polygon) < 1e-3, "a common point off the boundary");
    if (status != segmentOutside && status != segmentInside)
        return;
    for (int i = 0; i <= 16; ++i) {
        Point2 const p = a + i / 16.0 * (b - a);
        if (distanceToBoundary(p, polygon) > 1e-3)
            fuzz::require((windingNumber(p, polygon) % 2 != 0) == (status == segmentInside),
                          "a segment is not where it is said to be");
    }
}

Polyline2d commonOf(Points const& first, Points const& second, EPolygonsIntersection& status) {
    Polyline2d result;
    intersectPolygons(polylineOf(first), polylineOf(second), status, result, tolerance);
    return result;
}

void requireClippedArea(Points const& first, Points const& second) {
    Points a, b;
    koGeom::convexHull2d(first, a);
    koGeom::convexHull2d(second, b);
    if (a.size() < 3 || b.size() < 3)
        return;
    EPolygonsIntersection status = polygonsInvalid;
    Polyline2d const common = commonOf(closed(a), closed(b), status);
    double const expected = areaOf(clipped(closed(a), closed(b)));
    fuzz::require(std::abs(std::abs(areaOf(pointsOf(common))) - expected) < 1e-6,
                  "convex polygons share another area");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::cout.setstate(std::ios_base::failbit);  // what the relations print of many crossings
    fuzz::Bytes bytes(data, size);
    bool const isHard = (bytes.next() & 1) != 0;
    Points const first = pointsFrom(bytes, isHard);
    Points const second = pointsFrom(bytes, isHard);
    EPolygonsIntersection status = polygonsInvalid;
    Polyline2d const common = commonOf(closed(first), closed(second), status);
    fuzz::require(status >= polygonsInvalid && status <= polygonsOverlapping, "no such status");
    fuzz::require(common.getNumVertices() == 0 || common.getClosed(), "an open result");
    if (isHard)
        return 0;
    for (std::size_t i = 0; i < second.size(); ++i) {
        requirePointRelation(second[i], closed(first));
        requireSegmentRelation(second[i], second[(i + 1) % second.size()], closed(first));
    }
    requireClippedArea(first, second);
    return 0;
}
