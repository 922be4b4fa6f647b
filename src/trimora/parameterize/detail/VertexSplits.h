#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"

#include <vector>

namespace koGeom::detail {

/// Copies of vertices, and the triangles that go over to them: noted first, made all at once.
class VertexSplits {
public:
    explicit VertexSplits(int numVertices) : numVertices_(numVertices) {}

    /// The number that the copy will have.
    int addCopy(int vertex) {
        sources_.push_back(vertex);
        return numVertices_ + static_cast<int>(sources_.size()) - 1;
    }
    void giveTriangle(int triangle, int vertex, int copy) {
        changes_.push_back({triangle, vertex, copy});
    }
    bool isEmpty() const { return sources_.empty(); }

    /// Appends the copies with the positions of what they were copied from, then changes the triangles, in the order of noting.
    void make(CompactMesh& mesh, MeshTriangle* triangles) const {
        int next = mesh.getNumVertices();
        mesh.resizeVertexArray(next + static_cast<int>(sources_.size()));
        MeshVertex* const vertices = mesh.getVertices();
        for (int const source : sources_)
            vertices[next++] = vertices[source];
        for (Change const& change : changes_)
            replaceCorner(triangles[change.triangle], change.vertex, change.copy);
    }

    /// Changes the first corner that is the vertex.
    static void replaceCorner(MeshTriangle& triangle, int vertex, int copy) {
        for (int& corner : triangle.vertices)
            if (corner == vertex) {
                corner = copy;
                return;
            }
    }

private:
    struct Change {
        int triangle, vertex, copy;
    };

    int numVertices_;  // before the copies
    std::vector<int> sources_;
    std::vector<Change> changes_;
};

}  // namespace koGeom::detail
