#pragma once

#include "trimora/export.h"
#include "trimora/spatial/intersectRayTriangle.h"

namespace koGeom::detail {

/// The process-wide cull distance; read at every test, never cached over a call.
TRIMORA_API extern double backfaceCullDistance;

/// The corner-relative data of one ray against one triangle.
struct RayTriangleTerms {
    double e1[3];
    double e2[3];
    double p[3];
    double det;

    RayTriangleTerms(double const* dir, float const* v0, float const* v1, float const* v2) {
        for (int axis = 0; axis < 3; ++axis) {
            e1[axis] = static_cast<double>(v1[axis] - v0[axis]);
            e2[axis] = static_cast<double>(v2[axis] - v0[axis]);
        }
        p[0] = dir[1] * e2[2] - dir[2] * e2[1];
        p[1] = dir[2] * e2[0] - dir[0] * e2[2];
        p[2] = dir[0] * e2[1] - dir[1] * e2[0];
        det = e1[0] * p[0] + e1[1] * p[1] + e1[2] * p[2];
    }
};

/// intersectRayTriangle, inline for the loops that run it millions of times.
inline bool rayTriangle(double const* dir, float const* origin, float const* v0, float const* v1,
                        float const* v2, bool cullsBack, double& t, double& u, double& v) {
    RayTriangleTerms const k(dir, v0, v1, v2);
    bool const front =
        cullsBack ? k.det >= rayDeterminantTolerance : k.det > rayDeterminantTolerance;
    bool const back = !cullsBack && k.det < -rayDeterminantTolerance;
    if (!front && !back)
        return false;
    double const s[3] = {static_cast<double>(origin[0] - v0[0]),
                         static_cast<double>(origin[1] - v0[1]),
                         static_cast<double>(origin[2] - v0[2])};
    double const weightU = s[0] * k.p[0] + s[1] * k.p[1] + s[2] * k.p[2];
    if (front ? weightU < 0.0 || weightU > k.det : weightU > 0.0 || k.det > weightU)
        return false;
    double const q[3] = {s[1] * k.e1[2] - s[2] * k.e1[1], s[2] * k.e1[0] - s[0] * k.e1[2],
                         s[0] * k.e1[1] - s[1] * k.e1[0]};
    double const weightV = dir[0] * q[0] + dir[1] * q[1] + dir[2] * q[2];
    if (front ? weightV < 0.0 || weightU + weightV > k.det
              : weightV > 0.0 || k.det > weightU + weightV)
        return false;
    double const inverse = 1.0 / k.det;
    t = (k.e2[0] * q[0] + k.e2[1] * q[1] + k.e2[2] * q[2]) * inverse;
    u = weightU * inverse;
    v = weightV * inverse;
    return front || t >= backfaceCullDistance;
}

}  // namespace koGeom::detail
