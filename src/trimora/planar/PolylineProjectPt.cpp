#include "trimora/planar/PolylineProjectPt.h"

#include "trimora/planar/detail/polylineSegment.h"

#include <cmath>

namespace koGeom {

double PolylineProjectPt::project(Point const& point, Point& closest, double& distance) const {
    double parameter = -1.0;
    double best2 = 1e300;  // beyond every squared distance that counts
    int const numSegments = polyline != nullptr ? polyline->getNumVertices() - 1 : 0;
    for (int i = 0; i < numSegments; ++i) {
        detail::PolylineSegment const segment(*polyline, i);
        auto const place = segment.placeAt(koLinear::projectParam(point, segment.line));
        double const away2 = distance2(point, place.point);
        if (away2 < best2) {
            best2 = away2;
            closest = place.point;
            parameter = place.parameter;
        }
    }
    distance = std::sqrt(best2);
    return parameter;
}

double PolylineProjectPt::project(Point const& point, Point& closest) const {
    double distance;
    return project(point, closest, distance);
}

double PolylineProjectPt::project(Point const& point) const {
    Point closest;
    return project(point, closest);
}

bool PolylineProjectPt::adjust(double& first, double& second) const {
    if (polyline == nullptr || !polyline->getClosed())
        return false;
    auto const [start, end] = polyline->getDomain();
    auto const isSeam = [start = start, end = end](double p) { return p == start || p == end; };
    if (isSeam(first) == isSeam(second))
        return false;
    double& onSeam = isSeam(first) ? first : second;
    double const other = isSeam(first) ? second : first;
    onSeam = std::abs(other - start) < std::abs(other - end) ? start : end;
    return true;
}

}  // namespace koGeom
