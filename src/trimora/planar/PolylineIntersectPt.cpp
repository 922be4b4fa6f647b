#include "trimora/planar/PolylineIntersectPt.h"

#include "trimora/planar/detail/polylineSegment.h"

#include <cmath>

namespace koGeom {

namespace {

constexpr double farAway = 1e300;  // beyond every distance that counts

int numSegmentsOf(Polyline const* polyline) {
    return polyline != nullptr ? polyline->getNumVertices() - 1 : 0;
}

}  // namespace

bool PolylineIntersectPt::intersect(ParamLine const& line, double& t, double& u, Test test) {
    Line const infinite(line);
    bool isHit = false;
    double best = farAway;
    for (int i = 0; i < numSegmentsOf(polyline); ++i) {
        detail::PolylineSegment const segment(*polyline, i);
        bool isCrossing;
        Point const closest =
            koLinear::intersect(Line(segment.line), infinite, isCrossing, perpendicular2Tol);
        auto const place = segment.placeAt(koLinear::projectParam(closest, segment.line));

        double lineParam;
        Point const linePoint = koLinear::project(place.point, line, lineParam);
        if (test != nullptr && !test(*this, lineParam, linePoint))
            continue;
        double const apart2 = distance2(place.point, linePoint);
        bool const isNearTie = isHit && std::abs(apart2 - best) < epsilonTol;
        if (apart2 < best || (isNearTie && std::abs(lineParam) < std::abs(t))) {
            isHit = true;
            best = apart2;
            t = lineParam;
            u = place.parameter;
        }
    }
    return isHit;
}

bool PolylineIntersectPt::intersect(ParamLine const& line, double& t, double& u) {
    return intersect(line, t, u, nullptr);
}

bool PolylineIntersectPt::intersect(ParamLine const& line, bool inFront, double& t, double& u) {
    return intersect(line, t, u, inFront ? &inFrontTest : nullptr);
}

bool PolylineIntersectPt::intersect(ParamLine const& line, ProjMatrix const& projection, double& t,
                                    double& u) {
    view = projection;
    return intersect(line, t, u, &inViewTest);
}

bool PolylineIntersectPt::intersect(Plane const& plane, double& u, Point& point,
                                    Line const* reference) {
    bool isHit = false;
    double best = farAway;
    for (int i = 0; i < numSegmentsOf(polyline); ++i) {
        detail::PolylineSegment const segment(*polyline, i);
        bool isPierced;
        Point const place =
            koLinear::intersect(Line(segment.line), plane, isPierced, perpendicular2Tol);
        double const fraction = koLinear::projectParam(place, segment.line);
        if (!isPierced || !(fraction >= 0.0 && fraction <= 1.0))
            continue;
        double const away =
            reference != nullptr ? distance(place, *reference) : distance(place, plane);
        if (away < best) {
            isHit = true;
            best = away;
            u = segment.parameterAt(fraction);
            point = place;
        }
    }
    return isHit;
}

bool PolylineIntersectPt::inFrontTest(PolylineIntersectPt&, double t, Point const&) {
    return t > 0.0;
}

bool PolylineIntersectPt::inViewTest(PolylineIntersectPt& picker, double, Point const& linePoint) {
    return (HPoint(linePoint) * picker.view).insideView(true);
}

}  // namespace koGeom
