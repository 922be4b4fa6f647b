#pragma once

#include "trimora/contract/koGeom/TopoMeshHandles.h"
#include "trimora/contract/koGeom/namespace.h"
#include "trimora/export.h"

#include <cstdint>
#include <vector>

namespace koGeom {

class TopoMesh;

/// The links of a `TopoMesh` of triangles in numbers, for algorithms that collapse many edges in a row.
///
/// A triangle with its three half-edges takes 64 bytes, one line of the cache, where the records take 208, and nothing
/// but links is read on the way. Every edit here leaves the links as the operation of the mesh would; `store` then writes
/// them to the records in one pass.
/// numbers   half-edge k of triangle t, counted in the order of the mesh's list, is 4 t + k; k = 0 is the face's first
///           edge. Vertices have their creation numbers. They stay for as long as the object lives
/// lifetime  the mesh outlives the object and is not edited between its making and `store`
/// memory    64 bytes a triangle and 12 a vertex, and at the beginning and the end 24 more a triangle
class TRIMORA_API TopoMeshTriangles {
public:
    using Index = std::uint32_t;
    static constexpr Index none = 0xffffffffu;

    /// True when all faces are triangles.
    static bool canHold(TopoMesh const& mesh);
    /// Of a mesh that it can hold.
    explicit TopoMeshTriangles(TopoMesh& mesh);

    /// Living faces.
    int numFaces() const { return numFaces_; }
    /// Bound of the half-edge and vertex numbers, the unused and dead ones among them.
    Index numHalfEdges() const { return static_cast<Index>(4 * triangles_.size()); }
    Index numVertices() const { return static_cast<Index>(vertices_.size()); }
    bool isFaceAlive(Index face) const { return triangles_[face].halfEdges[0].origin != none; }
    /// The half-edges in the order of the mesh's list, as it was at first.
    std::vector<Index> const& listOrder() const { return listOrder_; }
    void dropListOrder() { std::vector<Index>().swap(listOrder_); }
    /// True when no face had a corner twice and no twin ran the same way, and when no vertex had more than one fan. What
    /// TopoMesh::collapseEdge allows keeps it so.
    bool isOriented() const { return isOriented_; }
    bool hasSingleFans() const { return hasSingleFans_; }

    static Index faceOf(Index h) { return h >> 2; }
    static Index next(Index h) { return (h & 3) == 2 ? h - 2 : h + 1; }
    static Index prev(Index h) { return (h & 3) == 0 ? h + 2 : h - 1; }
    Index origin(Index h) const { return at(h).origin; }
    Index end(Index h) const { return at(next(h)).origin; }
    Index twin(Index h) const { return at(h).twin; }
    /// The twin if it runs the other way, else none.
    Index opposite(Index h) const {
        Index const t = twin(h);
        return t != none && (origin(t) != origin(h) || end(h) == origin(h)) ? t : none;
    }

    /// The vertex's own edge; the chain of all half-edges that leave it, in the mesh's order.
    Index ownEdge(Index vertex) const { return vertices_[vertex].ownEdge; }
    Index firstLeaving(Index vertex) const { return vertices_[vertex].firstLeaving; }
    Index nextLeaving(Index h) const { return at(h).nextLeaving; }
    /// The steps of the walk round a vertex, counterclockwise and clockwise; none across the boundary.
    Index nextAround(Index h) const { return ifLeaving(twin(prev(h)), origin(h)); }
    Index prevAround(Index h) const {
        Index const t = twin(h);
        return t != none ? ifLeaving(next(t), origin(h)) : none;
    }

    /// A number on each half-edge for the caller's own use, 0 at first.
    Index& tag(Index h) { return triangles_[h >> 2].tags[h & 3]; }
    Index tag(Index h) const { return triangles_[h >> 2].tags[h & 3]; }
    /// Asks for the memory that the links of a half-edge are in.
    void prefetch(Index h) const { __builtin_prefetch(&triangles_[h >> 2]); }

    /// What TopoMesh::collapseEdge does, in a case that it would not refuse.
    void collapse(Index h);

    /// Writes the links to the mesh and deletes what is gone. A failed allocation passes through, before anything has
    /// changed. Once only.
    void store();
    /// The handle of a half-edge, once stored.
    TopoMeshEdge handle(Index h) const { return TopoMeshEdge(recordOf(h)); }

private:
    struct HalfEdge {
        Index origin;  ///< none in a dead triangle
        Index twin;
        Index nextLeaving;
        Index prevLeaving;
    };
    struct alignas(64) Triangle {
        HalfEdge halfEdges[3];
        Index tags[3] = {0, 0, 0};
    };
    struct Vertex {
        Index ownEdge = none;
        Index firstLeaving = none;
        bool isAlive = false;
    };

    HalfEdge& at(Index h) { return triangles_[h >> 2].halfEdges[h & 3]; }
    HalfEdge const& at(Index h) const { return triangles_[h >> 2].halfEdges[h & 3]; }
    TopoMeshEdgeRecord* recordOf(Index h) const {
        return h != none ? records_[h - (h >> 2)] : nullptr;
    }
    Index ifLeaving(Index h, Index vertex) const {
        return h != none && origin(h) == vertex ? h : none;
    }

    std::vector<Index> numberHalfEdges() const;
    bool findOriented() const;
    bool findSingleFans() const;
    int sizeOfOwnFan(Index vertex) const;
    void attach(Index h, Index vertex);
    void detach(Index h);
    void fold(Index h);
    void makeTwins(Index h, Index other);
    void removeIfLoose(Index vertex);

    TopoMesh& mesh_;
    std::vector<Triangle> triangles_;
    std::vector<Vertex> vertices_;
    std::vector<Index> listOrder_;
    int numFaces_ = 0;
    bool isOriented_ = false;
    bool hasSingleFans_ = false;
    std::vector<TopoMeshEdgeRecord*> records_;  // by half-edge, three a triangle; once stored
};

}  // namespace koGeom
