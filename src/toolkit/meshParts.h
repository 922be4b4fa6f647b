#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <vector>

namespace trimora {

/// The components of a mesh as meshes of their own, by their lowest triangle; triangles that share a vertex hang together.
///
/// carried     positions; vertices and triangles keep their order. Vertices without triangles are left out
/// cost        linear, whatever the number of components
TRIMORA_API std::vector<koGeom::CompactMesh> splitIntoParts(koGeom::CompactMesh const& mesh);

}  // namespace trimora
