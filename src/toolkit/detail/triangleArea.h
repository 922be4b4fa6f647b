#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"

#include <cmath>

namespace trimora {

/// The area of a triangle in doubles, as a sum of floats would differ by more than an edit does; 0 at corners that are NaN or infinite.
inline double finiteAreaOf(koGeom::CompactMesh const& mesh, int triangle) {
    koGeom::MeshTriangle const& corners = mesh.getTriangles()[triangle];
    koLinear::Point const a = mesh.getVertices()[corners[0]].asPoint();
    double const twice = cross(mesh.getVertices()[corners[1]].asPoint() - a,
                               mesh.getVertices()[corners[2]].asPoint() - a)
                             .length();
    return std::isfinite(twice) ? 0.5 * twice : 0.0;
}

}  // namespace trimora
