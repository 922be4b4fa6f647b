#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"

#include <cstdlib>

namespace fuzz {

inline bool isInRange(int const* indices, int count, int numVertices) {
    for (int i = 0; i < count; ++i) {
        if (indices[i] < 0 || indices[i] >= numVertices)
            return false;
    }
    return true;
}

/// Aborts, which the fuzzer reports, when an index of the mesh is out of range.
inline void requireValid(koGeom::CompactMesh const& mesh) {
    int const numVertices = mesh.getNumVertices();
    if (!isInRange(mesh.getTrianglesRaw(), 3 * mesh.getNumTriangles(), numVertices) ||
        !isInRange(mesh.polys.points.data(), mesh.polys.getNumPoints(), numVertices))
        std::abort();
}

}  // namespace fuzz
