#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/BitVector.h"
#include "trimora/export.h"

#include <utility>

namespace koGeom {

class CompactMesh;
class MeshAdjTris;

/// What keeps a mesh from being a manifold surface.
///
/// The bit vector has one bit a vertex, set where the triangles around the vertex form more than
/// one fan; it stays clear as long as there are bad edges.
class MeshManifoldResult : public BitVector {
public:
    /// Edges with more than two triangles as (lower vertex, higher vertex), ascending, without
    /// repeats.
    ko::vector<std::pair<int, int>> badEdgeAdj;
};

/// Finds the edges with more than two triangles and, when there are none, the vertices where
/// several fans meet.
///
/// adj       the mesh's own table, up to date
/// result    out: replaced; as many bits as the mesh has vertices
/// cost      linear in vertices and triangles, however large a star is; 8 bytes a vertex of scratch
/// threads   runs on the calling thread
///
/// A vertex with fewer than two triangles is never bad, and a mesh with a bad edge reports no bad
/// vertex at all.
TRIMORA_API void meshManifold(CompactMesh const& mesh, MeshAdjTris const& adj,
                              MeshManifoldResult& result);

}  // namespace koGeom
