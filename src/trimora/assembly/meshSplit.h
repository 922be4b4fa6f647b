#pragma once

#include "trimora/contract/ko/containers.h"
#include "trimora/export.h"

namespace koGeom {

class CompactMesh;

/// Cuts a mesh into meshes of bounded vertex count, see MeshPartition.
///
/// maxSize   vertices of a piece, at most; below 4 nothing is split
/// out       emptied first, without deleting what it held; then one new mesh a piece, which are the caller's to delete. It stays
///           empty when the mesh need not be split: one piece holds all triangles, or there are none
/// carried   all vertex sets; vertices without triangles are in no piece
/// cost      O(vertices + triangles)
/// errors    std::bad_alloc, `out` empty
TRIMORA_API void meshSplit(CompactMesh const& mesh, int maxSize, ko::vector<CompactMesh*>& out);

}  // namespace koGeom
