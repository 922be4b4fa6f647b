#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/export.h"

#include <array>
#include <optional>
#include <string>

namespace trimora {

struct WeldOutcome {
    std::string refusal;  ///< not empty: nothing was changed; what is wrong
    std::optional<std::array<double, 3>> problemPoint;
    int verticesBefore = 0;
    int verticesAfter = 0;
    double seconds = 0.0;
};

/// Merges vertices at exactly equal positions, see koGeom::meshCompact.
///
/// mesh    edited in place; triangles keep their order
/// sends   one Topology modification if any were merged
/// cost    see koGeom::meshCompact
TRIMORA_API WeldOutcome weldMesh(koGeom::CompactMesh& mesh);

}  // namespace trimora
