#include "trimora/spatial/lineFrustumIntersect.h"

#include "trimora/contract/koGeom/Frustum.h"
#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/spatial/intersectRayTriangle.h"

namespace koGeom {

namespace {

// Two triangles a face, by corner; the order decides which point is given where several faces are
// met.
constexpr int faceTriangles[12][3] = {{0, 1, 2}, {0, 2, 3}, {0, 4, 5}, {0, 5, 1},
                                      {3, 7, 4}, {3, 4, 0}, {2, 1, 5}, {2, 5, 6},
                                      {3, 7, 6}, {3, 6, 2}, {6, 7, 4}, {6, 4, 5}};

bool meetsSurface(PointFlt const& a, PointFlt const& b, Frustum const& frustum, PointFlt& point) {
    Point const start(a);
    Vector direction = Point(b) - start;
    double const length = direction.length();
    if (!direction.normalize())
        return false;
    for (int const(&corners)[3] : faceTriangles) {
        PointFlt const v0(frustum.corners[corners[0]]);
        PointFlt const v1(frustum.corners[corners[1]]);
        PointFlt const v2(frustum.corners[corners[2]]);
        double t = 0.0;
        double u = 0.0;
        double v = 0.0;
        bool const met = intersectRayTriangle(&direction.x, &a.x, &v0.x, &v1.x, &v2.x, t, u, v);
        if (met && t >= 0.0 && t <= length) {
            point = PointFlt(start + t * direction);
            return true;
        }
    }
    return false;
}

}  // namespace

bool lineFrustumIntersect(PointFlt const& a, PointFlt const& b, Frustum const& frustum,
                          PointFlt& point) {
    bool aIsInside = true;
    bool bIsInside = true;
    for (Plane const& plane : frustum.planes) {
        bool const aIsAbove = isAbove(Point(a), plane, epsilonTol);
        bool const bIsAbove = isAbove(Point(b), plane, epsilonTol);
        if (aIsAbove && bIsAbove)
            return false;
        aIsInside = aIsInside && !aIsAbove;
        bIsInside = bIsInside && !bIsAbove;
    }
    if (aIsInside || bIsInside) {
        point = a;  // also when only b is inside: callers have come to count on it
        return true;
    }
    return meetsSurface(a, b, frustum, point);
}

bool lineFrustumIntersect(PointFlt const& a, PointFlt const& b, Frustum const& frustum) {
    PointFlt ignored;
    return lineFrustumIntersect(a, b, frustum, ignored);
}

}  // namespace koGeom
