#pragma once

#include "trimora/contract/koGeom/BoundingBox.h"
#include "trimora/contract/koGeom/CompactMesh.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace koGeom {

/// The box of all finite coordinates of a mesh, each axis by itself; invalid where there are none.
/// Serial, so that it can be asked for by a worker of a pool.
inline BoundingBox finiteBounds(CompactMesh const& mesh) {
    BoundingBox box;
    float const* const positions = mesh.getVerticesRaw();
    for (std::ptrdiff_t v = 0; v < mesh.getNumVertices(); ++v)
        for (int axis = 0; axis < 3; ++axis) {
            float const at = positions[3 * v + axis];
            bool const isFinite = at - at == 0.0f;
            box.bounds[axis] = isFinite && at < box.min(axis) ? at : box.min(axis);
            box.bounds[axis + 3] = isFinite && at > box.max(axis) ? at : box.max(axis);
        }
    return box;
}

/// Whether a finite box holds another; an invalid one is held by all.
inline bool holds(BoundingBox const& box, BoundingBox const& inner) {
    bool holds = true;
    for (int axis = 0; axis < 3; ++axis)
        holds = holds && std::isfinite(box.min(axis)) && std::isfinite(box.max(axis)) &&
                box.min(axis) <= inner.min(axis) && inner.max(axis) <= box.max(axis);
    return holds;
}

/// The greatest size of any bound; 0 for a box that was never extended.
inline double largestCoordinate(BoundingBox const& box) {
    double largest = 0.0;
    for (int axis = 0; axis < 3; ++axis)
        if (box.min(axis) <= box.max(axis))
            largest = std::max({largest, std::abs(static_cast<double>(box.min(axis))),
                                std::abs(static_cast<double>(box.max(axis)))});
    return largest;
}

}  // namespace koGeom
