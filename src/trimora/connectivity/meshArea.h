#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/MeshPlacement.h"
#include "trimora/export.h"

namespace koGeom {

/// Surface area of a mesh, in space or in one of its texture planes.
///
/// channel   MeshChannelVertices: the area in space; MeshChannelUVs, MeshChannelSTs: the sum of
///           the absolute areas in the plane of that set; any other gives 0
/// returns   the area; 0 when the mesh lacks the set
/// cost      O(triangles); runs on the shared pool. The sum is in double, folded in thread order,
///           so that different thread counts may differ in the last bits
TRIMORA_API float meshArea(CompactMesh const& mesh, MeshChannel channel);

/// The area after placement: a scale in the matrix counts in space, not in a texture plane. 0 for a
/// null mesh.
TRIMORA_API float meshArea(MeshPlacement const& placement, MeshChannel channel);

/// Area of several placed meshes and each one's share of it.
///
/// shares    out: one entry a placement, in order, adding up to 1; the raw areas when their sum
///           is below `epsilonTolFlt`; empty for a channel that has no area
/// returns   the sum in float; 0 when it is below `epsilonTolFlt`
TRIMORA_API float meshArea(ko::list<MeshPlacement> const& placements, MeshChannel channel,
                           ko::vector<float>& shares);

}  // namespace koGeom
