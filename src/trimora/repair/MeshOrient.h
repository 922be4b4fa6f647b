#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;
class MeshAdjTris;
struct MeshTriangle;

/// Tests and mends the winding of a mesh: neighbours wound alike run their common edge in opposite
/// senses.
///
/// Orientation is a matter of each component alone: two components wound against each other are
/// oriented. Made on one state of the mesh; turning triangles changes no triangle's vertex set, so
/// the adjacency table stays good.
class TRIMORA_API MeshOrient {
public:
    /// Tests the present winding at once.
    ///
    /// mesh, adj   the adjacency is the mesh's own, up to date; both outlive this object
    /// cost        linear in vertices and triangles
    MeshOrient(CompactMesh& mesh, MeshAdjTris const& adj);

    /// Every edge is run in opposite senses by its triangles.
    bool isOriented() const { return oriented_; }
    /// True once the mesh is known to be orientable: it was oriented at construction, or orient()
    /// made it so.
    bool isOrientable() const { return orientable_; }
    /// After orient() failed: the triangles reached by a flood from the conflict before that flood
    /// met a conflict of its own. They contain the twist of a one-sided part, though not always all
    /// of it.
    BitVector const& getAffectedTriangles() const { return visited_; }

    /// Turns triangles until each component agrees with its lowest numbered triangle. Nothing
    /// happens when the mesh is oriented.
    ///
    /// sends   one Topology modification if any triangle was turned, also when a one-sided part
    ///         stopped the attempt; UVs, STs and colours stay valid
    /// cost    linear, up to the size of the smaller star of each edge; runs on the calling thread
    void orient();

private:
    void compute();
    bool computeOriented() const;
    bool computeOrientation(bool& modified);
    bool search(bool& modified, int startTriangle);
    bool visitNeighbours(bool& modified, MeshTriangle* triangles, int triangle, int a, int b);

    CompactMesh& mesh_;
    MeshAdjTris const& adj_;
    BitVector visited_;
    ko::vector<int> queue_;
    int problemTriangle_ = -1;
    bool oriented_ = false;
    bool orientable_ = false;
};

/// Whether neighbours are wound alike throughout; a mesh without triangles is oriented.
TRIMORA_API bool meshOriented(CompactMesh const& mesh, MeshAdjTris const& adj);

/// Orients the mesh as MeshOrient::orient does and tells whether it is oriented now.
TRIMORA_API bool meshMakeOriented(CompactMesh& mesh, MeshAdjTris const& adj);

}  // namespace koGeom
