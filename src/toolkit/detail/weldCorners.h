#pragma once

#include "toolkit/ReadReport.h"

#include "trimora/contract/koGeom/CompactMesh.h"

namespace trimora {

/// Merges vertices at exactly equal positions in a mesh without vertex sets, as meshCompact does, and numbers what is left by its
/// first appearance. The report takes the vertex of each former one.
void weldCorners(koGeom::CompactMesh& mesh, ReadReport& report);

}  // namespace trimora
