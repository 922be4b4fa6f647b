#pragma once

#include "trimora/contract/koGeom/CompactMesh.h"
#include "trimora/contract/koUtil/Progress.h"
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
    bool cancelled = false;  ///< the mesh is as it was; the other fields mean nothing
};

/// Merges vertices at exactly equal positions, see koGeom::meshCompact.
///
/// mesh       edited in place; triangles keep their order
/// progress   polled before the weld and after it, before the result is taken over
/// sends      one Topology modification if any were merged
/// cost       see koGeom::meshCompact
TRIMORA_API WeldOutcome weldMesh(koGeom::CompactMesh& mesh, koUtil::Progress& progress);

}  // namespace trimora
