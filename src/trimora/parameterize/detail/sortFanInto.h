#pragma once

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/parameterize/cutSurface.h"

#include <vector>

namespace koGeom::detail {

/// fan   out: replaced by the triangles of the vertex, sorted
inline void sortFanInto(int vertex, MeshTriangle* triangles, MeshAdjTris const& adjacency,
                        std::vector<int>& fan) {
    int const* const table = adjacency.triIndices(vertex);
    fan.assign(table, table + adjacency.numTris(vertex));
    cutSurface().sortFanTriangles(vertex, static_cast<int>(fan.size()), fan.data(), triangles);
}

}  // namespace koGeom::detail
