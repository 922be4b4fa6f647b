#include "trimora/spatial/Ray.h"

#include "trimora/contract/koLinear/tolerances.h"
#include "trimora/spatial/detail/rayTriangle.h"

#include <limits>

namespace koGeom {

Ray::Ray(PointFlt const& rayOrigin, Vector const& direction)
    : origin(rayOrigin),
      dir(direction),
      hitParam(static_cast<double>(std::numeric_limits<float>::max())) {
    double const components[3] = {dir.x, dir.y, dir.z};
    for (int axis = 0; axis < 3; ++axis) {
        invDir[axis] = static_cast<float>(1.0 / components[axis]);
        bool const negative = invDir[axis] < 0.0f;
        slabIndex[2 * axis] = negative ? axis + 3 : axis;
        slabIndex[2 * axis + 1] = negative ? axis : axis + 3;
    }
}

bool Ray::intersects(MeshTriangle const& tri, MeshVertex const* vertices) const {
    double t = 0.0;
    double u = 0.0;
    double v = 0.0;
    bool const hit = detail::rayTriangle(&dir.x, &origin.x, &vertices[tri[0]].x,
                                         &vertices[tri[1]].x, &vertices[tri[2]].x, false, t, u, v);
    if (!hit || !(t > static_cast<double>(epsilonTolFlt)))
        return false;
    if (t < hitParam) {
        hitParam = t;
        hitBaryU = u;
        hitBaryV = v;
    }
    return true;
}

}  // namespace koGeom
