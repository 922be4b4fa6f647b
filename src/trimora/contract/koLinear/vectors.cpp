#include "trimora/contract/koLinear/vectors.h"

#include <algorithm>

namespace koLinear {

Vector Vector::orthogonalVector() const {
    // hypot neither overflows nor loses a direction that is nearly along z.
    double const inPlane = std::hypot(x, y);
    if (!(inPlane > 0.0) || !std::isfinite(inPlane) || !std::isfinite(z))
        return xAxis;
    return {-y / inPlane, x / inPlane, 0.0};
}

Vector combine(int n, Vector const* const vectors) {
    Vector sum;
    for (int i = 0; i < n; ++i)
        sum += vectors[i];
    return sum;
}

Vector combine(int n, double const* const weights, Vector const* const vectors) {
    Vector sum;
    for (int i = 0; i < n; ++i)
        sum += weights[i] * vectors[i];
    return sum;
}

Vector rotate(Vector const& v, Normal const& axis, double angle) {
    if (!axis.valid)
        return v;
    // Rodrigues: the part along the axis stays, the rest turns in its plane.
    Vector const along = dot(v, axis) * Vector(axis);
    return along + std::cos(angle) * (v - along) + std::sin(angle) * cross(axis, v);
}

double angle(Normal const& n, Normal const& m) {
    double const cosine = dot(n, m);
    return std::acos(cosine < 1.0 ? std::max(cosine, -1.0) : 1.0);  // also for a cosine of NaN
}

}  // namespace koLinear
