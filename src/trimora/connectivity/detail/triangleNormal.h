#pragma once

#include "trimora/contract/koGeom/namespace.h"
#include "trimora/contract/koLinear/vectors.h"

#include <cstddef>

/// The bodies of triNormal and meshTriNormal, for the loops over all triangles.
namespace koGeom::detail {

inline Normal triangleNormal(Point const& a, Point const& b, Point const& c) {
    Normal const normal(cross(c - b, a - b));
    return normal.valid ? normal : Normal(0.0, 0.0, 1.0);
}

inline Normal triangleNormal(float const* vertices, int const* triangle) {
    auto const corner = [&](int vertex) {
        float const* const p = vertices + std::ptrdiff_t{3} * vertex;
        return Point(p[0], p[1], p[2]);
    };
    return triangleNormal(corner(triangle[0]), corner(triangle[1]), corner(triangle[2]));
}

}  // namespace koGeom::detail
