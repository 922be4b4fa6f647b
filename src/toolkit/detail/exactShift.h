#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"

#include <array>

namespace trimora {

/// What brings the middle of a mesh that is farther from the origin than it is large to the origin, with every coordinate exact; 0
/// along axes where that cannot be.
std::array<double, 3> exactShift(koGeom::CompactMesh const& mesh);

/// Moves all vertices by a shift, or back by it.
///
/// sign   1 or -1
void moveVertices(koGeom::CompactMesh& mesh, std::array<double, 3> const& shift, double sign);

}  // namespace trimora
