#pragma once

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/MeshElements.h"

namespace koGeom {

inline bool holdsVertex(MeshTriangle const& triangle, int vertex) {
    return triangle[0] == vertex || triangle[1] == vertex || triangle[2] == vertex;
}

/// Calls visit(t) for each entry t of a's set in the adjacency table that holds b, in the set's
/// order, until visit returns false.
///
/// visit     may turn the triangle it is given: only vertex sets are looked at afterwards
/// returns   false when visit stopped the walk
/// cost      the smaller of the two vertices' stars: around a hub, an edge is looked up from the
///           rim
///
/// Both stars list triangles in ascending order, so walking b's instead of a's meets the same
/// triangles in the same order; a triangle that names a twice stands twice in a's set and is
/// visited twice.
template <class Visit>
bool forEachTriangleOnEdge(MeshAdjTris const& adj, MeshTriangle const* triangles, int a, int b,
                           Visit visit) {
    int const numAroundA = adj.numTris(a);
    int const numAroundB = adj.numTris(b);
    if (numAroundA <= numAroundB) {
        int const* const aroundA = adj.triIndices(a);
        for (int i = 0; i < numAroundA; ++i)
            if (holdsVertex(triangles[aroundA[i]], b) && !visit(aroundA[i]))
                return false;
        return true;
    }
    int const* const aroundB = adj.triIndices(b);
    for (int i = 0; i < numAroundB; ++i) {
        if (i > 0 && aroundB[i] == aroundB[i - 1])
            continue;
        MeshTriangle const& triangle = triangles[aroundB[i]];
        int times = (triangle[0] == a) + (triangle[1] == a) + (triangle[2] == a);
        for (; times > 0; --times)
            if (!visit(aroundB[i]))
                return false;
    }
    return true;
}

}  // namespace koGeom
