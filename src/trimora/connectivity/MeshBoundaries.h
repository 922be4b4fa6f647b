#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/koGeom/MeshElements.h"
#include "trimora/contract/koGeom/MeshSequence.h"
#include "trimora/export.h"

namespace koGeom {

class ArrayOfSets;
class CompactMesh;
class MeshAdjTris;
class MeshAdjVertices;
class MeshSubset;
class Remap;

/// Boundary loops of a mesh, as vertex numbers in walking order: along the direction that the
/// triangles give to their open edges, the surface on the left.
///
/// The first vertex is not repeated at the end. A snapshot: it does not follow its mesh. Safe to
/// read from many threads.
class TRIMORA_API MeshBoundaries : public ko::ReferenceCount {
public:
    /// No boundaries.
    MeshBoundaries();
    /// Takes over the given runs, one a boundary, and leaves `sequence` empty.
    explicit MeshBoundaries(MeshSequence& sequence);
    MeshBoundaries(MeshBoundaries const&);
    MeshBoundaries& operator=(MeshBoundaries const&);
    ~MeshBoundaries() override;

    void swap(MeshBoundaries& other);

    /// Number of boundaries.
    int size() const { return sequence_.getNumRuns(); }
    /// Number of vertices of a boundary.
    int getLength(int boundary) const { return sequence_.getLength(boundary); }
    /// The boundary's vertices are [getStart, getEnd).
    int const* getStart(int boundary) const { return sequence_.getStarts()[boundary]; }
    int const* getEnd(int boundary) const { return getStart(boundary) + getLength(boundary); }

private:
    MeshSequence sequence_;
};

/// Finds the loops of open edges of a mesh.
///
/// adjTris, adjVertices   the mesh's own tables, up to date
/// boundaries             out: replaced, whatever it held
/// cost                   O(vertices), and the triangles around those that an open edge leaves;
///                        the sweep over all vertices runs on the shared pool
/// order                  loops by their lowest vertex that no earlier loop has taken, which is
///                        where a loop starts. A vertex stands in one loop only: where two pass
///                        through one vertex, the second ends early
TRIMORA_API void meshComputeBoundary(CompactMesh const& mesh, MeshAdjTris const& adjTris,
                                     MeshAdjVertices const& adjVertices,
                                     MeshBoundaries& boundaries);

/// Finds the loops round one subset of a mesh that has been cut into subsets.
///
/// subset            its vertices are tried as starts, in its order
/// subsetIndex       the subset's number in `triangleSubsets`
/// vertexSubsets     for each vertex of the mesh the subsets that it lies on
/// triangleSubsets   for each triangle of the mesh its subset
/// boundaries        out: replaced, whatever it held
TRIMORA_API void meshComputeSubsetBoundary(CompactMesh const& mesh, MeshSubset const& subset,
                                           int subsetIndex, MeshAdjTris const& adjTris,
                                           MeshAdjVertices const& adjVertices,
                                           ArrayOfSets const& vertexSubsets,
                                           Remap const& triangleSubsets,
                                           MeshBoundaries& boundaries);

/// Steps of a boundary walk.
namespace Boundary {

/// Head of the triangle's directed edge that leaves `vertex`; -1 when the triangle lacks it.
TRIMORA_API int findEdge(int vertex, MeshTriangle const& triangle);

/// Whether any triangle has the directed edge `from` to `to`.
TRIMORA_API bool hasEdge(CompactMesh const& mesh, MeshAdjTris const& adjTris, int from, int to);

/// Finds an open edge that leaves `vertex`: one that no triangle runs the other way.
///
/// next      out: the open edge's head; when there is none the last head tried, unchanged at a
///           vertex without triangles
/// returns   whether there is one
/// order     the first in the order of the vertex's triangles
TRIMORA_API bool walkBoundary(int vertex, int& next, CompactMesh const& mesh,
                              MeshAdjTris const& adjTris, MeshAdjVertices const& adjVertices);

}  // namespace Boundary

}  // namespace koGeom
