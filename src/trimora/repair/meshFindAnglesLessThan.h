#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/export.h"

#include <utility>

namespace koGeom {

class CompactMesh;
class MeshAdjTris;

/// Folded edges of a mesh.
class TRIMORA_API MeshDihedralAnglesResult {
public:
    /// Each edge as the lower numbered of its two triangles runs it, in the order of these
    /// triangles and their corners.
    ko::vector<std::pair<int, int>> edges;

    /// All triangles on the folded edges, whatever their winding.
    ///
    /// adj   the mesh's own table, of the state that was tested
    /// out   replaced: triangle numbers, ascending, each once
    void getAdjacentTriangles(CompactMesh const& mesh, MeshAdjTris const& adj,
                              ko::vector<int>& out) const;
};

/// Finds the edges where two neighbours lie back to back: the opening between them is at most an
/// angle.
///
/// adj            the mesh's own table, up to date
/// angleDegrees   greatest opening that counts as a fold; at 0 only normals exactly opposite
/// result         out: replaced
/// cost           linear, up to the size of the smaller star of each edge; runs on the shared pool;
///                the result does not depend on its threads
///
/// Only neighbours that run their edge in opposite senses are looked at.
TRIMORA_API void meshFindAnglesLessThan(CompactMesh const& mesh, MeshAdjTris const& adj,
                                        double angleDegrees, MeshDihedralAnglesResult& result);

/// The greatest angle between the normals of two triangles that share an edge, whatever their
/// winding.
///
/// returns   radians, 0 to pi; 0 when no edge is shared
/// threads   runs on the calling thread
TRIMORA_API double meshMaxDihedralAngle(CompactMesh const& mesh, MeshAdjTris const& adj);

}  // namespace koGeom
