#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/export.h"

#include <array>

namespace koGeom {

class MeshModifyRep;

namespace detail {

/// The three corners of a triangle.
using TrianglePoints = std::array<Point, 3>;

/// Takes inner vertices out of the half-edge mesh of a bridge, one after the other.
///
///        b                 b                 b                 b
///      / | \             / |\\             / | \             /   \       Edges of v are swapped away until three are left
///     c--v--a    ->     c--v | a   ->     c  |  a    ->     c-----a      (here one), v is deleted with them, and the edges
///      \ | /             \ |//             \ | /             \   /       that fill the hole are swapped for better angles.
///        d                 d                 d                 d         Only the inside of the ring a, b, c, d changes.
///
class TRIMORA_API VertexRemoval {
public:
    /// Both stay alive and belong together; the mesh is the bridge's.
    VertexRemoval(TopoMesh& mesh, MeshModifyRep& bridge);

    /// Removes a vertex and fills the hole.
    /// returns   false, and the connectivity is as before, on the boundary, when three edges cannot be reached, or when
    ///           TopoMesh::deleteVertex would refuse
    bool remove(TopoMeshVertex vertex);

    /// The triangles that fill the hole of the last removal, in order of creation; valid until the next call.
    ko::vector<TrianglePoints> const& fill();

    /// Takes the last removal back: the same surface, with another vertex in the place of the old one. The bridge keeps
    /// regarding the old one as gone. Once for each removal.
    void undo();

private:
    bool reduceValence(TopoMeshVertex vertex);
    void improveFill();
    static void swapBack(TopoMesh& mesh, ko::vector<TopoMeshEdge>& swaps);

    TopoMesh& mesh_;
    MeshModifyRep& bridge_;

    // Of the last removal.
    Point position_;
    TopoMeshFace filled_;
    TopoMeshEdge fillSide_;                    // of the hole's ring, first edge of filled_ at first
    ko::vector<TopoMeshEdge> openingSwaps_;    // that took edges from the vertex
    ko::vector<TopoMeshEdge> improvingSwaps_;  // of the same edges, later; repeats
    ko::vector<TopoMeshFace> faces_;
    ko::vector<TrianglePoints> fill_;
};

}  // namespace detail
}  // namespace koGeom
