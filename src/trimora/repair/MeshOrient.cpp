// Orientation by a breadth-first flood over common edges. The flood starts at the lowest triangle
// of each component, turns every neighbour that disagrees and fails when one that it has been to
// before disagrees: the surface is one-sided there.

#include "trimora/repair/MeshOrient.h"

#include "trimora/connectivity/MeshAdjTris.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshModification.h"
#include "trimora/detail/callerContract.h"
#include "trimora/repair/detail/edgeTriangles.h"

#include <cassert>
#include <utility>
#include <vector>

namespace koGeom {

namespace {

bool runs(MeshTriangle const& triangle, int a, int b) {
    return (triangle[0] == a && triangle[1] == b) || (triangle[1] == a && triangle[2] == b) ||
           (triangle[2] == a && triangle[0] == b);
}

// +1 when the triangle runs from a to b, -1 when it runs from b to a, 0 when it does not have the
// edge.
int edgeSense(MeshTriangle const& triangle, int a, int b) {
    if (runs(triangle, a, b))
        return 1;
    return runs(triangle, b, a) ? -1 : 0;
}

// Remembers for the directed edges that leave one vertex which triangle runs them.
class LeavingEdges {
public:
    explicit LeavingEdges(int numVertices)
        : byEnd_(static_cast<std::size_t>(numVertices), Entry{-1, -1}) {}

    // False when another triangle runs the edge from `start` to `end` already.
    bool add(int start, int end, int triangle) {
        Entry& entry = byEnd_[static_cast<std::size_t>(end)];
        if (entry.start == start)
            return entry.triangle == triangle;
        entry = {start, triangle};
        return true;
    }

private:
    struct Entry {
        int start;
        int triangle;
    };
    std::vector<Entry> byEnd_;  // valid for the start vertex that stands in it
};

}  // namespace

MeshOrient::MeshOrient(CompactMesh& mesh, MeshAdjTris const& adj) : mesh_(mesh), adj_(adj) {
    assert(detail::isTableOf(adj, mesh));
    compute();
}

void MeshOrient::compute() {
    oriented_ = computeOriented();
    if (oriented_)
        orientable_ = true;
}

bool MeshOrient::computeOriented() const {
    if (mesh_.getNumTriangles() <= 0)
        return true;
    MeshTriangle const* const triangles = std::as_const(mesh_).getTriangles();
    int const numVertices = mesh_.getNumVertices();
    LeavingEdges leaving(numVertices);
    for (int vertex = 0; vertex < numVertices; ++vertex) {
        int const numAround = adj_.numTris(vertex);
        int const* const around = adj_.triIndices(vertex);
        for (int i = 0; i < numAround; ++i) {
            MeshTriangle const& triangle = triangles[around[i]];
            for (int k = 0; k < 3; ++k)
                if (triangle[k] == vertex && !leaving.add(vertex, triangle[(k + 1) % 3], around[i]))
                    return false;
        }
    }
    return true;
}

void MeshOrient::orient() {
    if (oriented_)
        return;
    bool modified = false;
    oriented_ = computeOrientation(modified);
    if (oriented_)
        orientable_ = true;
    if (modified) {
        MeshModification modification(&mesh_, MeshModification::Topology, nullptr);
        modification.uvsValid();
        modification.stsValid();
        modification.coloursValid();
        mesh_.modified(modification);
    }
}

bool MeshOrient::computeOrientation(bool& modified) {
    int const numTriangles = mesh_.getNumTriangles();
    visited_.resize(numTriangles);
    queue_.reserve(static_cast<std::size_t>(numTriangles));
    modified = false;
    for (int start = 0; start < numTriangles; ++start) {
        if (visited_.isBitSet(start) || search(modified, start))
            continue;
        // The second flood leaves in `visited_` what hangs together with the conflict; its own
        // outcome says nothing new.
        visited_.clearBits();
        search(modified, problemTriangle_);
        return false;
    }
    return true;
}

bool MeshOrient::search(bool& modified, int startTriangle) {
    MeshTriangle* const triangles = mesh_.getTriangles();
    queue_.clear();
    queue_.push_back(startTriangle);
    visited_.setBit(startTriangle);
    for (std::size_t head = 0; head < queue_.size(); ++head) {
        int const t = queue_[head];
        MeshTriangle const corners = triangles[t];
        for (int k = 0; k < 3; ++k)
            if (!visitNeighbours(modified, triangles, t, corners[k], corners[(k + 1) % 3]))
                return false;
    }
    return true;
}

// Turns and queues the triangles on the edge (a, b) of `triangle`; false when one that was visited
// before disagrees.
bool MeshOrient::visitNeighbours(bool& modified, MeshTriangle* triangles, int triangle, int a,
                                 int b) {
    return forEachTriangleOnEdge(adj_, triangles, a, b, [&](int other) {
        int const sense = other == triangle ? 0 : edgeSense(triangles[other], a, b);
        if (sense == 0)
            return true;
        bool const wasVisited = visited_.isBitSet(other) != 0;
        if (sense > 0 && wasVisited) {
            problemTriangle_ = other;
            return false;
        }
        if (sense > 0) {
            std::swap(triangles[other][1], triangles[other][2]);
            modified = true;
        }
        if (!wasVisited) {
            queue_.push_back(other);
            visited_.setBit(other);
        }
        return true;
    });
}

bool meshOriented(CompactMesh const& mesh, MeshAdjTris const& adj) {
    // The mesh is only read: orient() is never called.
    MeshOrient const orient(const_cast<CompactMesh&>(mesh), adj);
    return orient.isOriented();
}

bool meshMakeOriented(CompactMesh& mesh, MeshAdjTris const& adj) {
    MeshOrient orient(mesh, adj);
    orient.orient();
    return orient.isOriented();
}

}  // namespace koGeom
