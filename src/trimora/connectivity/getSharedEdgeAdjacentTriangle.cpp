#include "trimora/connectivity/getSharedEdgeAdjacentTriangle.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/detail/callerContract.h"

#include <cassert>

// A triangle that holds both ends of the edge stands in the sets of both, in the same order, so the smaller set is searched:
// round a vertex of very many triangles this saves walking them all for each of its edges.

namespace koGeom {

namespace {

int cornerOf(int vertex, MeshTriangle const& triangle) {
    for (int corner = 0; corner < 3; ++corner)
        if (triangle[corner] == vertex)
            return corner;
    return -1;
}

}  // namespace

bool getSharedEdgeAdjacentTriangle(int const& triangle, int edge, MeshTriangle const* triangles,
                                   MeshAdjTris const& adjTris, int& outTriangle, int& outEdge) {
    assert(detail::isInRange(edge, 3));
    assert(detail::isInRange(triangle, adjTris.getData().items.size() / 3));
    int const from = triangles[triangle][edge];
    int const to = triangles[triangle][(edge + 1) % 3];
    int const self =
        triangle;  // the caller may pass one variable as `triangle` and as an out argument
    bool const searchFrom = adjTris.numTris(from) <= adjTris.numTris(to);
    int const searched = searchFrom ? from : to;
    int const wanted = searchFrom ? to : from;
    outEdge = -1;

    int const* const candidates = adjTris.triIndices(searched);
    for (int i = 0, count = adjTris.numTris(searched); i < count; ++i) {
        MeshTriangle const& candidate = triangles[candidates[i]];
        if (candidates[i] == self || cornerOf(wanted, candidate) < 0)
            continue;
        outEdge = cornerOf(to, candidate);
        outTriangle = candidates[i];
        return true;
    }
    return false;
}

}  // namespace koGeom
