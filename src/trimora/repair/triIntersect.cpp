// Triangle with triangle and plane with triangle.
//
// Two triangles: each must straddle the other's plane; then both cut the line that the planes
// share, each in an interval, and what the intervals have in common is the cut. Corners on a plane
// are told by exact signs, without a tolerance.

#include "trimora/repair/triIntersect.h"

#include "trimora/contract/koLinear/ranges.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/repair/detail/TrianglePlane.h"

#include <algorithm>
#include <cmath>

namespace koGeom {

namespace {

bool crosses(double a, double b) {
    double const low = std::min(a, b);
    double const high = std::max(a, b);
    return (low < 0.0 && high >= 0.0) || (low <= 0.0 && high > 0.0);
}

// The corner alone on its side of the plane.
int loneCorner(double const (&heights)[3]) {
    bool const crosses02 = crosses(heights[0], heights[2]);
    if (crosses(heights[0], heights[1]))
        return crosses02 ? 0 : 1;
    return crosses02 ? 2 : 0;
}

// Where a triangle cuts the line; false when that is no finite interval.
bool intervalOnLine(Line const& line, Point const (&corners)[3], double const (&d)[3],
                    Range1d& interval) {
    double t[3];
    for (int i = 0; i < 3; ++i)
        t[i] = dot(corners[i] - line.origin, line.direction);
    auto const crossing = [&](int i, int j) { return t[i] + (t[j] - t[i]) * d[i] / (d[i] - d[j]); };

    int const lone = loneCorner(d);
    double const first = lone == 0 ? crossing(0, 1) : lone == 1 ? crossing(1, 2) : crossing(0, 2);
    double const second = lone == 0 ? crossing(0, 2) : lone == 1 ? crossing(1, 0) : crossing(1, 2);
    interval.set(std::min(first, second), std::max(first, second));
    return std::isfinite(first) && std::isfinite(second);
}

// A point of the cut of a plane with a triangle, and where it lies on the triangle.
struct CutPoint {
    Point& point;
    double& param;
    int (&edge)[2];

    void setCorner(Point const* const corners[3], int corner) {
        point = *corners[corner];
        param = 1.0;
        edge[0] = edge[1] = corner;
    }
    void setCrossing(Point const* const corners[3], double const (&d)[3], int from) {
        int const to = (from + 1) % 3;
        double const weight = d[from] / (d[from] - d[to]);
        point = combine(1.0 - weight, *corners[from], weight, *corners[to]);
        param = weight;
        edge[0] = to;
        edge[1] = from;
    }
};

int signOf(double height) {
    return (height > 0.0) - (height < 0.0);
}

}  // namespace

bool cutAlongCommonLine(TrianglePlane const& p, CornerHeights const& pHeights,
                        TrianglePlane const& q, CornerHeights const& qHeights, Point& start,
                        Point& end) {
    bool planesMeet = false;
    Line const line = koLinear::intersect(p.plane, q.plane, planesMeet);
    if (!planesMeet)
        return false;
    Range1d onP;
    Range1d onQ;
    if (!intervalOnLine(line, p.corners, pHeights.values, onP) ||
        !intervalOnLine(line, q.corners, qHeights.values, onQ))
        return false;
    Range1d const common = koLinear::intersect(onP, onQ, epsilonTol);
    if (common.size() == 0.0)
        return false;
    start = line.eval(common.lower);
    end = line.eval(common.upper);
    return true;
}

bool intersect(Point const& p0, Point const& p1, Point const& p2, Point const& q0, Point const& q1,
               Point const& q2, Point& start, Point& end) {
    TrianglePlane p{{p0, p1, p2}, {}, 0.0};
    TrianglePlane q{{q0, q1, q2}, {}, 0.0};
    p.setPlane();
    q.setPlane();
    if (equivalent(p.plane.normal, q.plane.normal, epsilonTol))
        return false;
    CornerHeights const pHeights(q, p.corners);
    if (pHeights.onOneSide())
        return false;
    CornerHeights const qHeights(p, q.corners);
    if (qHeights.onOneSide())
        return false;
    return cutAlongCommonLine(p, pHeights, q, qHeights, start, end);
}

int intersect(double const* const plane, Point const& v0, Point const& v1, Point const& v2,
              double tolerance, Point& a, double& aParam, int (&aEdge)[2], Point& b, double& bParam,
              int (&bEdge)[2]) {
    Point const* const corners[3] = {&v0, &v1, &v2};
    double d[3];
    int sign[3];
    for (int i = 0; i < 3; ++i) {
        Point const& corner = *corners[i];
        d[i] = plane[0] * corner.x + plane[1] * corner.y + plane[2] * corner.z + plane[3];
        if (std::abs(d[i]) < tolerance)
            d[i] = 0.0;
        sign[i] = signOf(d[i]);
    }
    CutPoint first{a, aParam, aEdge};
    CutPoint second{b, bParam, bEdge};
    int const numOff = std::abs(sign[0]) + std::abs(sign[1]) + std::abs(sign[2]);
    int const sum = std::abs(sign[0] + sign[1] + sign[2]);
    int const on = sign[0] == 0 ? 0 : sign[1] == 0 ? 1 : 2;  // lowest corner on the plane, if any
    if (sum == 3)
        return 0;
    if (numOff == 0)
        return 3;
    if (sum == 2) {
        first.setCorner(corners, on);
        return 1;
    }
    if (numOff == 1) {
        first.setCorner(corners, on);
        second.setCorner(corners, sign[2] == 0 ? 2 : 1);
    } else if (numOff == 2) {
        first.setCorner(corners, on);
        second.setCrossing(corners, d, (on + 1) % 3);
    } else {
        int const crossed = sign[0] == sign[1] ? 1 : sign[1] == sign[2] ? 2 : 0;
        first.setCrossing(corners, d, crossed);
        second.setCrossing(corners, d, (crossed + 1) % 3);
    }
    return 2;
}

int intersect(double const* const plane, Point const& v0, Point const& v1, Point const& v2,
              double tolerance, Point& a, Point& b) {
    double aParam = 0.0;
    double bParam = 0.0;
    int aEdge[2];
    int bEdge[2];
    return intersect(plane, v0, v1, v2, tolerance, a, aParam, aEdge, b, bParam, bEdge);
}

}  // namespace koGeom
