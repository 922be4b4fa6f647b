// Manifold repair in steps: first triangles go until no edge has more than two, then vertices are
// split into their fans. Neither step looks at geometry.

#include "trimora/repair/meshMakeManifold.h"

#include "trimora/assembly/MeshDeleteSelected.h"
#include "trimora/assembly/MeshSelect.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshModification.h"
#include "trimora/detail/callerContract.h"
#include "trimora/repair/detail/VertexStar.h"
#include "trimora/repair/detail/edgeTriangles.h"

#include <algorithm>
#include <cassert>
#include <vector>

namespace koGeom {

namespace {

// A corner off the edge (low, high); one of its ends in a triangle that has no other.
int cornerOffEdge(MeshTriangle const& triangle, int low, int high) {
    for (int const corner : triangle.vertices)
        if (corner != low && corner != high)
            return corner;
    return low;
}

// Selects all triangles on the edge but the two whose third vertices have the most triangles.
void selectSurplusOnEdge(MeshAdjTris const& adj, MeshTriangle const* triangles, int low, int high,
                         BitVector& selected) {
    std::vector<std::pair<int, int>> byConnection;  // triangles at the third vertex, triangle
    forEachTriangleOnEdge(adj, triangles, low, high, [&](int t) {
        byConnection.push_back({adj.numTris(cornerOffEdge(triangles[t], low, high)), t});
        return true;
    });
    std::sort(byConnection.begin(), byConnection.end());
    for (std::size_t i = 0; i + 2 < byConnection.size(); ++i)
        selected.setBit(byConnection[i].second);
}

void deleteSurplusTriangles(CompactMesh& mesh, MeshAdjTris const& adj,
                            ko::vector<std::pair<int, int>> const& badEdges) {
    BitVector& selected = mesh.getSelectedTriangles();
    selected.resize(mesh.getNumTriangles());
    MeshTriangle const* const triangles = mesh.getTriangles();
    VertexStar star(adj, triangles, mesh.getNumVertices());
    int loaded = -1;
    for (std::pair<int, int> const& edge : badEdges) {
        int const centre = edge.first;
        if (centre == loaded)
            continue;  // all bad spokes of this star are done
        star.load(centre);
        loaded = centre;
        for (VertexStar::Spoke const& spoke : star.spokes())
            if (spoke.count > 2)
                selectSurplusOnEdge(adj, triangles, std::min(centre, spoke.rim),
                                    std::max(centre, spoke.rim), selected);
    }
    mesh.getSelectedVertices().resize(mesh.getNumVertices());
    MeshSelect(mesh, adj).selectVerticesFromTriangles();
    MeshDeleteSelected deleteSelected(mesh);
    deleteSelected();
}

int countExtraFans(CompactMesh const& mesh, MeshAdjTris const& adj, BitVector const& bad) {
    VertexStar star(adj, mesh.getTriangles(), mesh.getNumVertices());
    int numExtra = 0;
    for (int vertex = 0; vertex < mesh.getNumVertices(); ++vertex) {
        if (!bad.isBitSet(vertex))
            continue;
        star.load(vertex);
        if (star.hasSoundSpokes())
            numExtra += std::max(star.countFans(), 1) - 1;
    }
    return numExtra;
}

// Moves the star's triangles outside its first fan to the vertices from firstNew on, one a fan.
void splitStar(VertexStar const& star, int vertex, int firstNew, MeshTriangle* triangles,
               MeshVertex* vertices) {
    for (int i = 0; i < star.numTris(); ++i) {
        if (star.fanLabel(i) == 0)
            continue;
        int const copy = firstNew + star.fanLabel(i) - 1;
        vertices[copy] = vertices[vertex];
        for (int& corner : triangles[star.triIndices()[i]].vertices)
            if (corner == vertex)
                corner = copy;
    }
}

// Splitting one vertex renames a spoke of its neighbour alike in both triangles on it, so no other
// star changes its fans: the second pass meets the fans that the first one counted.
void splitBadVertices(CompactMesh& mesh, MeshAdjTris const& adj, BitVector const& bad) {
    int const numOld = mesh.getNumVertices();
    int const numExtra = countExtraFans(mesh, adj, bad);
    if (numExtra == 0)
        return;
    mesh.resizeVertexArray(numOld + numExtra);
    MeshVertex* const vertices = mesh.getVertices();
    MeshTriangle* const triangles = mesh.getTriangles();

    VertexStar star(adj, triangles, numOld + numExtra);
    int next = numOld;
    for (int vertex = 0; vertex < numOld; ++vertex) {
        if (!bad.isBitSet(vertex))
            continue;
        star.load(vertex);
        if (!star.hasSoundSpokes())
            continue;
        int const numFans = star.countFans();
        splitStar(star, vertex, next, triangles, vertices);
        next += std::max(numFans, 1) - 1;
    }

    MeshModification modification(&mesh, MeshModification::Topology, nullptr);
    mesh.modified(modification);
}

}  // namespace

void meshMakeManifold(CompactMesh& mesh, MeshAdjTris const& adj, MeshManifoldResult const& result) {
    assert(detail::isTableOf(adj, mesh) && result.size == mesh.getNumVertices());
    if (!result.badEdgeAdj.empty())
        deleteSurplusTriangles(mesh, adj, result.badEdgeAdj);
    else if (result.count > 0)
        splitBadVertices(mesh, adj, result);
}

void meshMakeManifold(CompactMesh& mesh) {
    for (;;) {
        MeshAdjTris adj;
        meshAdjTris(mesh, adj);
        MeshManifoldResult result;
        meshManifold(mesh, adj, result);
        if (result.badEdgeAdj.empty() && result.count == 0)
            return;
        int const numVertices = mesh.getNumVertices();
        int const numTriangles = mesh.getNumTriangles();
        meshMakeManifold(mesh, adj, result);
        if (mesh.getNumVertices() == numVertices && mesh.getNumTriangles() == numTriangles)
            return;
    }
}

}  // namespace koGeom
