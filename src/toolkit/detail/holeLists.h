#pragma once

#include "toolkit/meshHoles.h"

#include <string>
#include <vector>

namespace trimora {

/// Why a list of holes, or a choice among them, is not that of a mesh: names of vertices and holes that there are not, or lengths of a mesh
/// that was somewhere else. Empty: it can be.
std::string faultOfHoles(koGeom::CompactMesh const& mesh, std::vector<MeshHole> const& holes,
                         std::vector<int> const& chosen);

/// Throws std::invalid_argument with that sentence.
void requireHoles(koGeom::CompactMesh const& mesh, std::vector<MeshHole> const& holes,
                  std::vector<int> const& chosen);

}  // namespace trimora
