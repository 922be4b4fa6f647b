#pragma once

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/CompactMesh.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace trimora {

/// Hands the edges of all triangles around a vertex to take(from, to), as the triangles run them.
template <class Take>
void forEachEdgeAround(int vertex, koGeom::MeshAdjTris const& adjTris, int const* triangles,
                       Take take) {
    int const* const around = adjTris.triIndices(vertex);
    for (int i = 0; i < adjTris.numTris(vertex); ++i) {
        if (i > 0 && around[i] == around[i - 1])
            continue;  // a triangle that names the vertex twice stands twice in its set
        int const* const corners = triangles + 3 * static_cast<std::ptrdiff_t>(around[i]);
        for (int k = 0; k < 3; ++k)
            take(corners[k], corners[(k + 1) % 3]);
    }
}

/// Sorts the values and hands each different one with its count to take(value, count).
template <class Take>
void forEachRun(std::vector<int>& values, Take take) {
    std::sort(values.begin(), values.end());
    for (auto it = values.begin(); it != values.end();) {
        auto const end = std::upper_bound(it, values.end(), *it);
        take(*it, end - it);
        it = end;
    }
}

/// Hands each edge to take(low, high, uses): its ends, the lower one first, and how many triangles use it. By the lower end,
/// then the higher one.
template <class Take>
void forEachEdge(koGeom::CompactMesh const& mesh, koGeom::MeshAdjTris const& adjTris, Take take) {
    std::vector<int> farEnds;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        farEnds.clear();
        forEachEdgeAround(v, adjTris, mesh.getTrianglesRaw(), [&](int from, int to) {
            auto const [low, high] = std::minmax(from, to);
            if (low == v && high != v)
                farEnds.push_back(high);
        });
        forEachRun(farEnds, [&](int farEnd, std::ptrdiff_t numUses) { take(v, farEnd, numUses); });
    }
}

}  // namespace trimora
