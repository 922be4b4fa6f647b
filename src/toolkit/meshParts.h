#pragma once

#include "trimora/contract/ko/ReferenceCount.h"
#include "trimora/contract/ko/containers.h"
#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koGeom/MeshSubset.h"
#include "trimora/export.h"

#include <vector>

namespace trimora {

/// The components of a mesh, by their lowest triangle; triangles that share a vertex hang together.
///
/// order       vertices and triangles ascending. Vertices without triangles are in none
/// cost        linear, whatever the number of components
TRIMORA_API ko::list<ko::Reference<koGeom::MeshSubset>> findParts(koGeom::CompactMesh const& mesh);

/// The same as meshes of their own, with positions and triangles alone.
TRIMORA_API std::vector<koGeom::CompactMesh> splitIntoParts(koGeom::CompactMesh const& mesh);

}  // namespace trimora
