#pragma once

#include "trimora/contract/koGeom/TopoMeshHandles.h"
#include "trimora/contract/koRTB/signals.h"
#include "trimora/export.h"

#include <memory>

namespace koGeom {

class MeshStitchSeamImpl;
class TopoMesh;

/// Sews two stretches of the boundary of a half-edge mesh into one seam.
///
///     b0 -> o ------> o ---> b1              b0 -> o - x - o --> b1
///      backward along chain B     insert      |    |   |   |     |      join     a0 -- o - o - o --- a1
///                                   ->        |    |   |   |     |       ->      A's vertices and new ones
///      forward along chain A       move       |    |   |   |     |
///     a0 -> o --> o --------> a1             a0 -> o - o - x --> a1
///
/// (Chain B is drawn the way it is walked.) Where one chain lacks a partner it gets a new vertex, and vertices of B move
/// onto their partners. Where the chains turn away from each other by more than 85 degrees, the shorter of the two edges is
/// contracted. At last the edges become twins, pair by pair.
///
/// order      A is the chain with more edges, and keeps its places: the chains change roles where B has more
/// tolerance  in edge lengths: a vertex whose place along the other chain's edge differs from an end of that edge by
///            less counts as at that end. Not above 0, or NaN: only what the comparisons leave, no two ends are one
/// places     a vertex of B moves to its foot on A's edge, to the edge's end when it is there, and half way from the latest
///            place to that end when it is at the start or behind it, and beside A's last edge
/// merge      false: the positions match afterwards, and the topology stays open
/// signal     is the object itself: addCallback with a koRTB::FunctionArg<TopoMeshVertex>. Raised for each vertex that the
///            merging discards, just before it goes. Vertices that a contraction takes are not told. A callback must
///            leave the mesh alone
/// sends      one TopoMeshModification of type Topology; none where it refuses
/// refuses    where canStitch, canStitchCircular say so: the mesh is left as it is. Single pairs of edges stay open
///            where joining them would give a face two equal corners, or a third face to an edge
/// cost       linear in the edges of the chains, for valences that are bounded
/// threads    those of the mesh: one
class TRIMORA_API MeshStitchSeam : public koRTB::SignalArg<TopoMeshVertex> {
public:
    /// The mesh must outlive the object.
    explicit MeshStitchSeam(TopoMesh& mesh);
    MeshStitchSeam(MeshStitchSeam const&) = delete;
    MeshStitchSeam& operator=(MeshStitchSeam const&) = delete;
    ~MeshStitchSeam() override;

    /// Sews a0 to a1, forward along a boundary, and b0 to b1, backward along a boundary. a0 meets b0, a1 meets b1; they may
    /// be the same vertex.
    void stitch(TopoMeshVertex a0, TopoMeshVertex a1, TopoMeshVertex b0, TopoMeshVertex b1,
                double tolerance, bool merge);
    /// Whether a1 is reached forward from a0, and b1 backward from b0, by at least one edge each, both chains have nothing
    /// in common but their ends, and all their edges are open and in faces with three different corners there.
    bool canStitch(TopoMeshVertex a0, TopoMeshVertex a1, TopoMeshVertex b0,
                   TopoMeshVertex b1) const;

    /// Sews two whole boundary loops, each named by one of its vertices, in two halves: from a and from the vertex half way
    /// round the longer loop A to the vertices of B that are nearest. Where that is one and the same, the second one is
    /// that half way round B from it. The first half takes its places from A, the second one from B.
    void stitchCircular(TopoMeshVertex a, TopoMeshVertex b, double tolerance, bool merge);
    /// Whether the vertices lie on two boundary loops, of two edges or more, open as above.
    bool canStitchCircular(TopoMeshVertex a, TopoMeshVertex b) const;

    /// Whether the chain, or loop, that was given first was A in the latest call; true before any. A's vertices are those
    /// that the merging keeps.
    bool preservedA() const;

    /// How many pairs of edges the latest call's merging left open, and all that it had to join where the chains could not be
    /// brought to match; 0 when nothing was to be merged or the call was refused.
    int numOpenPairs() const;

    /// The length of the pairs of edges that the latest call's merging joined.
    double joinedLength() const;

private:
    friend class MeshStitchSeamImpl;

    std::unique_ptr<MeshStitchSeamImpl> impl_;
};

}  // namespace koGeom
