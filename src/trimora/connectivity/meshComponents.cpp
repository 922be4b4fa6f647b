#include "trimora/connectivity/meshComponents.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/contract/koGeom/debugChannel.h"
#include "trimora/contract/koOS/StopWatch.h"
#include "trimora/detail/callerContract.h"

#include <algorithm>
#include <cassert>
#include <vector>

// Triangles unite their corners in a forest in which every vertex points at a lower one of its component, the lowest at
// itself (union by index with path halving). The lowest vertices are the components; their numbers follow the lowest
// triangle of each.

namespace koGeom {

namespace {

class VertexForest {
public:
    explicit VertexForest(int numVertices) : parents_(static_cast<std::size_t>(numVertices)) {
        for (int v = 0; v < numVertices; ++v)
            parent(v) = v;
    }

    void unite(MeshTriangle const& triangle) {
        int const root0 = findRoot(triangle[0]);
        int const root1 = findRoot(triangle[1]);
        int const root2 = findRoot(triangle[2]);
        if (root0 == root1 && root1 == root2)
            return;
        int const lowest = std::min({root0, root1, root2});
        parent(root0) = lowest;
        parent(root1) = lowest;
        parent(root2) = lowest;
    }

    /// Makes every vertex point at its root and counts the roots of vertices with triangles. Parents are lower, so one
    /// ascending sweep does.
    int flatten(MeshAdjTris const& adjTris) {
        int numRoots = 0;
        for (int v = 0, count = static_cast<int>(parents_.size()); v < count; ++v) {
            parent(v) = parent(parent(v));
            numRoots += parent(v) == v && adjTris.numTris(v) > 0;
        }
        return numRoots;
    }

    /// After flatten().
    int root(int v) const { return parents_[static_cast<std::size_t>(v)]; }

private:
    int& parent(int v) { return parents_[static_cast<std::size_t>(v)]; }

    int findRoot(int v) {
        int above = parent(v);
        for (int next = parent(above); next != above; next = parent(above)) {
            parent(v) = next;
            v = next;
            above = parent(v);
        }
        return above;
    }

    std::vector<int> parents_;
};

/// Numbers the components by their lowest triangle and writes the number of each vertex.
void numberVertices(CompactMesh const& mesh, VertexForest const& forest, int numComponents,
                    Array<int>& vertexComponents) {
    int const numVertices = mesh.getNumVertices();
    MeshTriangle const* const triangles = mesh.getTriangles();
    vertexComponents.setSize(numVertices);
    vertexComponents.fill(-1);
    int* const components = vertexComponents.data();

    int numNumbered = 0;
    for (int t = 0; numNumbered < numComponents && t < mesh.getNumTriangles(); ++t) {
        int& component = components[forest.root(triangles[t][0])];
        if (component < 0)
            component = numNumbered++;
    }
    for (int v = 0; v < numVertices; ++v)
        components[v] = components[forest.root(v)];
}

}  // namespace

int meshComponents(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                   Array<int>* vertexComponents) {
    assert(detail::isTableOf(adjTris, mesh));
    debugChannel().print("meshComponents(): %d triangles\n", mesh.getNumTriangles());
    koOS::StopWatch watch;
    watch.start();

    int const numVertices = mesh.getNumVertices();
    MeshTriangle const* const triangles = mesh.getTriangles();
    VertexForest forest(numVertices);
    for (int t = 0, numTriangles = mesh.getNumTriangles(); t < numTriangles; ++t)
        forest.unite(triangles[t]);
    int const numComponents = forest.flatten(adjTris);
    if (vertexComponents != nullptr)
        numberVertices(mesh, forest, numComponents, *vertexComponents);

    debugChannel().print("   %d components: %f s\n", numComponents, watch.stop());
    return numComponents;
}

int meshComponents(TopoMesh& mesh) {
    ko::unordered_set<TopoMeshFace> visited;
    std::vector<TopoMeshFace> waiting;
    int numComponents = 0;
    for (TopoMeshFace first = mesh.firstFace(); first; first = first.nextInList()) {
        if (!visited.insert(first).second)
            continue;
        ++numComponents;
        waiting.push_back(first);
        while (!waiting.empty()) {
            TopoMeshFace const face = waiting.back();
            waiting.pop_back();
            TopoMeshEdge edge = face.edge();
            do {
                TopoMeshFace const across = edge.twin().face();
                if (across && visited.insert(across).second)
                    waiting.push_back(across);
                edge = edge.next();
            } while (edge != face.edge());
        }
    }
    return numComponents;
}

}  // namespace koGeom
