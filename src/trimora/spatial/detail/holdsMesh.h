#pragma once

#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/CompactMesh.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace koGeom::detail {

/// Whether the box is finite and holds all positions of the mesh; a NaN coordinate is nowhere.
///
/// A tree may be built over a box of the caller's choice. Only where the leaves tile all that the
/// triangles can reach is the nearest place, or the nearest hit, in a voxel of its own triangle.
inline bool holdsMesh(BoundingBox const& box, CompactMesh const& mesh) {
    float const infinity = std::numeric_limits<float>::infinity();
    float lower[3] = {infinity, infinity, infinity};
    float upper[3] = {-infinity, -infinity, -infinity};
    float const* const positions = mesh.getVerticesRaw();
    for (std::ptrdiff_t v = 0; v < mesh.getNumVertices(); ++v)
        for (int axis = 0; axis < 3; ++axis) {
            float const at = positions[3 * v + axis];
            lower[axis] = at < lower[axis] ? at : lower[axis];
            upper[axis] = at > upper[axis] ? at : upper[axis];
        }
    bool holds = true;
    for (int axis = 0; axis < 3; ++axis)
        holds = holds && std::isfinite(box.min(axis)) && std::isfinite(box.max(axis)) &&
                !(lower[axis] < box.min(axis)) && !(upper[axis] > box.max(axis));
    return holds;
}

/// The greatest size of any coordinate of the box; a NaN is passed over.
inline double largestCoordinate(BoundingBox const& box) {
    double largest = 0.0;
    for (float const bound : box.bounds)
        largest = std::max(largest, std::abs(static_cast<double>(bound)));
    return largest;
}

/// From a float of this size to the next one up; infinite where there is none, and for NaN.
inline double floatStep(double size) {
    float const narrow = static_cast<float>(size);
    float const next = std::nextafter(narrow, std::numeric_limits<float>::infinity());
    double const step = static_cast<double>(next) - static_cast<double>(narrow);
    return step > 0.0 ? step : std::numeric_limits<double>::infinity();
}

}  // namespace koGeom::detail
