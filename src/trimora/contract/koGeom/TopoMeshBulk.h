#pragma once

#include "trimora/contract/koGeom/Array.h"
#include "trimora/contract/koGeom/TopoMesh.h"

#include <algorithm>
#include <cstdint>

namespace koGeom {

/// Makes the records of many vertices, half-edges and faces at once, for builders that know all links beforehand. Each
/// record is written once; in the order of the numbers that is the order of memory.
///
/// numbers   count the new elements of each kind from 0; -1 is none
/// use       construct, then write every element, then let go. The mesh is not to be used in between
/// threads   any number of threads may write, each element one of them
/// failure   the constructor may throw std::bad_alloc, and nothing has changed then
class TopoMeshBulk {
public:
    TopoMeshBulk(TopoMesh& mesh, int numVertices, int numEdges, int numFaces);

    using V = TopoMeshVertexRecord;
    using E = TopoMeshEdgeRecord;
    using F = TopoMeshFaceRecord;

    /// Where a record is, or will be. To find these before the first write of a group saves finding them again.
    V* vertex(int i) const { return vertices_[static_cast<std::uint32_t>(i)]; }
    E* edge(int i) const { return i >= 0 ? edges_[static_cast<std::uint32_t>(i)] : nullptr; }
    F* face(int i) const { return faces_[static_cast<std::uint32_t>(i)]; }

    /// The links of one half-edge. Those to the half-edges that leave the same vertex run from later to earlier ones: the
    /// next one is the latest that is earlier.
    struct HalfEdge {
        V* origin;
        E* next;
        E* prev;
        E* twin;
        F* face;
        E* nextLeaving;
        E* prevLeaving;
    };

    /// `earliest` and `latest` of the half-edges that leave the vertex.
    void writeVertex(int vertex, Point const& position, int earliest, int latest) const {
        auto const i = static_cast<std::uint32_t>(vertex);
        *vertices_.place(i) = {position, edge(earliest), edge(latest), vertices_.number(i), tag_};
    }
    void writeEdge(int halfEdge, HalfEdge const& links) const {
        auto const i = static_cast<std::uint32_t>(halfEdge);
        *edges_.place(i) = {links.origin,      links.next,       links.prev,
                            links.twin,        links.face,       links.nextLeaving,
                            links.prevLeaving, edges_.number(i), tag_};
    }
    void writeFace(int face, E* first) const {
        auto const i = static_cast<std::uint32_t>(face);
        *faces_.place(i) = {first, faces_.number(i), tag_};
    }

private:
    TopoMeshRecordRange<TopoMeshVertexRecord> vertices_;
    TopoMeshRecordRange<TopoMeshEdgeRecord> edges_;
    TopoMeshRecordRange<TopoMeshFaceRecord> faces_;
    std::uint32_t tag_;
};

inline TopoMeshBulk::TopoMeshBulk(TopoMesh& mesh, int numVertices, int numEdges, int numFaces)
    : tag_(mesh.tag_) {
    auto const count = [](int n) { return static_cast<std::uint32_t>(std::max(n, 0)); };
    mesh.vertices_.reserveSideBySide(count(numVertices));
    mesh.edges_.reserveSideBySide(count(numEdges));
    mesh.faces_.reserveSideBySide(count(numFaces));
    vertices_ = mesh.vertices_.claim(count(numVertices));
    edges_ = mesh.edges_.claim(count(numEdges));
    faces_ = mesh.faces_.claim(count(numFaces));
}

/// Which half-edges, or whatever counts from 0, stand at the same vertex: for each the one before and the one after, for
/// each vertex the first and the last; -1 for none.
struct TopoMeshChains {
    Array<int> earlier;
    Array<int> later;
    Array<int> earliest;  // by vertex
    Array<int> latest;

    /// vertexOf   from a number below `count` to its vertex
    template <typename VertexOf>
    TopoMeshChains(int numVertices, int count, VertexOf const& vertexOf)
        : earlier(count), later(count), earliest(numVertices), latest(numVertices) {
        earliest.fill(-1);
        latest.fill(-1);
        int* const before = earlier.data();
        int* const after = later.data();
        int* const first = earliest.data();
        int* const last = latest.data();
        for (int i = 0; i < count; ++i) {
            int const v = vertexOf(i);
            int const predecessor = last[v];
            before[i] = predecessor;
            after[i] = -1;
            (predecessor >= 0 ? after[predecessor] : first[v]) = i;
            last[v] = i;
        }
    }
};

}  // namespace koGeom
