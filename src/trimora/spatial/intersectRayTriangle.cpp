#include "trimora/spatial/intersectRayTriangle.h"

#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/spatial/detail/rayTriangle.h"

namespace koGeom {

double detail::backfaceCullDistance = 1e-06;

void setBackfaceCullDistance(double distance) {
    detail::backfaceCullDistance = distance;
}

bool intersectRayTriangle(double const* dir, float const* origin, float const* v0, float const* v1,
                          float const* v2, double& t, double& u, double& v) {
    return detail::rayTriangle(dir, origin, v0, v1, v2, false, t, u, v);
}

bool intersectRayTriangleCull(double const* dir, float const* origin, float const* v0,
                              float const* v1, float const* v2, double& t, double& u, double& v) {
    return detail::rayTriangle(dir, origin, v0, v1, v2, true, t, u, v);
}

bool intersectRayTriangle(Vector const& dir, PointFlt const& origin, PointFlt const& v0,
                          PointFlt const& v1, PointFlt const& v2) {
    double t = 0.0;
    double u = 0.0;
    double v = 0.0;
    return intersectRayTriangle(&dir.x, &origin.x, &v0.x, &v1.x, &v2.x, t, u, v) && t > epsilonTol;
}

}  // namespace koGeom
