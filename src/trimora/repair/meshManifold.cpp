// Manifold test: one walk over the vertices, each with its star. Spokes with more than two
// triangles are bad edges, found from either end; a star in several fans is a bad vertex. Fans are
// counted only until the first bad edge turns up, since bad edges hide bad vertices in the result.

#include "trimora/repair/meshManifold.h"

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/DebugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/detail/callerContract.h"
#include "trimora/repair/detail/VertexStar.h"

#include <algorithm>
#include <cassert>

namespace koGeom {

namespace {

void sortUnique(ko::vector<std::pair<int, int>>& edges) {
    std::sort(edges.begin(), edges.end());
    edges.erase(std::unique(edges.begin(), edges.end()), edges.end());
}

}  // namespace

void meshManifold(CompactMesh const& mesh, MeshAdjTris const& adj, MeshManifoldResult& result) {
    assert(detail::isTableOf(adj, mesh));
    int const numVertices = mesh.getNumVertices();
    koOS::StopWatch watch;
    watch.start();

    result.resize(numVertices);
    result.badEdgeAdj.clear();
    VertexStar star(adj, mesh.getTriangles(), numVertices);
    for (int vertex = 0; vertex < numVertices; ++vertex) {
        if (adj.numTris(vertex) < 2 || star.isClosedFan(vertex))
            continue;
        star.load(vertex);
        star.appendOverusedSpokes(result.badEdgeAdj);
        if (result.badEdgeAdj.empty() && star.countFans() > 1)
            result.setBit(vertex);
    }
    if (!result.badEdgeAdj.empty()) {
        sortUnique(result.badEdgeAdj);
        result.clearBits();
    }

    debugChannel().print("meshManifold:  vertices %d  triangles %d: %f s\n"
                         "               badVertexAdj(%d) badEdgeAdj(%d)\n",
                         numVertices, mesh.getNumTriangles(), watch.clear(), result.count,
                         static_cast<int>(result.badEdgeAdj.size()));
}

}  // namespace koGeom
