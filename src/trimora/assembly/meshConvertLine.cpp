#include "trimora/assembly/meshConvertLine.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/detail/callerContract.h"

#include <cassert>

namespace koGeom {

namespace {

// The coordinate of a vertex on a triangle that uses it.
MeshCoord coordOnVertex(MeshTriangle const* triangles, int triangle, int vertex) {
    MeshTriangle const& corners = triangles[triangle];
    int const corner = corners[0] == vertex ? 0 : (corners[1] == vertex ? 1 : 2);
    MeshCoord coord(triangle, 0.0, 0.0, 0.0);
    coord.weights[corner] = 1.0;
    return coord;
}

}  // namespace

ko::Reference<MeshCurve> meshConvertLine(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                                         MeshSequence const& sequence, int run) {
    assert(detail::countsMatch(adjTris, mesh) && detail::isInRange(run, sequence.getNumRuns()));
    int const* const vertices = sequence.getStarts()[run];
    assert(detail::areAllInRange(vertices, sequence.getLength(run), mesh.getNumVertices()));
    std::deque<MeshCoord> coords;
    for (int k = 0; k < sequence.getLength(run); ++k) {
        int const vertex = vertices[k];
        bool const isUsed = adjTris.numTris(vertex) > 0;
        coords.push_back(
            isUsed ? coordOnVertex(mesh.getTriangles(), adjTris.triIndices(vertex)[0], vertex)
                   : MeshCoord());
    }
    return new MeshCurve(coords, true);
}

}  // namespace koGeom
