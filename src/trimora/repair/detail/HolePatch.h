#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/TopoMesh.h"
#include "trimora/topology/MeshEdgeSwapper.h"

#include <cstddef>
#include <cstdint>

namespace koUtil {
class Progress;
}

namespace koGeom {

class BitVector;
class CompactMesh;
class MeshAdjVertices;
class MeshModifyRep;

namespace detail {

/// A value for some of the vertices of a half-edge mesh, by their number of creation. Clearing takes as long as filling took.
template <typename T>
class VertexTable {
public:
    explicit VertexTable(T const& none) : none_(none) {}

    void set(TopoMeshVertex vertex, T const& value) {
        std::size_t const i = vertex.record()->number;
        if (i >= values_.size())
            values_.resize(i + i / 2 + 64, none_);
        values_[i] = value;
        used_.push_back(i);
    }
    /// The value of the vertex, or what stands for none.
    T find(TopoMeshVertex vertex) const {
        std::size_t const i = vertex.record()->number;
        return i < values_.size() ? values_[i] : none_;
    }
    void clear() {
        for (std::size_t const i : used_)
            values_[i] = none_;
        used_.clear();
    }

private:
    T none_;
    ko::vector<T> values_;
    ko::vector<std::size_t> used_;
};

/// What the holes of one call share: the half-edge mesh of their surroundings, and scratch that each hole clears after use.
struct HoleRegion {
    HoleRegion(CompactMesh const& sourceMesh, MeshAdjVertices const& sourceNeighbours,
               MeshModifyRep& bridge, TopoMesh& halfEdges);

    CompactMesh const& mesh;
    MeshAdjVertices const& adjVertices;
    MeshModifyRep& rep;
    TopoMesh& topo;
    MeshEdgeSwapper swapper;  ///< asks for larger angles
    ko::vector<TopoMeshEdge>
        unlinked;                 ///< half-edges that are without a twin since meshTwin last ran
    VertexTable<int> places{-1};  ///< in a ring, or among the new vertices
    VertexTable<double> densities{0.0};  ///< edge length to be reached
};

/// One hole's patch, as it grows.
struct HolePatch {
    ko::vector<int> ring;  ///< the rim, as vertices of the array mesh
    ko::vector<TopoMeshFace> faces;
    std::uint32_t firstEdge = 0;  ///< creation number from which on all half-edges are the patch's
    ko::vector<TopoMeshVertex> newVertices;
};

// The stages, in order.

/// Takes fins out of a ring, so that it passes through each place once where that can be had.
///
/// ring      shrinks; its vertices are those of the array mesh
/// returns   false when the hole has to be refused; fins that were found until then are gone all the same
bool prepareRing(HoleRegion& region, ko::vector<int>& ring);

/// Whether an edge of the ring has a triangle on its other side by now, so that any patch would have an edge in the way.
bool hasRimInTheWay(HoleRegion const& region, ko::vector<int> const& ring);

/// Sets a bit n a + b for each edge from place a to place b of a ring of n that inner triangles have.
void forbidInnerEdges(HoleRegion& region, ko::vector<int> const& ring, BitVector& forbidden);

/// Whether half-edges that the triangles (three places of the ring each) would have are there already.
bool hasEdgesInTheWay(HoleRegion& region, ko::vector<int> const& ring,
                      ko::vector<int> const& triangles);

/// Adds the triangles, wound against the ring, and links them with what surrounds them.
void buildPatch(HoleRegion& region, HolePatch& patch, ko::vector<int> const& triangles);

/// Splits triangles and swaps edges until no triangle is larger than the surface around the hole asks for, or the patch has
/// as many vertices as it can need. Returns early, with a sound mesh, when progress is cancelled.
void refinePatch(HoleRegion& region, HolePatch& patch, koUtil::Progress const& progress);

/// Moves the new vertices to a fair surface; none when progress is cancelled.
void fairPatch(HoleRegion& region, HolePatch& patch, koUtil::Progress& progress);

}  // namespace detail

}  // namespace koGeom
