#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/MeshSubset.h"
#include "trimora/export.h"

#include <memory>

namespace koGeom {

class CompactMesh;
class MeshAdjTris;

/// Cuts a mesh into subsets of bounded vertex count, each grown breadth first from the lowest triangle that is left.
///
/// A subset takes the triangles around its own vertices, in the order in which those came in; when none of them has a free triangle
/// left it goes on at the lowest free one of the mesh, so that it may hold several components. Each triangle is in one subset; the
/// vertices along the seams are in all that use them, and vertices without triangles in none.
///
/// mesh      outlives this object and its copies, and does not change while there is something left to cut
/// adjTris   of the mesh's triangles; copied
/// size      vertices of a subset, at most; below 4 there are no subsets
/// copies    share the work: a subset that one hands out is gone for the others
/// cost      O(vertices + triangles) for all subsets together; 8 bytes a vertex of scratch and the table
/// threads   one at a time, on the calling thread
/// source    the greedy growth of Farhat 1988 [farhat1988], by vertices instead of elements
class TRIMORA_API MeshPartition {
public:
    MeshPartition(CompactMesh const& mesh, MeshAdjTris const& adjTris, int size);
    MeshPartition(MeshPartition const& other);
    MeshPartition& operator=(MeshPartition const&) = delete;
    ~MeshPartition();

    /// The next subset, vertices and triangles in the order in which they came in; null when there is none.
    ko::Reference<MeshSubset> nextSubMesh();

    /// All subsets that are left, in order.
    ko::list<ko::Reference<MeshSubset>> partition();

private:
    class Impl;

    std::shared_ptr<Impl> impl_;
};

}  // namespace koGeom
