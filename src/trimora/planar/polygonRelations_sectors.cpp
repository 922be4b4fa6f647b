#include "trimora/contract/koGeom/Polyline2d.h"
#include "trimora/contract/koLinear/lines.h"
#include "trimora/planar/detail/Outline.h"

#include <cmath>
#include <utility>

// Sectors: what is swept counterclockwise from direction a to direction b.

namespace koGeom {

namespace {

using detail::stepTolerance;

// Alike: nothing but the ray. Opposed: the half plane to the left of a, with the line of both as its boundary.
EPointSectorIntersection placeInFlatSector(double cosine, double ca, double cb, double alongA) {
    bool const onA = std::abs(ca) < epsilonTol;
    bool const onB = std::abs(cb) < epsilonTol;
    if (cosine > 0.0)
        return onA && alongA > 0.0 ? pointOnSectorBoundary : pointOutsideSector;
    if (onA || onB)
        return pointOnSectorBoundary;
    return ca > 0.0 && cb > 0.0 ? pointInsideSector : pointOutsideSector;
}

EPointSectorIntersection placeInSector(Vector2 const& a, Vector2 const& b, Vector2 const& w) {
    double const ca = cross(a, w);
    double const cb = cross(w, b);
    double const cab = cross(a, b);
    if (std::abs(cab) < epsilonTol)
        return placeInFlatSector(dot(a, b), ca, cb, dot(a, w));

    bool const onA = std::abs(ca) < epsilonTol && dot(a, w) > 0.0;
    bool const onB = std::abs(cb) < epsilonTol && dot(b, w) > 0.0;
    if (onA || onB)
        return pointOnSectorBoundary;
    if (cab > 0.0 && ca > 0.0 && cb > 0.0)
        return pointInsideSector;
    bool const isWide = cab < 0.0;
    return isWide && (ca >= 0.0 || cb >= 0.0) ? pointInsideSector : pointOutsideSector;
}

bool areDirections(Vector2 const& a, Vector2 const& b) {
    return !(a.length() < epsilonTol) && !(b.length() < epsilonTol);
}

// Points in the order of their adding, equals left out; sorted by x beside it, so that equals are found at once.
class DistinctPoints {
public:
    void add(Point2 const& point) {
        if (isKnown(point))
            return;
        points_.push_back(point);
        // Equal to nothing, and without a place in the order.
        if (!std::isnan(point.x))
            byX_.emplace(point.x, point);
    }
    ko::vector<Point2> const& points() const { return points_; }

private:
    bool isKnown(Point2 const& point) const {
        for (auto it = byX_.lower_bound(point.x - 2.0 * epsilonTol);
             it != byX_.end() && it->first <= point.x + 2.0 * epsilonTol; ++it)
            if (equivalent(it->second, point, epsilonTol))
                return true;
        return false;
    }

    ko::vector<Point2> points_;
    ko::multimap<double, Point2> byX_;
};

class SectorClip {
public:
    SectorClip(Point2 const& apex, Vector2 const& a, Vector2 const& b, Polyline2d const& polygon)
        : apex_(apex), a_(a), b_(b), polygon_(polygon) {
        if (!polygon.getClosed())
            polygon_.appendVertex(Point2(polygon.getFirstVertex()));
        pointPolygonRelation relation = pointOutside;
        intersectPointWithPolygon(apex, polygon, relation, stepTolerance);
        apexIsMissing_ = relation != pointOutside;
    }

    ko::vector<Point2> const& run() {
        EPointSectorIntersection start = placeOf(0);
        for (int i = 0; i + 1 < polygon_.getNumVertices(); ++i) {
            EPointSectorIntersection const end = placeOf(i + 1);
            clipEdge(i, start, end);
            start = end;
        }
        return points_.points();
    }

private:
    EPointSectorIntersection placeOf(int vertex) const {
        EPointSectorIntersection place = pointSectorInvalid;
        isPointInsideSector(polygon_.getVertex(vertex), apex_, a_, b_, place, stepTolerance);
        return place;
    }

    void clipEdge(int edge, EPointSectorIntersection start, EPointSectorIntersection end) {
        if (start != pointOutsideSector)
            points_.add(polygon_.getVertex(edge));
        bool const isHit = addCuts(edge);
        if (end != pointOutsideSector)
            points_.add(polygon_.getVertex(edge + 1));
        if (apexIsMissing_ && isHit && end != pointInsideSector) {
            points_.add(apex_);
            apexIsMissing_ = false;
        }
    }

    // Where the rays cut the edge, in its direction. Whether one of them meets it at all.
    bool addCuts(int edge) {
        Cut cutA = cut(edge, a_);
        Cut cutB = cut(edge, b_);
        if (cutB.fraction < cutA.fraction)
            std::swap(cutA, cutB);
        for (Cut const& each : {cutA, cutB})
            if (each.isHit && each.isPoint)
                points_.add(eval(edge, each.fraction));
        return cutA.isHit || cutB.isHit;
    }

    struct Cut {
        bool isHit = false;
        bool isPoint = true;  // not along the edge
        double fraction = 0.0;
    };
    Cut cut(int edge, Vector2 const& direction) const {
        Cut result;
        double t = 0.0;
        result.isHit = doesRayIntersectLineSegment(apex_, direction, polygon_.getVertex(edge),
                                                   polygon_.getVertex(edge + 1), t, result.fraction,
                                                   result.isPoint, epsilonTol);
        return result;
    }

    Point2 eval(int edge, double fraction) const {
        double const first = polygon_.getVertex(edge).parameter;
        double const last = polygon_.getVertex(edge + 1).parameter;
        return polygon_.eval(first + fraction * (last - first));
    }

    Point2 apex_;
    Vector2 a_;
    Vector2 b_;
    Polyline2d polygon_;  // closed
    bool apexIsMissing_;  // in the polygon, and not added yet
    DistinctPoints points_;
};

Polyline2d closedPolyline(ko::vector<Point2> const& points) {
    Polyline2d result;
    for (Point2 const& point : points)
        result.appendVertex(point);
    result.appendVertex(points.front());
    return result;
}

}  // namespace

void isPointInsideSector(Point2 const& point, Point2 const& apex, Vector2 const& a,
                         Vector2 const& b, EPointSectorIntersection& status, double tolerance) {
    if (!areDirections(a, b))
        status = pointSectorInvalid;
    else if (equivalent(point, apex, tolerance))
        status = pointOnSectorBoundary;
    else
        status = placeInSector(a, b, point - apex);
}

void isSectorPolygonIntersect(Point2 const& apex, Vector2 const& a, Vector2 const& b,
                              Polyline2d const& polygon, ESectorPolygonIntersection& status,
                              Polyline2d& result, double /*tolerance*/) {
    Polyline2d common;
    if (!areDirections(a, b)) {
        status = sectorInvalid;
    } else if (polygon.getNumVertices() < 3 || !(polygon.getBoundingBox().area() > 0.0)) {
        status = sectorPolygonInvalid;
    } else {
        SectorClip clip(apex, a, b, polygon);
        ko::vector<Point2> const& points = clip.run();
        status = points.empty()      ? sectorPolygonDisjoint
                 : points.size() < 3 ? sectorPolygonTouching
                                     : sectorPolygonOverlapping;
        if (status == sectorPolygonOverlapping)
            common = closedPolyline(points);
    }
    result.swap(common);
}

}  // namespace koGeom
